// Small operators for the graph's tests: a source that writes a fixed value into each of its
// output pins, a sink that keeps what its input pins received in the last block, and an
// operator that logs the calls it gets and the lock state it saw.
#pragma once

#include "base/flock.h"
#include "engine/audiooperator.h"

#include <string>
#include <vector>

namespace Quillmark::MiniEngine::testing
{

class SourceOperator : public AudioOperator
{
public:
    SourceOperator(int32 channels, float value, const char8* name = "Source") : value(value)
    {
        auto* bus = new QelBus(name);
        for (int32 i = 0; i < channels; ++i)
            bus->addPin(
                new QelBusPin(this, String(name).append("-").append(char8('0' + i)), false));
        outputBusses.push_back(bus);
    }
    void setupProcessing(const OperatorSetup& setup) override
    {
        scratch = setup.scratchOutput;
        prepareBuffers(setup.blockSize);
    }
    void process(OperatorBuffers& buffers) override
    {
        ++blocks;
        for (int32 i = 0; QelBusPin* pin = getOutputPin(i); ++i)
        {
            float* out = pin->getBuffer() ? pin->getBuffer() : scratch;
            for (int32 s = 0; s < buffers.numSamples; ++s)
                out[s] = value + float(i);
            pin->mixToConnections(buffers.numSamples);
        }
    }

    float value;
    float* scratch = nullptr;
    int32 blocks = 0;
};

class SinkOperator : public AudioOperator
{
public:
    explicit SinkOperator(int32 channels, const char8* name = "Sink")
    {
        auto* bus = new QelBus(name);
        for (int32 i = 0; i < channels; ++i)
            bus->addPin(new QelBusPin(this, String(name).append("-").append(char8('0' + i)), true));
        inputBusses.push_back(bus);
        received.resize(size_t(channels));
    }
    void setupProcessing(const OperatorSetup& setup) override
    {
        silent = setup.silentInput;
        for (auto& channel : received)
            channel.assign(size_t(setup.blockSize), -1.0f);
        prepareBuffers(setup.blockSize);
    }
    void process(OperatorBuffers& buffers) override
    {
        ++blocks;
        for (int32 i = 0; QelBusPin* pin = getInputPin(i); ++i)
        {
            const float* in = pin->getBuffer() ? pin->getBuffer() : silent;
            for (int32 s = 0; s < buffers.numSamples; ++s)
                received[size_t(i)][size_t(s)] = in[s];
        }
    }

    const float* silent = nullptr;
    std::vector<std::vector<float>> received;
    int32 blocks = 0;
};

/** Logs "<name> <call>" into a shared list; notes whether the graph lock was free to others. */
class LoggingOperator : public AudioOperator
{
public:
    LoggingOperator(std::vector<std::string>& log, const char8* name) : log(log), name(name) {}
    void setParent(IAudioOperatorList* newParent) override
    {
        log.push_back(name + (newParent ? " setParent" : " setParent(null)"));
        AudioOperator::setParent(newParent);
    }
    void setupProcessing(const OperatorSetup& setup) override
    {
        log.push_back(name + " setupProcessing " + std::to_string(setup.blockSize));
    }
    void setActive(bool state) override
    {
        active = state;
        log.push_back(name + (state ? " setActive" : " setActive(false)"));
    }
    bool isActive() override { return active; }
    void setProcessing(bool state) override
    {
        FLock* lock = getProcessLock();
        log.push_back(name + (state ? " setProcessing" : " setProcessing(false)") +
                      (lock ? " with lock" : ""));
    }
    void prepareBuffers(int32 numSamples) override { log.push_back(name + " prepareBuffers"); }
    void clearBuffers(int32) override { log.push_back(name + " clearBuffers"); }
    void process(OperatorBuffers&) override { log.push_back(name + " process"); }

    std::vector<std::string>& log;
    std::string name;
    bool active = false;
};

} // namespace Quillmark::MiniEngine::testing
