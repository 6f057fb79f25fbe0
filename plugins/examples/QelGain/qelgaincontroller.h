// The edit half of the Qel Gain example, class "Qel Gain Controller": parameters with their
// texts, units and presets, a small state of its own, and the meter the component sends. The
// host owns it by reference, separately from the processor.
#pragma once

#include "common/connection.h"
#include "common/controllerbase.h"
#include "qelgaindefs.h"

#include <atomic>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

class QelGainController : public EditControllerWithUnitsBase<IConnectionPoint>
{
    using Base = EditControllerWithUnitsBase<IConnectionPoint>;

public:
    QelGainController();

    // IPluginBase
    tresult initialize(FUnknown* context) override;
    tresult terminate() override;

    // IEditController
    /** Takes the parameter values from the component's state. */
    tresult setComponentState(IBStream* state) override;
    /** The controller's own state: the meter setting. */
    tresult setState(IBStream* state) override;
    tresult getState(IBStream* state) override;

    // IConnectionPoint
    /** Tells the component at once whether meter values are wanted. */
    tresult connect(IConnectionPoint* other) override;
    tresult disconnect(IConnectionPoint* other) override { return component.disconnect(other); }
    /** The component's meter; arrives on the audio thread when the halves are joined directly. */
    tresult notify(IMessage* message) override;

    /** The last peak the component reported, linear; what an editor would draw. */
    float lastPeak() const { return peak.load(std::memory_order_relaxed); }
    bool isMeterEnabled() const { return meterEnabled; }

private:
    void sendMeterSetup();

    bool meterEnabled = true;
    std::atomic<float> peak{0.0f};
    IPtr<IHostApplication> host;
    ConnectionPeer component;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
