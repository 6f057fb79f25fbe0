// The processing half of a plug-in, ready but for what makes it this plug-in: busses, activation,
// sample sizes and the processing set-up. A component derives from ComponentBase; the host owns
// the object by reference.
#pragma once

#include "common/busses.h"
#include "common/pluginbase.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"

#include <cmath>
#include <type_traits>

namespace Quillmark
{
namespace Qel
{

/** IComponent and IAudioProcessor on top of `Base`, a PluginBase that lists both interfaces.
    Written as a layer over its base so that one object can carry the component and the edit
    controller together (see UnitedBase in controllerbase.h). A component fills `busses` in its
    constructor and writes process, setState, getState and getControllerClassId. */
template <class Base> class ComponentPart : public Base
{
    static_assert(std::is_base_of_v<IComponent, Base> && std::is_base_of_v<IAudioProcessor, Base>);

public:
    // IComponent

    /** Only the simple mode exists here. */
    tresult setIoMode(IoMode mode) override { return mode == kSimple ? kResultOk : kResultFalse; }

    int32 getBusCount(MediaType type, BusDirection dir) override { return busses.count(type, dir); }

    tresult getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) override
    {
        return busses.info(type, dir, index, bus);
    }

    tresult getRoutingInfo(RoutingInfo& inInfo, RoutingInfo& outInfo) override
    {
        return kNotImplemented;
    }

    tresult activateBus(MediaType type, BusDirection dir, int32 index, TBool state) override
    {
        return busses.activate(type, dir, index, state != 0);
    }

    /** Switches between the two states of an initialized component. Asking for the state it
        already has answers kResultFalse, so a host learns that its calls are out of step. */
    tresult setActive(TBool state) override
    {
        const bool wanted = state != 0;
        if (!this->isInitialized() || wanted == active)
            return kResultFalse;
        const tresult result = activeChanged(wanted);
        if (result == kResultOk)
        {
            active = wanted;
            if (!active)
                processing = false;
        }
        return result;
    }

    // IAudioProcessor

    /** Accepts only the arrangements the busses already have; a component that can change
        them overrides this. */
    tresult setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                               SpeakerArrangement* outputs, int32 numOuts) override
    {
        if (numIns != busses.count(kAudio, kInput) || numOuts != busses.count(kAudio, kOutput) ||
            (numIns > 0 && !inputs) || (numOuts > 0 && !outputs))
            return kResultFalse;
        for (int32 i = 0; i < numIns; ++i)
            if (!hasArrangement(kInput, i, inputs[i]))
                return kResultFalse;
        for (int32 i = 0; i < numOuts; ++i)
            if (!hasArrangement(kOutput, i, outputs[i]))
                return kResultFalse;
        return kResultOk;
    }

    tresult getBusArrangement(BusDirection dir, int32 index,
                              SpeakerArrangement& arrangement) override
    {
        return busses.arrangement(dir, index, arrangement);
    }

    /** Both sizes: the examples write their processing once, as a template over the sample. */
    tresult canProcessSampleSize(int32 symbolicSampleSize) override
    {
        return symbolicSampleSize == kSample32 || symbolicSampleSize == kSample64 ? kResultOk
                                                                                  : kResultFalse;
    }

    uint32 getLatencySamples() override { return 0; }
    uint32 getTailSamples() override { return kNoTail; }

    /** Keeps the set-up for the next activation. Refused while active, since buffers and
        filters are built for a set-up on activation; refused for a set-up that makes no sense. */
    tresult setupProcessing(ProcessSetup& newSetup) override
    {
        if (active || canProcessSampleSize(newSetup.symbolicSampleSize) != kResultOk ||
            newSetup.maxSamplesPerBlock <= 0 || !std::isfinite(newSetup.sampleRate) ||
            newSetup.sampleRate <= 0.0)
            return kResultFalse;
        setup = newSetup;
        return kResultOk;
    }

    /** Only an active component processes. */
    tresult setProcessing(TBool state) override
    {
        if (!active)
            return kResultFalse;
        processing = state != 0;
        return kResultOk;
    }

    // IPluginBase

    /** A component terminated while active is deactivated first. */
    tresult terminate() override
    {
        if (active)
            setActive(false);
        return Base::terminate();
    }

    bool isActive() const { return active; }
    bool isProcessing() const { return processing; }

protected:
    /** Called on the main thread when the component is switched on (true) or off (false);
        allocate or reset here, not in process. Anything other than kResultOk keeps the
        component as it was. */
    virtual tresult activeChanged(bool state) { return kResultOk; }

    bool hasArrangement(BusDirection dir, int32 index, SpeakerArrangement wanted) const
    {
        SpeakerArrangement current = 0;
        return busses.arrangement(dir, index, current) == kResultOk && current == wanted;
    }

    BusList busses;
    ProcessSetup setup{kRealtime, kSample32, 1024, 44100.0};

private:
    bool active = false;
    bool processing = false;
};

/** The usual base of a component with a separate edit controller. `Others` are further
    interfaces, such as IConnectionPoint. */
template <class... Others>
using ComponentBase = ComponentPart<PluginBase<IComponent, IAudioProcessor, Others...>>;

} // namespace Qel
} // namespace Quillmark
