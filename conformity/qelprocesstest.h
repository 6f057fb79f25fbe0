// The common base of the tests that make a plug-in process audio: it sets the plug-in up for
// processing, owns the host's buffers for it, and runs three blocks of 64 samples between the
// hooks that derived tests refine. A test node owns its test.
#pragma once

#include "conformity/processbuffers.h"
#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelProcessTest : public QelTestEnh
{
public:
    /** `symbolicSampleSize` is kSample32 or kSample64. */
    QelProcessTest(IPlugProvider* provider, int32 symbolicSampleSize);

    const char8* getName() const override { return "Process Test"; }

    /** The enhanced setup; then, when the plug-in takes the sample size, prepares the buffers
        and activates the plug-in. A refused size still passes here: run reports it. */
    bool setup() override;
    /** Three blocks between preProcess and postProcess, with processing switched on. */
    bool run(ITestResult* result) override;
    /** Frees the buffers and deactivates; a plug-in that refuses to deactivate is kept. */
    bool teardown() override;

    /** setupProcessing with the test's setup, then the buffers for the plug-in's busses. */
    virtual bool prepareProcessing();
    /** Frees the buffers. */
    virtual bool unprepareProcessing();
    /** Called before each process call of run; false ends the run with a failure. */
    virtual bool preProcess(ITestResult* result) { return true; }
    /** Called after each process call of run; false ends the run with a failure. */
    virtual bool postProcess(ITestResult* result) { return true; }

protected:
    /** Whether run has what it needs: a result object, the processor, and a record whose sample
        size is the setup's. Without them a run fails at once, with no message. */
    bool isReady(ITestResult* result) const;
    /** Whether the plug-in takes the test's sample size; says so in `result` when not. False
        without a result or processor, or when the record's size differs from the setup's. */
    bool canProcess(ITestResult* result);
    /** Ends a run that failed: switches processing off, adds `error` when given, and answers
        false for the run to return. */
    bool stopProcessing(ITestResult* result, const char8* error = nullptr);
    /** The record given to process: the buffers' own. */
    ProcessData& data() { return buffers.data(); }

    ProcessBuffers buffers;
};

} // namespace Qel
} // namespace Quillmark
