#include "devices/audio/audiodriver.h"

#include "base/fobject.h"
#include "base/platform/threads.h"

#include <cstring>
#include <ctime>

namespace Quillmark::Baios
{

DriverPort::DriverPort(std::string name, std::string uniqueName, int32 role, int32 capacity)
    : name(std::move(name)), uniqueName(std::move(uniqueName)), role(role), capacity(capacity),
      buffer(new float[size_t(capacity > 0 ? capacity : 1)]())
{
}

tresult DriverPort::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, FUnknown)
    QEL_QUERY_INTERFACE(iid, obj, IDevicePort)
    *obj = nullptr;
    return kNoInterface;
}

uint32 DriverPort::addRef()
{
    return uint32(++refCount);
}

uint32 DriverPort::release()
{
    const int32 count = --refCount;
    if (count == 0)
        delete this;
    return uint32(count);
}

DriverDevice::DriverDevice(std::string identifier) : identifier(std::move(identifier))
{
    sem_init(&notifierWake, 0, 0);
}

DriverDevice::~DriverDevice()
{
    stopNotifier();
    sem_destroy(&notifierWake);
    removeAllPorts();
}

void DriverDevice::raise(uint32 pending)
{
    if (pending & kOverload)
        overloads.fetch_add(1, std::memory_order_relaxed);
    pendingReports.fetch_or(pending, std::memory_order_acq_rel);
    sem_post(&notifierWake);
}

void DriverDevice::startNotifier()
{
    if (notifier.joinable())
        return;
    notifierQuit.store(false);
    notifier = std::thread(
        [this]
        {
            static constexpr struct
            {
                uint32 bit;
                const char8* message;
            } kReports[] = {{kOverload, "overloadDetected"},
                            {kLatencyChanged, "latencyChanged"},
                            {kRateChanged, "sampleRateChanged"},
                            {kSizeChanged, "blockSizeChanged"},
                            {kRemoved, "deviceWasRemoved"}};
            while (true)
            {
                while (sem_wait(&notifierWake) != 0)
                {
                }
                const uint32 pending = pendingReports.exchange(0, std::memory_order_acq_rel);
                for (const auto& report : kReports)
                    if (pending & report.bit)
                        sendMessage(report.message);
                if (notifierQuit.load())
                    return;
            }
        });
}

void DriverDevice::stopNotifier()
{
    if (!notifier.joinable())
        return;
    notifierQuit.store(true);
    sem_post(&notifierWake);
    notifier.join();
}

tresult DriverDevice::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, FUnknown)
    QEL_QUERY_INTERFACE(iid, obj, IDevice)
    *obj = nullptr;
    return kNoInterface;
}

uint32 DriverDevice::addRef()
{
    return uint32(++refCount);
}

uint32 DriverDevice::release()
{
    const int32 count = --refCount;
    if (count == 0)
        delete this;
    return uint32(count);
}

int32 DriverDevice::getPortCount(int32 direction)
{
    if (direction == kInput)
        return int32(inputs.size());
    if (direction == kOutput)
        return int32(outputs.size());
    return 0;
}

IDevicePort* DriverDevice::getPort(int32 direction, int32 index)
{
    const std::vector<DriverPort*>* list = direction == kInput    ? &inputs
                                           : direction == kOutput ? &outputs
                                                                  : nullptr;
    if (!list || index < 0 || index >= int32(list->size()))
        return nullptr;
    return (*list)[size_t(index)];
}

void DriverDevice::getLatencies(int32& input, int32& output)
{
    input = inputLatency;
    output = outputLatency;
}

void DriverDevice::sendMessage(const char8* message)
{
    if (IMessageHandler* handler = messageHandler.load())
        handler->baiosMessage(message, this, deviceIndex);
}

void DriverDevice::renderBlock(int32 numSamples, double sampleRate)
{
    for (DriverPort* port : inputs)
        if (numSamples > port->getCapacity())
            return;
    for (DriverPort* port : outputs)
    {
        if (numSamples > port->getCapacity())
            return;
        std::memset(port->getBuffer(), 0, sizeof(float) * size_t(numSamples));
    }
    ProcessRecord record;
    record.numSamples = numSamples;
    record.sampleRate = sampleRate;
    record.samplePosition = samplePosition;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    record.systemTime = int64(now.tv_sec) * 1000000000 + now.tv_nsec;
    if (IProcessor* target = processor.load(std::memory_order_acquire))
        target->process(record);
    samplePosition += numSamples;
    blocksRendered.fetch_add(1, std::memory_order_relaxed);
}

void DriverDevice::enterRealtime()
{
    platform::RealtimeThreadClass::enter(processLevel.load() > 0);
}

DriverPort* DriverDevice::addPort(int32 direction, std::string name, std::string uniqueName,
                                  int32 role, int32 capacity)
{
    auto* port = new DriverPort(std::move(name), std::move(uniqueName), role, capacity);
    (direction == kInput ? inputs : outputs).push_back(port);
    return port;
}

void DriverDevice::removeAllPorts()
{
    for (DriverPort* port : inputs)
        port->release();
    for (DriverPort* port : outputs)
        port->release();
    inputs.clear();
    outputs.clear();
}

} // namespace Quillmark::Baios
