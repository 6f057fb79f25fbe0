// One voice of Qel Synth: an oscillator with an attack-release envelope that plays one note,
// with that note's own volume and tuning. The synth owns a fixed array of voices and uses them
// on the audio thread only, so nothing here allocates or locks.
#pragma once

#include "qel3/ievents.h"
#include "qelsynthdefs.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

/** What all voices share during one stretch of a block. */
struct VoiceContext
{
    double sampleRate = 44100.0;
    Synth::Waveform waveform = Synth::Waveform::kSine;
    double attackStep = 1.0;  // envelope rise per sample
    double releaseStep = 1.0; // envelope fall per sample
    double pitchOffset = 0.0; // semitones: bend and vibrato
    double gain = 1.0;        // master volume times headroom
};

class SynthVoice
{
public:
    /** Starts a note. `stopAfter` samples end it by themselves (staccato); -1: never. */
    void start(const NoteOnEvent& note, int32 stopAfter, uint64 order);
    /** Lets the note fade with the release time. */
    void release();
    /** Stops at once, without fading. */
    void kill() { stage = Stage::kOff; }

    /** Adds `count` samples of the note to `left` and `right` (either may be null). */
    template <class Sample>
    void render(Sample* left, Sample* right, int32 count, const VoiceContext& context);

    void setVolume(NoteExpressionValue value);
    void setTuning(NoteExpressionValue value);

    bool isActive() const { return stage != Stage::kOff; }
    bool isReleasing() const { return stage == Stage::kRelease; }
    bool plays(int32 id) const { return isActive() && id != -1 && noteId == id; }
    bool plays(int16 noteChannel, int16 notePitch) const
    {
        return isActive() && !isReleasing() && channel == noteChannel && pitch == notePitch;
    }
    uint64 startOrder() const { return order; }
    double level() const { return envelope; }

private:
    enum class Stage
    {
        kOff,
        kAttack,
        kSustain,
        kRelease,
    };

    Stage stage = Stage::kOff;
    int32 noteId = -1;
    int16 channel = 0;
    int16 pitch = 0;
    double velocity = 0.0;
    double noteTuning = 0.0; // semitones, from the note-on
    double expressionGain = 1.0;
    double expressionTuning = 0.0; // semitones
    double phase = 0.0;            // 0..1
    double envelope = 0.0;
    int32 samplesToStop = -1;
    uint64 order = 0;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
