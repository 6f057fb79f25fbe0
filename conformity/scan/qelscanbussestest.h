// Lists the audio and event busses of a component by direction and fails when it has none at all
// or when a bus has no name.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelScanBussesTest : public QelTestBase
{
public:
    explicit QelScanBussesTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Scan Busses"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
