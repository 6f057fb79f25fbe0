// Checks that a plug-in accepts three rounds of the life cycle that every host uses: activate,
// deactivate, terminate, initialize. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelValidStateTransitionTest : public QelTestBase
{
public:
    explicit QelValidStateTransitionTest(IPlugProvider* provider);

    const char8* getName() const override { return "Valid State Transition"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
