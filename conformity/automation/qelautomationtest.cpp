#include "conformity/automation/qelautomationtest.h"

#include "conformity/testrandom.h"

#include <cstdio>
#include <new>

namespace Quillmark
{
namespace Qel
{

QelAutomationTest::QelAutomationTest(IPlugProvider* provider, int32 symbolicSampleSize,
                                     int32 everyNSamples, int32 numParams, bool sampleAccuracy)
    : QelProcessTest(provider, symbolicSampleSize), everyNSamples(everyNSamples),
      numParams(numParams), sampleAccuracy(sampleAccuracy)
{
}

QelAutomationTest::~QelAutomationTest()
{
    destroyQueues();
}

const char8* QelAutomationTest::getName() const
{
    const char8* accuracy = sampleAccuracy ? "Sample" : "Block";
    if (numParams < 1)
        std::snprintf(nameText, sizeof nameText,
                      "Accuracy: %s, All Parameters, Change every %d Samples", accuracy,
                      everyNSamples);
    else
        std::snprintf(nameText, sizeof nameText,
                      "Accuracy: %s, %d Parameters, Change every %d Samples", accuracy, numParams,
                      everyNSamples);
    return nameText;
}

bool QelAutomationTest::setup()
{
    onceExecuted = false;
    if (!QelProcessTest::setup() || !controller)
        return false;
    const int32 available = controller->getParameterCount();
    if (numParams < 1 || available < numParams)
        numParams = available;
    if (!audioEffect || numParams <= 0)
        return numParams == 0;

    destroyQueues();
    paramChanges = new (std::nothrow) ParamChanges[size_t(numParams)];
    if (!paramChanges)
        return false;
    for (int32 index = 0; index < numParams; ++index)
    {
        ParameterInfo info{};
        if (controller->getParameterInfo(index, info) != kResultOk)
            return true;
        // A parameter that cannot be automated keeps a queue without points.
        if (info.flags & ParameterInfo::kCanAutomate)
            paramChanges[index].init(info.id, processSetup.maxSamplesPerBlock);
    }
    return true;
}

bool QelAutomationTest::run(ITestResult* result)
{
    addBanner(result);
    if (result && numParams == 0)
        result->addMessage("No Parameters present.");
    return QelProcessTest::run(result);
}

bool QelAutomationTest::teardown()
{
    destroyQueues();
    return QelProcessTest::teardown();
}

void QelAutomationTest::destroyQueues()
{
    delete[] paramChanges;
    paramChanges = nullptr;
}

ParamValue QelAutomationTest::pointValue(int32 draw)
{
    // The factor is the single-precision 1e-09 (bits 3089705F), and so is the product; only the
    // result is widened.
    constexpr float kScale = 1e-09f;
    return ParamValue(float(draw % 1000000000) * kScale);
}

bool QelAutomationTest::placesPoint(int32 sample, int32 draw)
{
    // The first block of a test always changes the first parameter at once, and with sample
    // accuracy again at the next sample, so that a plug-in has to read more than one point.
    if (!onceExecuted && sample == 0)
    {
        if (!sampleAccuracy)
            onceExecuted = true;
        return true;
    }
    if (!onceExecuted && sampleAccuracy && sample == 1)
    {
        onceExecuted = true;
        return true;
    }
    return everyNSamples > 0 && draw % everyNSamples == 0;
}

bool QelAutomationTest::preProcess(ITestResult* result)
{
    if (!result)
        return false;
    if (!paramChanges)
        return numParams == 0;
    bool ok = true;
    for (int32 index = 0; index < numParams; ++index)
    {
        ParamChanges& queue = paramChanges[index];
        queue.clearPoints();
        int32 pointIndex = 0;
        for (int32 sample = 0; sample < data().numSamples; ++sample)
        {
            if (!placesPoint(sample, testRandom()))
                continue;
            const ParamValue value = pointValue(testRandom());
            // A queue without points (a parameter that cannot be automated) takes nothing and
            // counts as a success.
            if (!queue.storePoint(pointIndex, sample, value) && queue.hasPoints())
                ok = false;
            ++pointIndex;
        }
    }
    if (ok)
        data().inputParameterChanges = static_cast<IParameterChanges*>(this);
    return ok;
}

bool QelAutomationTest::postProcess(ITestResult* result)
{
    if (!result)
        return false;
    if (!paramChanges)
        return numParams == 0;
    for (int32 index = 0; index < numParams; ++index)
    {
        ParamChanges& queue = paramChanges[index];
        // Not reading is no failure: a plug-in may ignore automation. Only the first such
        // parameter is told.
        if (queue.getPointCount() > 0 && !queue.havePointsBeenRead(!sampleAccuracy))
        {
            result->addMessage(sampleAccuracy
                                   ? "   Not all points have been read via IParameterChanges"
                                   : "   No point at all has been read via IParameterChanges");
            return true;
        }
    }
    return true;
}

int32 QelAutomationTest::getParameterCount()
{
    return paramChanges ? numParams : 0;
}

IParamValueQueue* QelAutomationTest::getParameterData(int32 index)
{
    return getQueue(index);
}

ParamChanges* QelAutomationTest::getQueue(int32 index) const
{
    if (!paramChanges || index < 0 || index >= numParams)
        return nullptr;
    return &paramChanges[index];
}

IParamValueQueue* QelAutomationTest::addParameterData(const ParamID& id, int32& index)
{
    return nullptr;
}

tresult QelAutomationTest::queryInterface(const TUID iid, void** obj)
{
    if (iid && obj && iidEqual(iid, IParameterChanges::iid.bytes))
    {
        QelTestBase::addRef();
        *obj = static_cast<IParameterChanges*>(this);
        return kResultOk;
    }
    return QelTestBase::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
