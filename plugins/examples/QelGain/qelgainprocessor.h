// The audio half of the Qel Gain example, class "Qel Gain": gain in 32 or 64 bit with
// sample-accurate automation, bypass, silence flags, state, and a peak meter sent from process.
// The host owns it by reference.
#pragma once

#include "common/componentbase.h"
#include "common/connection.h"
#include "common/processhelpers.h"
#include "qelgaindefs.h"

#include <atomic>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

class QelGainProcessor : public ComponentBase<IConnectionPoint>
{
    using Base = ComponentBase<IConnectionPoint>;

public:
    QelGainProcessor();

    // IPluginBase
    tresult initialize(FUnknown* context) override;
    tresult terminate() override;

    // IComponent
    tresult getControllerClassId(TUID classId) override;
    tresult setState(IBStream* state) override;
    tresult getState(IBStream* state) override;

    // IAudioProcessor
    /** Mono or stereo, the same on both sides. */
    tresult setBusArrangements(SpeakerArrangement* inputs, int32 numIns,
                               SpeakerArrangement* outputs, int32 numOuts) override;
    tresult process(ProcessData& data) override;

    // IConnectionPoint
    tresult connect(IConnectionPoint* other) override { return controller.connect(other); }
    tresult disconnect(IConnectionPoint* other) override { return controller.disconnect(other); }
    /** The controller's "meter setup" message; may arrive on any thread. */
    tresult notify(IMessage* message) override;

protected:
    tresult activeChanged(bool state) override;

private:
    template <class Sample> void processAudio(ProcessData& data);
    void applyPoint(ParamID id, ParamValue value);
    /** The linear factor of a normalized gain, computed again only when the value changes. */
    double factorOf(ParamValue normalized);
    void sendMeter();

    // The parameter values: written by process (automation) and by setState, read by getState,
    // so they are atomic. Relaxed order is enough: each value stands alone.
    std::atomic<ParamValue> gain{Gain::ProcessorState{}.gain};
    std::atomic<bool> bypass{false};
    std::atomic<bool> meterWanted{false};

    // Used by process only.
    BlockAutomation<2> automation{{Gain::kGainId, Gain::kBypassId}};
    double factor = 1.0;
    ParamValue factorSource = -1.0; // no normalized value: the first block computes
    double factorCache = 1.0;
    bool bypassed = false;
    float peak = 0.0f;
    int32 blocksSinceMeter = 0;

    IPtr<IHostApplication> host;
    ConnectionPeer controller;
    // Made when processing starts, so that process only fills it in: asking the host for a new
    // message allocates, which has no place on the audio thread.
    IPtr<IMessage> meterMessage;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
