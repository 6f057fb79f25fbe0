// Lists the units of the controller and fails on a unit with a bad or repeated id, no name,
// a bad parent or program list id; checks that selecting a unit is remembered.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelUnitInfoTest : public QelTestBase
{
public:
    explicit QelUnitInfoTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Scan Units"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
