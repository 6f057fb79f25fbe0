// Checks that the units form one tree: exactly one root, with id 0, and every other unit's
// parent among the units.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelUnitStructureTest : public QelTestBase
{
public:
    explicit QelUnitStructureTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Check Unit Structure"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
