// Lists the note expressions of every event input channel and fails when the controller
// cannot describe one it counted; value and text conversions are only reported.
// A node of the test tree owns it.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelNoteExpressionTest : public QelTestBase
{
public:
    explicit QelNoteExpressionTest(IPlugProvider* provider) : QelTestBase(provider) {}

    const char8* getName() const override { return "Note Expression"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
