// The Qel Synth example, class "Qel Synth": an instrument whose component is its own edit
// controller, with 16 voices, note expressions, key switches, MIDI mapping and programs. The host
// owns it by reference; process runs on the audio thread, everything else on the main thread.
#pragma once

#include "common/controllerbase.h"
#include "common/processhelpers.h"
#include "qel3/ikeyswitch.h"
#include "qel3/inoteexpression.h"
#include "qel3ext/iprogramdata.h"
#include "qelsynthdefs.h"
#include "qelsynthvoice.h"

#include <array>
#include <atomic>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

class QelSynth : public UnitedBase<IMidiMapping, INoteExpressionController, IKeyswitchController,
                                   IProgramListData>
{
    using Base =
        UnitedBase<IMidiMapping, INoteExpressionController, IKeyswitchController, IProgramListData>;

public:
    QelSynth();

    // IComponent
    /** One object plays both roles, so there is no controller class to name. */
    tresult getControllerClassId(TUID classId) override { return kResultFalse; }

    // IProgramListData: the factory list's programs as the sound each one makes, in the format
    // of the state, so a preset can carry one program.
    tresult programDataSupported(ProgramListID listId) override;
    tresult getProgramData(ProgramListID listId, int32 programIndex, IBStream* data) override;
    tresult setProgramData(ProgramListID listId, int32 programIndex, IBStream* data) override;
    /** The state of both halves: all parameter values. */
    tresult setState(IBStream* state) override;
    tresult getState(IBStream* state) override;

    // IAudioProcessor
    tresult process(ProcessData& data) override;

    // IEditController
    /** Brings the controller's values in line with a component state. */
    tresult setComponentState(IBStream* state) override;
    /** The program parameter also sets the sound parameters of its program. */
    tresult setParamNormalized(ParamID id, ParamValue value) override;

    // IMidiMapping
    tresult getMidiControllerAssignment(int32 busIndex, int16 channel,
                                        CtrlNumber midiControllerNumber, ParamID& id) override;

    // INoteExpressionController
    int32 getNoteExpressionCount(int32 busIndex, int16 channel) override;
    tresult getNoteExpressionInfo(int32 busIndex, int16 channel, int32 noteExpressionIndex,
                                  NoteExpressionTypeInfo& info) override;
    tresult getNoteExpressionStringByValue(int32 busIndex, int16 channel, NoteExpressionTypeID id,
                                           NoteExpressionValue valueNormalized,
                                           String128 string) override;
    tresult getNoteExpressionValueByString(int32 busIndex, int16 channel, NoteExpressionTypeID id,
                                           const TChar* string,
                                           NoteExpressionValue& valueNormalized) override;

    // IKeyswitchController
    int32 getKeyswitchCount(int32 busIndex, int16 channel) override;
    tresult getKeyswitchInfo(int32 busIndex, int16 channel, int32 keySwitchIndex,
                             KeyswitchInfo& info) override;

protected:
    tresult activeChanged(bool state) override;

private:
    using Values = std::array<ParamValue, Synth::kParameterCount>;

    template <class Sample> void render(ProcessData& data, BlockEvents& events);
    void applyPoint(ParamID id, ParamValue value);
    void handleEvent(const Event& event);
    void noteOn(const NoteOnEvent& note);
    void noteOff(const NoteOffEvent& note);
    SynthVoice& freeVoice();
    VoiceContext voiceContext() const;
    ParamValue value(ParamID id) const { return values[id].load(std::memory_order_relaxed); }
    void setValue(ParamID id, ParamValue v) { values[id].store(v, std::memory_order_relaxed); }
    static bool isEventChannel(int32 busIndex, int16 channel);

    // The values the sound is made of: written by process (automation, program changes) and
    // by setState, read by process and getState, so they are atomic.
    std::array<std::atomic<ParamValue>, Synth::kParameterCount> values;

    // Used by process only.
    BlockAutomation<Synth::kParameterCount> automation{
        {Synth::kVolumeId, Synth::kWaveformId, Synth::kAttackId, Synth::kReleaseId,
         Synth::kVibratoId, Synth::kPitchBendId, Synth::kProgramId}};
    std::array<SynthVoice, kQelSynthVoices> voices;
    uint64 notesStarted = 0;
    double vibratoPhase = 0.0; // 0..1
    Synth::Articulation articulation = Synth::Articulation::kSustain;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
