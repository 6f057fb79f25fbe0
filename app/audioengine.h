// The live engine as the application and --play run it: the device library and the audio system,
// the graph with its recorder and input signals joined to the driver, the rack and the player,
// and the MIDI drivers feeding "All MIDI Inputs". Its one job beyond assembly is the order of
// teardown, which lets the player write its settings while everything it reads still exists.
// Owned by whoever opened it (the application, or the --play job), on the main thread.
#pragma once

#include "base/fuid.h"
#include "devices/midi/pmidiinterface.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class BaiosHandler;
class FComponentRegistry;
class FDefaultPool;
class MidiDriverSet;
class PBaiosManager;
class PPort;
class PPortRegistry;
class PStudio;

namespace Baios
{
class DriverDevice;
}

namespace MidiSupport
{
class MidiEventCollector;
}

namespace MiniEngine
{
class AudioGraph;
class InputOperator;
class PlayerDialogs;
class QelPlayer;
class QelRack;
class QelSlot;
} // namespace MiniEngine

class AudioEngine
{
public:
    static constexpr const char8* kRackSection = "Plugin Rack";
    static constexpr const char8* kSlotCountKey = "Slot Count";
    static constexpr const char8* kSlotKey = "UID Slot %d";

    struct Options
    {
        /** The driver to open ("JACK", "Null Audio Driver", "ALSA: ..."); empty for the
            start-up choice (the stored one, else the fallback). */
        std::string driver;
        /** False leaves the MIDI drivers closed. */
        bool midi = true;
        MidiDriverOptions midiOptions;
    };

    /** `classes` and `preferences` are borrowed and must outlive the engine; `preferences` and
        `dialogs` may be null. */
    AudioEngine(FComponentRegistry& classes, FDefaultPool* preferences,
                MiniEngine::PlayerDialogs* dialogs = nullptr);
    /** close() */
    ~AudioEngine();
    AudioEngine(const AudioEngine&) = delete;
    AudioEngine& operator=(const AudioEngine&) = delete;

    /** Builds everything and opens the driver; false with `problem` set when no driver could
        be opened or joined, and nothing is left behind then. MIDI drivers that are missing
        only add lines to `midiProblems` (may be null). */
    bool open(const Options& options, std::string* problem,
              std::vector<std::string>* midiProblems = nullptr);
    /** The player's settings written, the player released, the rack shut down, the handler
        taken off the driver, the MIDI drivers and the devices closed. Safe to call twice. */
    void close();
    bool isOpen() const { return player != nullptr; }

    /** The classes of the slots, from slot 0 upward to the first without a valid class, as
        "Plugin Rack" keeps them. */
    std::vector<FUID> rackClasses() const;
    /** Writes rackClasses() to `pool`: "UID Slot 1"... and "Slot Count". */
    void saveRack(FDefaultPool& pool) const;
    /** The classes stored in `pool`, up to the first entry that does not parse. */
    static std::vector<FUID> storedRack(FDefaultPool& pool);

    /** Connects the first MIDI input of `slot` to `source` alone (null: "All MIDI Inputs"). */
    void connectMidi(MiniEngine::QelSlot* slot, PPort* source = nullptr);
    /** The same for the graph's recorder, while recording is switched on (it has its
        collector only then). */
    void connectRecorder(PPort* source = nullptr);
    /** The source side of "All MIDI Inputs", or null without MIDI drivers. */
    PPort* allMidiInputs() const;
    /** A MIDI source of the open interfaces by its name ("client:port" for JACK), or null. */
    PPort* findMidiSource(const std::string& name) const;

    MiniEngine::QelPlayer* getPlayer() const { return player; }
    MiniEngine::QelRack* getRack() const { return rack; }
    MiniEngine::AudioGraph* getGraph() const { return graph; }
    MiniEngine::InputOperator* getInput() const { return input; }
    BaiosHandler* getHandler() const { return handler; }
    PBaiosManager* getManager() const { return manager; }
    MidiDriverSet* getMidi() const { return midi.get(); }
    PPortRegistry* getPorts() const;
    /** The devices of the run and their ports, while the engine is open. */
    PStudio* getStudio() const { return studio; }
    /** The driver's device now playing, or null. */
    Baios::DriverDevice* getDriverDevice() const;
    /** The identifier of the driver now playing, or empty. */
    std::string getDriverName() const;

private:
    void listen(MidiSupport::MidiEventCollector* collector, PPort* source) const;

    FComponentRegistry& classes;
    FDefaultPool* preferences;
    MiniEngine::PlayerDialogs* dialogs;
    PStudio* studio = nullptr;
    PBaiosManager* manager = nullptr;
    MiniEngine::AudioGraph* graph = nullptr;
    MiniEngine::InputOperator* input = nullptr; // owned by the graph
    BaiosHandler* handler = nullptr;
    MiniEngine::QelRack* rack = nullptr;
    MiniEngine::QelPlayer* player = nullptr;
    std::unique_ptr<MidiDriverSet> midi;
};

} // namespace Quillmark
