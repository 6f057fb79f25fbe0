// Checks that a plug-in can be terminated and initialized again, and leaves it initialized
// whatever the first call answered. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelTerminateInitializeTest : public QelTestBase
{
public:
    explicit QelTerminateInitializeTest(IPlugProvider* provider);

    const char8* getName() const override { return "Terminate/Initialize"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
