// Checks that a plug-in refuses life-cycle calls that make no sense in its current state, such as
// a second initialize or a deactivation while inactive. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelInvalidStateTransitionTest : public QelTestBase
{
public:
    explicit QelInvalidStateTransitionTest(IPlugProvider* provider);

    const char8* getName() const override { return "Invalid State Transition"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
