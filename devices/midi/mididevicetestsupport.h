// For the tests of the MIDI drivers: a receiver that stands where a plug-in's event collector
// stands, with one "MidiEventCollectorInput" port, keeping a copy of every message it gets.
#pragma once

#include "base/testsupport.h"
#include "devices/ports/pport.h"
#include "midi/pevent.h"
#include "midi/pmidievents.h"
#include "qelhost/imidieventreceiver.h"

#include <chrono>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace Quillmark::testing
{

/** Polls `done` until it is true or `seconds` have passed; a driver's threads and a server
    take longer than the foundation's. */
inline bool waitUntil(const std::function<bool()>& done, double seconds = 10.0)
{
    return eventually(done, seconds);
}

class MidiReceiver : public CmObject, public IMidiEventReceiver
{
public:
    struct Message
    {
        uint8 status = 0, data1 = 0, data2 = 0;
        int32 noteId = 0;
        double time = 0;
        uint16 flags = 0;
        std::vector<uint8> sysex;
    };

    MidiReceiver()
        : port(
              new PInput(static_cast<IMidiEventReceiver*>(this), "MidiEventCollectorInput", "midi"))
    {
    }
    ~MidiReceiver() override { port->release(); }

    PPort* getPort() const { return port; }

    void receiveMidiEvent(PEvent* event) override
    {
        auto* midi = FCast<PMidiEvent>(static_cast<FObject*>(event));
        if (!midi)
            return;
        Message message{midi->getStatus(),
                        midi->getData1(),
                        midi->getData2(),
                        midi->getNoteId(),
                        midi->getTime(),
                        midi->getFlags(),
                        {}};
        if (auto* sysex = FCast<PSysexEvent>(static_cast<FObject*>(event)))
            message.sysex.assign(sysex->getBytes(), sysex->getBytes() + sysex->getSize());
        std::lock_guard<std::mutex> guard(mutex);
        messages.push_back(message);
    }

    std::vector<Message> received() const
    {
        std::lock_guard<std::mutex> guard(mutex);
        return messages;
    }
    size_t count() const
    {
        std::lock_guard<std::mutex> guard(mutex);
        return messages.size();
    }
    bool waitFor(size_t wanted, double seconds = 10.0) const
    {
        return waitUntil([&] { return count() >= wanted; }, seconds);
    }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IMidiEventReceiver)
        return CmObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return CmObject::addRef(); }
    uint32 release() override { return CmObject::release(); }

private:
    PPort* port;
    mutable std::mutex mutex;
    std::vector<Message> messages;
};

} // namespace Quillmark::testing
