// A pin of an operator: one channel of one bus, and a port that connects to device channels and
// to the pins of other operators. Its buffer either is its own pooled memory or aliases the
// memory of the one port it feeds, so that a one-to-one connection costs no copy. Owned by its
// QelBus.
#pragma once

#include "devices/ports/pport.h"
#include "engine/alignedbuffer.h"

namespace Quillmark
{
namespace MiniEngine
{

class QelBusPin : public PPort
{
    QEL_DECLARE_CLASS(QelBusPin, PPort)
public:
    /** Connections past this many get no audio; the limit keeps the mixing loop fixed. */
    static constexpr int32 kMaxDestinations = 32;
    static constexpr const char8* kDeviceName = "QelBus";

    QelBusPin(FUnknown* owner, const ConstString& name, bool input);
    ~QelBusPin() override;

    /** Gives the pin its buffer for blocks of up to `numSamples`; under the process lock. */
    void prepare(int32 numSamples);
    /** An output pin with its own buffer adds it into each destination; false otherwise. */
    bool mixToConnections(int32 numSamples);
    /** Zeroes the buffer unless there is none or it is a device's; true when it cleared. */
    bool clear(int32 numSamples);
    /** The samples of the current block, or null when the pin is unconnected. */
    float* getBuffer() const { return buffer; }
    bool hasOwnBuffer() const { return ownBuffer != nullptr; }
    /** A pin that keeps its buffer when it is unconnected. */
    void setKeepBuffer(bool state) { keepBuffer = state; }

private:
    /** Device memory if `port` offers some, else the buffer of a pin, else null. */
    static float* memoryOf(PPort* port);
    void useOwnBuffer(int32 numSamples);

    float* buffer = nullptr;
    AlignedBuffer* ownBuffer = nullptr;
    float* destinations[kMaxDestinations] = {};
    // How many destinations were prepared: the audio thread reads this, never the connection
    // list, which the user interface may change between two preparations.
    int32 destinationCount = 0;
    bool keepBuffer = false;
    bool firstIsDevice = false; // connection 0 is device memory, as of the last preparation
};

} // namespace MiniEngine
} // namespace Quillmark
