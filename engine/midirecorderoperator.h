// The first operator of the graph: it gathers what arrives on the MIDI ports chosen for
// recording, notes and controllers, into two event lists per block, which the graph then places
// on the recorded track. It takes no events of the song: those go to the plug-ins. Created by the
// graph on demand and owned by its list; the ports are made when it is switched on.
#pragma once

#include "engine/audiooperator.h"
#include "engine/eventlist.h"
#include "engine/midieventcollector.h"
#include "qelhost/ieventreceiver.h"

#include <vector>

namespace Quillmark
{
class PPortRegistry;

namespace MiniEngine
{
class QelEventInput;

class MidiRecorderOperator : public AudioOperator, public IEventReceiver
{
public:
    static constexpr const char8* kName = "Recorder";

    /** `inputCount` ports are made at activation; `registry` null means the process-wide one. */
    explicit MidiRecorderOperator(int32 inputCount = 1, PPortRegistry* registry = nullptr);

    MidiSupport::MidiEventCollector* getCollector() const { return collector; }
    QelEventInput* getInput(int32 index) const;
    int32 countInputs() const { return int32(inputs.size()); }

    /** On the audio thread: appends what arrived since the last call to the two lists. */
    void fetch(const OperatorBuffers& buffers);
    EventList& getNotes() { return notes; }
    EventList& getControllers() { return controllers; }
    bool hasEvents() const { return !notes.isEmpty() || !controllers.isEmpty(); }
    void clearEvents()
    {
        notes.clear();
        controllers.clear();
    }

    // IAudioOperator
    void setupProcessing(const OperatorSetup& setup) override { sampleRate = setup.sampleRate; }
    /** Switching on makes the ports, switching off drops them. */
    void setActive(bool state) override;
    bool isActive() override { return active; }
    void process(OperatorBuffers& buffers) override { fetch(buffers); }

    // IEventReceiver: the song's events are not recorded.
    bool receiveEvents(EventList& list) override { return false; }
    void flush() override {}

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return AudioOperator::addRef(); }
    uint32 release() override { return AudioOperator::release(); }

protected:
    ~MidiRecorderOperator() override;

private:
    PPortRegistry* registry;
    std::vector<QelEventInput*> inputs; // owned
    MidiSupport::MidiEventCollector* collector = nullptr;
    EventList notes;
    EventList controllers;
    double sampleRate = 44100.0;
    bool active = false;
};

} // namespace MiniEngine
} // namespace Quillmark
