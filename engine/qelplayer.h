// The controller of the main window: the transport, the test signals, file loading, tempo,
// signature, metronome and record settings as named values that a view binds to by name. Every
// action of the user reaches the engine through its value handler, and on "Idle" it turns the
// engine's state into the display, so the audio thread never touches a value. Owned by the
// application; it holds references to the graph and the rack and lives on the main thread.
#pragma once

#include "base/fuid.h"
#include "base/values/uvaluecontainer.h"
#include "engine/playerdialogs.h"

#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{
class EventEditor;
class FComponentRegistry;
class FDefaultPool;
class FMessage;
class MiniTempoTrack;
class MiditrackPlayer;
class TapTempo;
class UFloatValue;
class UIntValue;
class UStringListValue;
class UStringValue;
class UValueProxy;

namespace MiniEngine
{
class AudioGraph;
class GainValue;
class QelRack;
class QelSlot;
class QelSlotController;
class TSignatureValue;

class QelPlayer : public UValueContainer
{
    QEL_DECLARE_CLASS(QelPlayer, UValueContainer)
public:
    enum Tags : int32
    {
        kInputSignal = 100,
        kAuxInputSignal = 101,
        kPlay = 102,
        kLoop = 103,
        kRecord = 104,
        kMidiTrackActive = 106,
        kActivatePatterns = 107,
        kAudioFile = 108,
        kAuxAudioFile = 109,
        kLoadMidiFile = 110,
        kSaveMidiFile = 111,
        kMidiFileName = 112,
        kFileName = 113,
        kAuxFileName = 114,
        kVolume = 115,
        kInput1Gain = 116,
        kInput2Gain = 117,
        kFxList = 118,
        kSynthList = 119,
        kOpenTarnSettings = 120,
        kDontAskForQuit = 121,
        kRecordMode = 122,
        kSongPosition = 123,
        kSongPositionIndicator = 124,
        kMidiChannel = 125,
        kRecordAnimation = 126,
        kTempoMode = 127,
        kTempoScale = 128,
        kSettings = 129,
        kTapTempo = 130,
        kMetronomeMode = 131,
        kMetronomeEnable = 132,
        kMetronomeBypass = 133,
        kMetronomeAccent = 134,
        kMetronomePlayMode = 135,
        kMetronomeVolume = 136,
        kMidiFilterAllNoteOff = 137,
        kStop = 4016,
        kTime = 4023,
        kTimeFormat = 4025,
        kTempo = 4026,
        kSignature = 4027,
    };

    enum MetronomeMode : int32
    {
        kMetronomeOff = 0,
        kMetronomeCountIn = 1,
        kMetronomeOn = 2,
    };

    static constexpr const char8* kSection = "Player";
    static constexpr const char8* kMetronomeSection = "Metronome";
    static constexpr const char8* kApplicationSection = "Application";
    /** The plug-in whose slot the metronome values stand for. */
    static constexpr const char8* kMetronomeName = "Metronome";
    static constexpr double kSongPositionMax = 1000.0;
    static constexpr double kRecordAnimationMax = 19.0;

    /** A clock in microseconds, for the tap tempo. */
    using Clock = std::function<int64()>;

    /** Takes references to `graph` and `rack`; reads the stored settings from `settings`
        (borrowed, may be null). `registry` (borrowed) offers the classes of the effect lists;
        `dialogs` (borrowed, may be null) asks the user for files and answers. */
    QelPlayer(AudioGraph* graph, QelRack* rack, FDefaultPool* settings,
              FComponentRegistry* registry = nullptr, PlayerDialogs* dialogs = nullptr);
    /** What the application does at quit before it lets go of the player: the settings are
        written back and the "Idle" registration, which holds a reference, ends. The rows and
        the references to graph and rack go with the player itself. */
    void shutdown();
    ~QelPlayer() override;

    AudioGraph* getAudioGraph() const { return audioGraph; }
    QelRack* getRack() const { return rack; }
    EventEditor* getEventEditor() const { return eventEditor; }
    void setDialogs(PlayerDialogs* newDialogs) { dialogs = newDialogs; }
    void setClock(Clock newClock) { clock = std::move(newClock); }

    /** The value of `tag` (borrowed), or null. */
    UValue* valueOf(int32 tag) const { return findValueByTag(tag); }

    /** Writes what the destructor writes, without ending. */
    void storeSettings();

    /** The periodic work of the "Idle" message. */
    void idle();

