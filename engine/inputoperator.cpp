#include "engine/inputoperator.h"

#include "devices/ports/pportregistry.h"

#include <cstring>

namespace Quillmark
{
namespace MiniEngine
{

namespace
{

QelBus* makeBus(IAudioOperator* owner, const char8* name, bool input)
{
    auto* bus = new QelBus(name);
    for (const char8* side : {"-L", "-R"})
        bus->addPin(new QelBusPin(owner, String(name).append(side), input));
    return bus;
}

} // namespace

InputOperator::InputOperator(PPortRegistry* registry)
    : registry(registry ? registry : PPortRegistry::instance()), signal(new SignalGenerator),
      auxSignal(new SignalGenerator), patternPlayer(new PatternPlayer),
      midiPlayer(new MiditrackPlayer)
{
    for (const char8* name : {"Input", "AuxIn"})
    {
        inputBusses.push_back(makeBus(this, name, true));
        outputBusses.push_back(makeBus(this, name, false));
    }
    // Slots connect to the outputs by name; the inputs only ever face the device.
    for (int32 i = 0; QelBusPin* pin = getOutputPin(i); ++i)
        this->registry->addPort(pin);
    for (int32 i = 0; i < 4; ++i)
        outputPins[i] = getOutputPin(i);
    connectDeviceInputs();
}

InputOperator::~InputOperator()
{
    midiPlayer->release();
    patternPlayer->release();
    auxSignal->release();
    signal->release();
}

EventPlayer* InputOperator::getEventSource(int32 index) const
{
    if (index == 0)
        return patternPlayer;
    if (index == 1)
        return midiPlayer;
    return nullptr;
}

void InputOperator::resetEventSources()
{
    patternPlayer->reset(0.0);
}

void InputOperator::connectDeviceInputs()
{
    // The capture channels of devices are the sources among the system's audio ports.
    PPort* channels[2] = {};
    int32 found = 0;
    for (int32 i = 0; i < registry->getPortCount() && found < 2; ++i)
    {
        PPort* port = registry->getPort(i);
        if (port && port->isType("audio") && port->isSubtype("system") && !port->isInputPin())
            channels[found++] = port;
    }
    if (found == 0)
        return;
    for (int32 pin = 0; pin < 4; ++pin)
    {
        QelBusPin* input = getInputPin(pin);
        PPort* channel = channels[pin % 2];
        input->disconnectAll();
        if (channel)
            input->connect(channel);
    }
}

void InputOperator::setupProcessing(const OperatorSetup& setup)
{
    signal->setSampleRate(setup.sampleRate);
    auxSignal->setSampleRate(setup.sampleRate);
    prepareBuffers(setup.blockSize);
}

void InputOperator::prepareBuffers(int32 numSamples)
{
    AudioOperator::prepareBuffers(numSamples);
    // Every cache counts its pins from 0, so the aux caches hold the pins of "Input": an aux
    // signal that is selected writes over the main signal, and the "AuxIn" pins stay silent.
    for (int32 c = 0; c < 2; ++c)
    {
        signalInputs[c] = getInputPin(c)->getBuffer();
        signalOutputs[c] = getOutputPin(c)->getBuffer();
        auxInputs[c] = getInputPin(c)->getBuffer();
        auxOutputs[c] = getOutputPin(c)->getBuffer();
    }
}

void InputOperator::process(OperatorBuffers& buffers)
{
    const Qel::ProcessContext* context = buffers.context;
    const bool playing = context && (context->state & Qel::ProcessContext::kPlaying) != 0;
    if (!playing)
    {
        // Every signal, live input too, is heard only while the transport runs.
        for (float* out : {signalOutputs[0], signalOutputs[1], auxOutputs[0], auxOutputs[1]})
            if (out)
                std::memset(out, 0, sizeof(float) * size_t(buffers.numSamples));
        return;
    }
    const int32 position = int32(uint32(uint64(context->projectTimeSamples)));
    auto run = [&](SignalGenerator& generator, float** inputs, float** outputs, int32 kind)
    {
        generator.setPosition(position);
        int32 channels = buffers.numChannels < 2 ? buffers.numChannels : 2;
        if (outputs[0] && !outputs[1])
            channels = 1;
        generator.render(inputs, outputs, buffers.numSamples, channels, kind);
    };
    run(*signal, signalInputs, signalOutputs, inputSignal);
    run(*auxSignal, auxInputs, auxOutputs, auxInputSignal);
    // The plug-ins that read these pins through their own buffers see the samples already; a
    // pin with several connections mixes into them.
    for (QelBusPin* pin : outputPins)
        pin->mixToConnections(buffers.numSamples);
}

} // namespace MiniEngine
} // namespace Quillmark
