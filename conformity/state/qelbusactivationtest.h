// Checks that every bus of a plug-in can be switched away from its default state and back,
// naming each bus as it goes. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelBusActivationTest : public QelTestBase
{
public:
    explicit QelBusActivationTest(IPlugProvider* provider);

    const char8* getName() const override { return "Bus Activation"; }
    bool run(ITestResult* result) override;

private:
    /** Toggles each bus of one kind and back; adds the refused calls to `failures`. False with
        an error when a bus cannot be described. */
    bool toggleBusses(ITestResult& result, MediaType type, BusDirection direction, int32 count,
                      int32& failures);
};

} // namespace Qel
} // namespace Quillmark
