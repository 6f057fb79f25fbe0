// Checks that a plug-in processes blocks of random sizes up to the largest it was set up for,
// after a first block of no samples whose result counts for nothing. A test node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

namespace Quillmark
{
namespace Qel
{

class QelVariableBlockSizeTest : public QelProcessTest
{
public:
    /** Blocks processed; the first has no samples. */
    static constexpr int32 kPasses = 21;

    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Variable Block Size"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
