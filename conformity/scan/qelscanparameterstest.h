// Lists the parameters of the edit controller and fails on the first one that contradicts
// itself or the units: a missing record, a bad or repeated id, a bad default, a second bypass.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelScanParametersTest : public QelTestBase
{
public:
    explicit QelScanParametersTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Scan Parameters"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
