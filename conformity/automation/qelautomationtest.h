// Checks that a plug-in consumes sample-timed parameter changes while it processes: the test is
// itself the IParameterChanges given to process, places random points on every automatable
// parameter in each block and reports parameters whose points were not read. A test node owns it.
#pragma once

#include "conformity/automation/paramchanges.h"
#include "conformity/qelprocesstest.h"

namespace Quillmark
{
namespace Qel
{

/** IParameterChanges whose reference counting keeps a count of its own and passes on to the
    object that implements the changes (queryInterface is the object's own, see below). */
class ForwardingParameterChanges : public IParameterChanges
{
public:
    uint32 addRef() override
    {
        ++interfaceRefCount;
        return forwardAddRef();
    }
    uint32 release() override
    {
        --interfaceRefCount;
        return forwardRelease();
    }

    /** One, plus the references taken through this interface and not given back. */
    int32 getInterfaceRefCount() const { return interfaceRefCount; }

protected:
    virtual ~ForwardingParameterChanges() = default;
    virtual uint32 forwardAddRef() = 0;
    virtual uint32 forwardRelease() = 0;

private:
    int32 interfaceRefCount = 1;
};

class QelAutomationTest : public QelProcessTest, public ForwardingParameterChanges
{
public:
    /** `symbolicSampleSize` is kSample32 or kSample64. Changes every `everyNSamples` samples on
        average, on `numParams` parameters (below 1: all of them); `sampleAccuracy` asks for
        every point to be read, else one per queue. */
    QelAutomationTest(IPlugProvider* provider, int32 symbolicSampleSize, int32 everyNSamples,
                      int32 numParams, bool sampleAccuracy);
    ~QelAutomationTest() override;

    /** "Accuracy: Block, 2 Parameters, Change every 100 Samples", with the parameter count as it
        stands now: setup may lower it after the node took its name. */
    const char8* getName() const override;

    /** Prepares processing, settles the parameter count against the controller's and makes a
        queue for each parameter; false without a controller. */
    bool setup() override;
    /** The banner, then three blocks with points. */
    bool run(ITestResult* result) override;
    /** Destroys the queues, then finishes as every processing test does. */
    bool teardown() override;

    /** Places the points of the coming block and hands the changes to the plug-in. */
    bool preProcess(ITestResult* result) override;
    /** Reports the first parameter whose points were not read well enough; never fails. */
    bool postProcess(ITestResult* result) override;

    // IParameterChanges
    int32 getParameterCount() override;
    IParamValueQueue* getParameterData(int32 index) override;
    /** The changes belong to the host: a plug-in cannot add to them. */
    IParamValueQueue* addParameterData(const ParamID& id, int32& index) override;

    // FUnknown of the test object, which answers ITest and IParameterChanges; addRef and release
    // of the changes pass on here.
    tresult queryInterface(const TUID iid, void** obj) override;
    using QelTestBase::addRef;
    using QelTestBase::release;

    int32 getNumParams() const { return numParams; }
    /** The queue of a tested parameter, or null. */
    ParamChanges* getQueue(int32 index) const;

    /** Each point's value: a draw from 0 to 32767 times 1e-09, in single precision. */
    static ParamValue pointValue(int32 draw);

protected:
    uint32 forwardAddRef() override { return QelTestBase::addRef(); }
    uint32 forwardRelease() override { return QelTestBase::release(); }

    /** Whether sample `sample` of the block gets a point, for the draw `draw`. */
    bool placesPoint(int32 sample, int32 draw);
    void destroyQueues();

    ParamChanges* paramChanges = nullptr;
    int32 countParamChanges = 0; // nothing reads it
    int32 everyNSamples;
    int32 numParams;
    bool sampleAccuracy;
    bool onceExecuted = false;

private:
    /** The name is built here; nodes copy it when they are made. */
    static inline char8 nameText[128] = {};
};

} // namespace Qel
} // namespace Quillmark
