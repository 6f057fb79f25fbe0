#include "qelgaincontroller.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

namespace
{

// The controller's stream: tag "QGct", version, meter enabled as 0 or 1. Little-endian.
constexpr uint32 kControllerStateTag = stateTag("QGct");
constexpr int32 kControllerStateVersion = 1;

} // namespace

QelGainController::QelGainController()
{
    parameters = ParameterList(Gain::kParameters);
    units = UnitTable(Gain::kUnits, Gain::kProgramLists);
}

tresult QelGainController::initialize(FUnknown* context)
{
    const tresult result = Base::initialize(context);
    if (result == kResultOk)
        host = hostApplicationOf(context);
    return result;
}

tresult QelGainController::terminate()
{
    host.reset();
    return Base::terminate();
}

tresult QelGainController::setComponentState(IBStream* state)
{
    Gain::ProcessorState loaded;
    if (!Gain::readProcessorState(state, loaded))
        return kResultFalse;
    parameters.set(Gain::kGainId, loaded.gain);
    parameters.set(Gain::kBypassId, loaded.bypass ? 1.0 : 0.0);
    return kResultOk;
}

tresult QelGainController::setState(IBStream* state)
{
    StateReader reader(state);
    const uint32 tag = reader.readUInt32();
    const int32 version = reader.readInt32();
    const int32 enabled = reader.readInt32();
    if (!reader.ok() || tag != kControllerStateTag || version != kControllerStateVersion ||
        (enabled != 0 && enabled != 1))
        return kResultFalse;
    meterEnabled = enabled == 1;
    sendMeterSetup();
    return kResultOk;
}

tresult QelGainController::getState(IBStream* state)
{
    StateWriter writer(state);
    writer.writeUInt32(kControllerStateTag);
    writer.writeInt32(kControllerStateVersion);
    writer.writeInt32(meterEnabled ? 1 : 0);
    return writer.ok() ? kResultOk : kResultFalse;
}

tresult QelGainController::connect(IConnectionPoint* other)
{
    const tresult result = component.connect(other);
    if (result == kResultOk)
        sendMeterSetup();
    return result;
}

tresult QelGainController::notify(IMessage* message)
{
    if (!isMessage(message, kQelGainMeterMessage))
        return kResultFalse;
    double value = 0.0;
    IAttributeList* attributes = message->getAttributes();
    if (!attributes || attributes->getFloat(kQelGainPeakAttribute, value) != kResultOk)
        return kResultFalse;
    peak.store(static_cast<float>(value), std::memory_order_relaxed);
    return kResultOk;
}

void QelGainController::sendMeterSetup()
{
    if (!component.isConnected())
        return;
    IPtr<IMessage> message = createMessage(host.get(), kQelGainMeterSetupMessage);
    if (!message || !message->getAttributes())
        return;
    message->getAttributes()->setInt(kQelGainMeterEnabledAttribute, meterEnabled ? 1 : 0);
    component.notify(message.get());
}

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