    /** Loads a class into a new slot, or in place of slot `replaceIndex` when that exists;
        the slot gets a controller of its own. Null with `problem` set on failure. */
    QelSlot* loadPlugin(const FUID& classId, int32 replaceIndex = -1,
                        std::string* problem = nullptr);
    /** Closes the slot's row and takes it out of the rack. */
    void removeSlot(QelSlot* slot);
    int32 countSlotControllers() const { return int32(slotControllers.size()); }
    QelSlotController* getSlotController(int32 index) const;
    QelSlotController* findSlotController(const QelSlot* slot) const;
    /** The controller of the slot whose plug-in is called "Metronome", or null. */
    QelSlotController* getMetronome() const;

    /** Reads a Standard MIDI File into the MIDI player; stops first. */
    bool loadMidiFile(const std::string& path, std::string* problem = nullptr);
    /** Writes what was recorded; stops first. */
    bool saveMidiFile(const std::string& path, std::string* problem = nullptr);
    /** Loads an audio file as signal 1 (target 0) or signal 2 (target 1). */
    bool loadAudioFile(const std::string& path, int32 target, std::string* problem = nullptr);

    /** Asks about every slot with unsaved changes; false when the user cancels. */
    bool canQuit(bool& changed);

    void onValueChanged(UValue* value) override;
    /** "Idle", "BeginEdit"/"EndEdit" of the song position, "removeSlot", "NewDevice",
        "LockProcess", "UnLockProcess". */
    void notify(FMessage* message) override;

    FController* findController(const ConstString& name) const override;

private:
    void createValues();
    void readSettings();
    void applyTempoScale(double value);
    void applyMetronomeMode(int32 mode);
    void hookMetronome();
    void stopPressed();
    void endRecording();
    void recordChanged(bool state);
    void playChanged(bool state);
    void addFromList(UStringListValue* list);
    void openAudioFile(int32 target);
    void openMidiFile();
    void saveMidiFileAsked();
    void setQuietly(UValue* value, double newValue);
    void resetButton(UValue* value);
    MiditrackPlayer* midiPlayer() const;
    /** The MIDI player, with the transport stopped first; null, with `problem` set, without one. */
    MiditrackPlayer* stoppedMidiPlayer(std::string* problem);
    bool trackHasData() const;
    QelSlotController* addSlotController(QelSlot* slot);

    AudioGraph* audioGraph;
    QelRack* rack;
    FDefaultPool* settings;
    FComponentRegistry* registry;
    PlayerDialogs* dialogs;
    MiniTempoTrack& tempoTrack;
    EventEditor* eventEditor = nullptr;
    TapTempo* tapTempo = nullptr;
    Clock clock;
    std::string lastMidiFile;
    std::vector<QelSlotController*> slotControllers; // owned
    bool playWasOn = false;
    bool registeredForIdle = false;
    /** The tag whose change the player makes itself, which the handler lets pass. */
    int32 quietTag = -1;

    // The values the handler and "Idle" work on; all owned by the container.
    UIntValue* play = nullptr;
    UIntValue* stop = nullptr;
    UIntValue* record = nullptr;
    UIntValue* loop = nullptr;
    UFloatValue* songPosition = nullptr;
    UIntValue* songPositionIndicator = nullptr;
    UFloatValue* recordAnimation = nullptr;
    UFloatValue* tempo = nullptr;
    UFloatValue* tempoScale = nullptr;
    UIntValue* tempoMode = nullptr;
    TSignatureValue* signature = nullptr;
    UStringValue* time = nullptr;
    UIntValue* timeFormat = nullptr;
    UStringListValue* recordMode = nullptr;
    UStringListValue* metronomeMode = nullptr;
    UStringListValue* midiChannel = nullptr;
    UStringValue* midiFileName = nullptr;
    UStringValue* fileName = nullptr;
    UStringValue* auxFileName = nullptr;
    UIntValue* loadMidiFileButton = nullptr;
    GainValue* volume = nullptr;
    GainValue* input1Gain = nullptr;
    GainValue* input2Gain = nullptr;
    UStringListValue* fxList = nullptr;
    UStringListValue* synthList = nullptr;
    UIntValue* dontAskForQuit = nullptr;
    UIntValue* midiFilterAllNoteOff = nullptr;
    UValueProxy* metronomeProxies[5] = {};
    double storedMetronomeVolume = -1.0;
};

} // namespace MiniEngine
} // namespace Quillmark
