// Stands between the slot operator and a plug-in: forwards every call of IComponent and
// IAudioProcessor unchanged, and around process alone measures the thread's CPU time and, when
// asked, watches the calls the plug-in makes. Owned by the renderer, which outlives the
// operator that holds it.
#pragma once

#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"
#include "rtcheck/callwatch.h"
#include "rtcheck/placedparameterchanges.h"

#include <array>
#include <functional>

namespace Quillmark
{

class WatchingProcessor : public Qel::IComponent, public Qel::IAudioProcessor
{
public:
    /** Called on the rendering thread after each process call, with the call's CPU time,
        what it did and whether it threw. */
    using AfterProcess =
        std::function<void(Qel::ProcessData&, int64 cpuNanoseconds, const CallRecord&, bool)>;

    /** The name of the frame that calls the plug-in, as a stack shows it. */
    static constexpr const char* kCallerFrame = "Quillmark::WatchingProcessor::process(";

    /** Borrows `component` and `processor` of one plug-in; `watch` false measures only. */
    WatchingProcessor(Qel::IComponent* component, Qel::IAudioProcessor* processor, bool watch,
                      AfterProcess afterProcess);

    /** The change of parameter `id` in the next block goes to `sampleOffset`; called on the
        rendering thread before the block. Placements beyond the room are dropped. */
    void placeChange(Qel::ParamID id, int32 sampleOffset);

    // FUnknown: the two forwarded interfaces answer here, any other is asked of the plug-in.
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;

    // IPluginBase
    tresult initialize(FUnknown* context) override;
    tresult terminate() override;

    // IComponent
    tresult getControllerClassId(TUID classId) override;
    tresult setIoMode(Qel::IoMode mode) override;
    int32 getBusCount(Qel::MediaType type, Qel::BusDirection dir) override;
    tresult getBusInfo(Qel::MediaType type, Qel::BusDirection dir, int32 index,
                       Qel::BusInfo& bus) override;
    tresult getRoutingInfo(Qel::RoutingInfo& inInfo, Qel::RoutingInfo& outInfo) override;
    tresult activateBus(Qel::MediaType type, Qel::BusDirection dir, int32 index,
                        TBool state) override;
    tresult setActive(TBool state) override;
    tresult setState(IBStream* state) override;
    tresult getState(IBStream* state) override;

    // IAudioProcessor
    tresult setBusArrangements(Qel::SpeakerArrangement* inputs, int32 numIns,
                               Qel::SpeakerArrangement* outputs, int32 numOuts) override;
    tresult getBusArrangement(Qel::BusDirection dir, int32 index,
                              Qel::SpeakerArrangement& arrangement) override;
    tresult canProcessSampleSize(int32 symbolicSampleSize) override;
    uint32 getLatencySamples() override;
    tresult setupProcessing(Qel::ProcessSetup& setup) override;
    tresult setProcessing(TBool state) override;
    tresult process(Qel::ProcessData& data) override;
    uint32 getTailSamples() override;

private:
    Qel::IComponent* component;
    Qel::IAudioProcessor* processor;
    bool watch;
    AfterProcess afterProcess;
    CallRecord calls;
    uint32 references = 1;
    std::array<ParameterPlacement, PlacedParameterChanges::kCapacity> placements;
    int32 placementCount = 0;
    PlacedParameterChanges placed;
};

} // namespace Quillmark
