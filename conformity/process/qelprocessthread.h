// The worker of the threaded processing test: a framework thread that calls a plug-in's process
// many times away from the test window's thread and reports the first failure. Created, started,
// waited for and deleted by QelProcessThreadTest.
#pragma once

#include "base/fthread.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/itest.h"

#include <atomic>

namespace Quillmark
{
namespace Qel
{

class QelProcessThread : public FThread
{
public:
    static constexpr const char8* kThreadName = "Qel Processing Test Thread";
    /** How many times the body calls process. */
    static constexpr int32 kProcessCalls = 9999;

    /** Holds a reference to `processor` until the body is done with it; `processData` and
        `result` are borrowed and must outlive the thread. Either pointer may be null. */
    QelProcessThread(IAudioProcessor* processor, ProcessData& processData, ITestResult* result);
    /** Waits for the body to end, however long that takes. */
    ~QelProcessThread() override;

    /** False once the body has met a failure, or had nothing to work with. */
    bool succeeded() const { return success.load(); }

protected:
    void run() override;

private:
    void releaseProcessor();

    IAudioProcessor* processor;
    ProcessData& processData;
    ITestResult* result;
    std::atomic<bool> success{true};
};

} // namespace Qel
} // namespace Quillmark
