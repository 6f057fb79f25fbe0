#include "rtcheck/watchingprocessor.h"

#include <ctime>
#include <utility>

namespace Quillmark
{

using namespace Qel;

namespace
{

int64 threadCpuNanoseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return int64(now.tv_sec) * 1000000000 + now.tv_nsec;
}

} // namespace

WatchingProcessor::WatchingProcessor(IComponent* component, IAudioProcessor* processor, bool watch,
                                     AfterProcess afterProcess)
    : component(component), processor(processor), watch(watch),
      afterProcess(std::move(afterProcess))
{
}

tresult WatchingProcessor::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IComponent::iid.bytes) || iidEqual(iid, IPluginBase::iid.bytes) ||
        iidEqual(iid, FUnknown::iid.bytes))
    {
        *obj = static_cast<IComponent*>(this);
        addRef();
        return kResultOk;
    }
    if (iidEqual(iid, IAudioProcessor::iid.bytes))
    {
        *obj = static_cast<IAudioProcessor*>(this);
        addRef();
        return kResultOk;
    }
    return component->queryInterface(iid, obj);
}

// The renderer owns the object; the count only keeps the operator's calls balanced.
uint32 WatchingProcessor::addRef()
{
    return ++references;
}

uint32 WatchingProcessor::release()
{
    return references > 0 ? --references : 0;
}

tresult WatchingProcessor::initialize(FUnknown* context)
{
    return component->initialize(context);
}

tresult WatchingProcessor::terminate()
{
    return component->terminate();
}

tresult WatchingProcessor::getControllerClassId(TUID classId)
{
    return component->getControllerClassId(classId);
}

tresult WatchingProcessor::setIoMode(IoMode mode)
{
    return component->setIoMode(mode);
}

int32 WatchingProcessor::getBusCount(MediaType type, BusDirection dir)
{
    return component->getBusCount(type, dir);
}

tresult WatchingProcessor::getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus)
{
    return component->getBusInfo(type, dir, index, bus);
}

tresult WatchingProcessor::getRoutingInfo(RoutingInfo& inInfo, RoutingInfo& outInfo)
{
    return component->getRoutingInfo(inInfo, outInfo);
}

tresult WatchingProcessor::activateBus(MediaType type, BusDirection dir, int32 index, TBool state)
{
    return component->activateBus(type, dir, index, state);
}

tresult WatchingProcessor::setActive(TBool state)
{
    return component->setActive(state);
}

tresult WatchingProcessor::setState(IBStream* state)
{
    return component->setState(state);
}

tresult WatchingProcessor::getState(IBStream* state)
{
    return component->getState(state);
}

tresult WatchingProcessor::setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                                              SpeakerArrangement* outputs, int32 numOuts)
{
    return processor->setBusArrangements(inputs, numIns, outputs, numOuts);
}

tresult WatchingProcessor::getBusArrangement(BusDirection dir, int32 index,
                                             SpeakerArrangement& arrangement)
{
    return processor->getBusArrangement(dir, index, arrangement);
}

tresult WatchingProcessor::canProcessSampleSize(int32 symbolicSampleSize)
{
    return processor->canProcessSampleSize(symbolicSampleSize);
}

uint32 WatchingProcessor::getLatencySamples()
{
    return processor->getLatencySamples();
}

tresult WatchingProcessor::setupProcessing(ProcessSetup& setup)
{
    return processor->setupProcessing(setup);
}

tresult WatchingProcessor::setProcessing(TBool state)
{
    return processor->setProcessing(state);
}

void WatchingProcessor::placeChange(ParamID id, int32 sampleOffset)
{
    if (placementCount < int32(placements.size()))
        placements[size_t(placementCount++)] = {id, sampleOffset};
}

tresult WatchingProcessor::process(ProcessData& data)
{
    IParameterChanges* engineChanges = data.inputParameterChanges;
    if (placementCount > 0 && engineChanges)
    {
        placed.fill(*engineChanges, placements.data(), placementCount);
        data.inputParameterChanges = &placed;
    }
    placementCount = 0;
    calls.reset();
    tresult result = kResultFalse;
    bool threw = false;
    const int64 start = threadCpuNanoseconds();
    try
    {
        if (watch)
        {
            WatchedSection section(calls);
            result = processor->process(data);
        }
        else
            result = processor->process(data);
    }
    catch (...)
    {
        threw = true;
    }
    const int64 cost = threadCpuNanoseconds() - start;
    if (afterProcess)
        afterProcess(data, cost, calls, threw);
    data.inputParameterChanges = engineChanges;
    return result;
}

uint32 WatchingProcessor::getTailSamples()
{
    return processor->getTailSamples();
}

} // namespace Quillmark
