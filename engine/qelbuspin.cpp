#include "engine/qelbuspin.h"

#include "base/optimaudio/optaudioprimitives.h"
#include "qelhost/iport.h"

#include <algorithm>

namespace Quillmark
{
namespace MiniEngine
{

namespace
{

/** The device memory behind a port, or null when it is no IAudioBufferPort. */
float* deviceMemory(PPort* port, bool& isDevice)
{
    isDevice = false;
    IAudioBufferPort* bufferPort = nullptr;
    if (!port ||
        port->queryInterface(IAudioBufferPort::iid.bytes, reinterpret_cast<void**>(&bufferPort)) !=
            kResultOk ||
        !bufferPort)
        return nullptr;
    isDevice = true;
    float* memory = bufferPort->getAudioBuffer();
    bufferPort->release();
    return memory;
}

} // namespace

QelBusPin::QelBusPin(FUnknown* owner, const ConstString& name, bool input)
    : PPort(owner, name, "audio", "virtual", input ? uint32(kInputPin) : 0u)
{
    setDeviceName(kDeviceName);
}

QelBusPin::~QelBusPin()
{
    AlignedBuffer::release(ownBuffer);
}

float* QelBusPin::memoryOf(PPort* port)
{
    bool isDevice = false;
    if (float* memory = deviceMemory(port, isDevice))
        return memory;
    if (isDevice)
        return nullptr;
    if (auto* pin = FCast<QelBusPin>(static_cast<FObject*>(port)))
        return pin->buffer;
    return nullptr;
}

void QelBusPin::useOwnBuffer(int32 numSamples)
{
    if (!ownBuffer)
        ownBuffer = AlignedBuffer::acquire();
    ownBuffer->resize(numSamples * int32(sizeof(float)));
    buffer = ownBuffer->getData();
}

void QelBusPin::prepare(int32 numSamples)
{
    destinationCount = 0;
    firstIsDevice = false;
    PPort* first = getConnection(0);
    if (!first)
    {
        AlignedBuffer::release(ownBuffer);
        ownBuffer = nullptr;
        if (!keepBuffer)
            buffer = nullptr;
        return;
    }
    float* firstDeviceMemory = deviceMemory(first, firstIsDevice);
    if (isInputPin())
    {
        if (firstIsDevice)
            buffer = firstDeviceMemory; // an ownBuffer stays as it is
        else
            useOwnBuffer(numSamples);
    }
    else if (first->getConnectionCount() != 1 || getConnectionCount() != 1)
        useOwnBuffer(numSamples);
    else
    {
        // One to one: write straight into what the sink reads.
        buffer = firstIsDevice ? firstDeviceMemory : memoryOf(first);
        AlignedBuffer::release(ownBuffer);
        ownBuffer = nullptr;
    }
    if (buffer && !isInputPin() && ownBuffer)
    {
        destinationCount = std::min(getConnectionCount(), kMaxDestinations);
        for (int32 i = 0; i < destinationCount; ++i)
            destinations[i] = memoryOf(getConnection(i));
    }
}

bool QelBusPin::mixToConnections(int32 numSamples)
{
    if (isInputPin() || !buffer || !ownBuffer)
        return false;
    for (int32 i = 0; i < destinationCount; ++i)
        if (destinations[i])
            sAudioPrimitives->mixAdd(numSamples, buffer, destinations[i], 1.0f);
    return true;
}

bool QelBusPin::clear(int32 numSamples)
{
    if (!buffer)
        return false;
    if (firstIsDevice)
        return false; // the device layer clears its own memory
    sAudioPrimitives->clear(numSamples, buffer);
    return true;
}

} // namespace MiniEngine
} // namespace Quillmark
