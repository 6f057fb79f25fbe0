// A MIDI interface of the system (the ALSA sequencer, the MIDI ports of a JACK server) as a
// device of the studio: its inputs and outputs are sockets in system "midi", it runs the one
// scheduling thread that plays the events of all its outputs on time, and it keeps the
// real-time priority of its MIDI threads. Created and owned by whoever starts the studio's MIDI
// devices; every socket is closed before it goes.
#pragma once

#include "devices/midi/pmidisockets.h"
#include "devices/ports/pdevice.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace Quillmark
{

class FDefaultPool;

namespace MidiSupport
{
class PMidiFilterSetup;
}

/** What the start arguments ask of the MIDI interfaces. */
struct MidiDriverOptions
{
    /** "ignoreportfilter": list every port, also those no hardware stands behind. */
    bool ignorePortFilter = false;
    /** "enableemulated": list the ports no hardware stands behind as well. */
    bool enableEmulated = false;
    /** The JACK server to talk to; empty for the default one. */
    std::string jackServerName;

    bool includesNonPhysicalPorts() const { return ignorePortFilter || enableEmulated; }
    /** Reads the arguments in order; "ignoreportfilter" ends the reading. */
    static MidiDriverOptions fromArguments(const std::vector<std::string>& arguments);
};

class PMidiInterface : public PDevice
{
    QEL_DECLARE_CLASS(PMidiInterface, PDevice)
public:
    static constexpr const char8* kUseSystemTimestampKey = "Use System Timestamp";
    /** The longest the scheduling thread sleeps, also with nothing to play. */
    static constexpr int32 kSchedulerWakeMs = 2;

    /** `settingsSection` names the section of the preference store ("ALSA MIDI"). */
    PMidiInterface(const ConstString& name, const char8* settingsSection, PPortRegistry* registry);
    /** Subclasses call close() in their own destructor, while their sockets are whole. */
    ~PMidiInterface() override;

    /** Starts the scheduling thread. */
    void startScheduler();
    /** Closes every socket and stops the scheduling thread; idempotent. */
    virtual void close();

    /** Stamps from the system's clock at arrival instead of the driver's own. */
    bool usesSystemTimestamp() const { return useSystemTimestamp.load(); }
    void setUseSystemTimestamp(bool state) { useSystemTimestamp.store(state); }

    /** The filter the inputs obey; null lets everything pass. Borrowed. */
    void setFilter(MidiSupport::PMidiFilterSetup* filter) { midiFilter.store(filter); }
    MidiSupport::PMidiFilterSetup* getFilter() const { return midiFilter.load(); }
    /** False for a message that the filter holds back: a controller whose switch is on. */
    static bool passesFilter(const MidiSupport::PMidiFilterSetup* filter, const uint8* bytes,
                             int32 size);

    /** An output has an event before the scheduler's next one: wake it now. Any thread. */
    void wakeScheduler(double eventTime);
    /** How often the scheduling thread has looked for due events. */
    int64 getSchedulerRounds() const { return schedulerRounds.load(); }
    bool isSchedulerRunning() const;

    /** The priority of the MIDI threads: a boost puts them into the high real-time class. */
    void setPriorityBoost(bool boost);
    bool hasPriorityBoost() const { return priorityBoost.load(); }
    /** A MIDI thread calls this now and then with its own copy of the generation; it applies
        the current class to the calling thread when it changed. */
    void applyPriority(int32& seenGeneration) const;

    int32 countInputSockets() const;
    int32 countOutputSockets() const;
    PHWMidiInSocket* getInputSocket(int32 index) const;
    PMidiOutSocket* getOutputSocket(int32 index) const;
    PHWMidiInSocket* findInputSocket(const ConstString& name) const;
    PMidiOutSocket* findOutputSocket(const ConstString& name) const;

    /** Reads "Use System Timestamp" of the section, and applies once the older per-port
        entries of the section named after the device ("In <name>", "Out <name>",
        "In Flags <name>", "Out Flags <name>"), which it then deletes. */
    void restoreSettings(FDefaultPool& pool);
    void storeSettings(FDefaultPool& pool) const;
    const char8* getSettingsSection() const { return settingsSection; }

    /** "UpdatePriority" with the attribute "level": above 0 is a boost. */
    void notify(FMessage* message) override;

protected:
    /** Subclasses add their sockets through these; the device owns them. */
    PHWMidiInSocket* addInputSocket(PHWMidiInSocket* socket);
    PMidiOutSocket* addOutputSocket(PMidiOutSocket* socket);
    /** Closes all sockets; their connections stay. */
    void deactivateAll();
    void stopScheduler();

private:
    void schedulerLoop();

    const char8* settingsSection;
    std::atomic<bool> useSystemTimestamp{false};
    std::atomic<MidiSupport::PMidiFilterSetup*> midiFilter{nullptr};

    mutable FLock inputListLock{"PMidiInterface inputs"};
    mutable FLock outputListLock{"PMidiInterface outputs"};
    std::vector<PHWMidiInSocket*> inputSockets; // borrowed from the device's port list
    std::vector<PMidiOutSocket*> outputSockets; // the same

    std::thread scheduler;
    mutable std::mutex schedulerMutex;
    std::condition_variable schedulerWake;
    bool schedulerRun = false;
    bool wakeRequested = false;
    double nextEventTime = PMidiOutSocket::kNothingPending;
    std::atomic<int64> schedulerRounds{0};

    std::atomic<bool> priorityBoost{true};
    std::atomic<int32> priorityGeneration{1};
};

} // namespace Quillmark
