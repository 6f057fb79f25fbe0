// Checks that a plug-in processes when called from a thread other than the one that set it up.
// Processing is deliberately not switched on. The test window's thread waits for the worker for
// at most two minutes. A test node owns its test.
#pragma once

#include "conformity/qelprocesstest.h"

namespace Quillmark
{
namespace Qel
{

class QelProcessThreadTest : public QelProcessTest
{
public:
    /** The longest wait for the worker. */
    static constexpr int32 kWaitMilliseconds = 120000;

    using QelProcessTest::QelProcessTest;

    const char8* getName() const override { return "Process function running in another thread"; }
    bool run(ITestResult* result) override;
};

} // namespace Qel
} // namespace Quillmark
