// Checks that a plug-in answers a repeated life-cycle call (initialize, activate, deactivate,
// terminate twice in a row) with a refusal after the first succeeded. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelRepeatIdenticalStateTransitionTest : public QelTestBase
{
public:
    explicit QelRepeatIdenticalStateTransitionTest(IPlugProvider* provider);

    const char8* getName() const override { return "Repeat Identical State Transition"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
