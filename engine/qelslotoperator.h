// The plug-in's operator as a slot plays it: the audio of QelAudioOperator plus everything that
// reaches the plug-in besides audio. Timed events come through a ring and land at their sample
// in the block; parameter values from the user interface and from MIDI controllers are merged
// into the block's changes; the values the plug-in reports go to a listener. Created by whoever
// loads the plug-in into the graph; the graph holds it by reference.
#pragma once

#include "engine/eventlist.h"
#include "engine/parameterchanges.h"
#include "engine/qelaudiooperator.h"
#include "engine/qeleventinput.h"
#include "engine/tringbuffer.h"
#include "qel3/ieditcontroller.h"
#include "qelhost/ieventreceiver.h"

#include <atomic>
#include <memory>
#include <vector>

namespace Quillmark
{
namespace MidiSupport
{
class MidiEventCollector;
}

namespace MiniEngine
{

/** The event record of the ring: laid out as the plug-in's Event. */
using UEvent = Qel::Event;

class QelSlotOperator : public QelAudioOperator, public IEventReceiver, public IControllerReceiver
{
public:
    static constexpr int32 kRingCapacity = 4096;
    static constexpr int32 kChannels = 16;
    /** Controller numbers 0 to 127, then channel pressure (0x80) and pitch bend (0x81). */
    static constexpr int32 kMapSize = 130;
    /** The most parameter values that go back to the controller per block. */
    static constexpr int32 kMaxOutputChanges = 64;

    QelSlotOperator();

    /** A value from the user interface for the next block; true when it was dropped because
        every queue was taken. No lock: the audio thread copies it at the start of a block. */
    virtual bool queueParameter(int32 id, double value);

    /** Sizes the parameter queues from the controller's parameter count and reads its MIDI
        controller assignments for event bus 0. A null controller sizes for no parameters. */
    void setupController(Qel::IEditController* controller);
    /** The receiver of the values the plug-in reports; a strong reference. Swapped under the
        process lock, so the audio thread never calls a listener that is gone. */
    void setParamListener(IParamListener* listener);

    bool hasEventInput() const { return eventInput; }
    bool hadEvents() const { return eventsSeen.load(std::memory_order_relaxed); }
    int32 getAuxBusIndex() const { return auxBusIndex; }
    bool hasAuxInput() const { return auxInput; }
    /** The parameter mapped to a controller of `channel` on event bus 0, or -1. */
    int32 getMappedParameter(int32 channel, int32 controller) const;
    int32 countEventInputs() const { return int32(eventInputs.size()); }
    /** The ports of the event inputs, made at initialize; null without event input. */
    MidiSupport::MidiEventCollector* getMidiCollector() const { return midiCollector; }
    /** The MIDI side of event input bus `index`, or null; MIDI threads call its receive. */
    QelEventInput* getEventInput(int32 index) const;

    // QelAudioOperator
    bool initialize() override;
    void terminate() override;
    void setupProcessing(const OperatorSetup& setup) override;
    /** The block path: state, queued values, events, the plug-in, and what it reports. */
    void process(OperatorBuffers& buffers) override;

    // IEventReceiver: the ring, on the audio thread
    /** False unless the plug-in has an event input and is active. A full ring drops the rest
        of the list, which still counts as taken. */
    bool receiveEvents(EventList& list) override;
    /** Empties the ring into the block's events: note-offs at the block's start, nothing else,
        so that a stop cannot leave a note hanging. */
    void flush() override;

    // IControllerReceiver
    bool midiController(int32 sampleOffset, int32 controller, int32 channel, double value) override;
    bool programChange(int32 sampleOffset, int32 channel, double value) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return AudioOperator::addRef(); }
    uint32 release() override { return AudioOperator::release(); }

protected:
    ~QelSlotOperator() override;

    /** The queue the MIDI inputs fill each block; for the event inputs of later stages. */
    MultiParameterChange& getMidiChanges() { return midiChanges; }
    void takeRingEvents(const OperatorBuffers& buffers);

    MultiParameterChange uiChanges;
    MultiParameterChange midiChanges;
    MultiParameterChange processChanges;
    MultiParameterChange outputChanges;
    TRingBuffer<UEvent> eventRing{kRingCapacity};
    EventList inputEvents;
    std::vector<QelEventInput*> eventInputs;            // owned, one per event input bus
    std::unique_ptr<int32[]> controllerMaps[kChannels]; // kMapSize entries each, or none
    int32 auxBusIndex = -1;
    bool eventInput = false;
    bool auxInput = false;
    bool auxInputActive = false;
    std::atomic<bool> eventsSeen{false};
    double sampleRate = 44100.0;
    MidiSupport::MidiEventCollector* midiCollector = nullptr; // owned

private:
    std::atomic<IParamListener*> paramListener{nullptr};
};

} // namespace MiniEngine
} // namespace Quillmark
