#include "conformity/process/qelprocessthreadtest.h"

#include "conformity/process/qelprocessthread.h"

#include <memory>

namespace Quillmark
{
namespace Qel
{

bool QelProcessThreadTest::run(ITestResult* result)
{
    if (!isReady(result))
        return false;
    if (!canProcess(result))
        return true;

    // Nothing is locked: the result object is used by one thread at a time, since this one
    // blocks in the wait.
    auto worker = std::make_unique<QelProcessThread>(audioEffect, data(), result);
    if (!worker->start())
        return false; // no thread, nothing tested
    worker->join(kWaitMilliseconds);
    const bool success = worker->succeeded();
    worker.reset();
    return success;
}

} // namespace Qel
} // namespace Quillmark
