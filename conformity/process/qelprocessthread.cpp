#include "conformity/process/qelprocessthread.h"

namespace Quillmark
{
namespace Qel
{

QelProcessThread::QelProcessThread(IAudioProcessor* processor, ProcessData& processData,
                                   ITestResult* result)
    : FThread(kThreadName), processor(processor), processData(processData), result(result)
{
    if (processor)
        processor->addRef();
}

QelProcessThread::~QelProcessThread()
{
    // The body uses this object's members, so it has to end before they go.
    join(-1);
    releaseProcessor();
}

void QelProcessThread::releaseProcessor()
{
    if (processor)
        processor->release();
    processor = nullptr;
}

void QelProcessThread::run()
{
    if (!processor || !result)
    {
        success = false;
        return;
    }
    for (int32 call = 0; call < kProcessCalls; ++call)
    {
        if (processor->process(processData) != kResultOk)
        {
            result->addErrorMessage("Processing failed.");
            success = false;
            releaseProcessor();
            return;
        }
    }
    releaseProcessor();
}

} // namespace Qel
} // namespace Quillmark
