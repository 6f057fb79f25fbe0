#include "qelsynthvoice.h"

#include <cmath>
#include <numbers>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

void SynthVoice::start(const NoteOnEvent& note, int32 stopAfter, uint64 startOrder)
{
    stage = Stage::kAttack;
    noteId = note.noteId;
    channel = note.channel;
    pitch = note.pitch;
    velocity = note.velocity;
    noteTuning = note.tuning / 100.0;
    expressionGain = 1.0;
    expressionTuning = 0.0;
    phase = 0.0;
    envelope = 0.0;
    samplesToStop = stopAfter;
    order = startOrder;
}

void SynthVoice::release()
{
    if (isActive())
        stage = Stage::kRelease;
}

void SynthVoice::setVolume(NoteExpressionValue value)
{
    expressionGain = 2.0 * ParameterSpec::clamp01(value);
}

void SynthVoice::setTuning(NoteExpressionValue value)
{
    expressionTuning = (ParameterSpec::clamp01(value) - Synth::kNeutralExpression) * 2.0 *
                       Synth::kTuningRangeSemitones;
}

namespace
{

double oscillator(Synth::Waveform waveform, double phase)
{
    switch (waveform)
    {
    case Synth::Waveform::kSaw:
        return 2.0 * phase - 1.0;
    case Synth::Waveform::kSquare:
        return phase < 0.5 ? 1.0 : -1.0;
    case Synth::Waveform::kSine:
    default:
        return std::sin(2.0 * std::numbers::pi * phase);
    }
}

} // namespace

template <class Sample>
void SynthVoice::render(Sample* left, Sample* right, int32 count, const VoiceContext& context)
{
    // The pitch holds for the stretch: the synth cuts blocks short enough for vibrato.
    const double semitones = pitch - 69 + noteTuning + expressionTuning + context.pitchOffset;
    const double increment = 440.0 * std::exp2(semitones / 12.0) / context.sampleRate;
    const double gain = velocity * expressionGain * context.gain;

    for (int32 i = 0; i < count && stage != Stage::kOff; ++i)
    {
        if (samplesToStop >= 0 && samplesToStop-- == 0)
            stage = Stage::kRelease;
        switch (stage)
        {
        case Stage::kAttack:
            envelope += context.attackStep;
            if (envelope >= 1.0)
            {
                envelope = 1.0;
                stage = Stage::kSustain;
            }
            break;
        case Stage::kRelease:
            envelope -= context.releaseStep;
            if (envelope <= 0.0)
            {
                envelope = 0.0;
                stage = Stage::kOff;
            }
            break;
        default:
            break;
        }

        const auto value =
            static_cast<Sample>(oscillator(context.waveform, phase) * envelope * gain);
        if (left)
            left[i] += value;
        if (right)
            right[i] += value;
        phase += increment;
        phase -= std::floor(phase);
    }
}

template void SynthVoice::render<Sample32>(Sample32*, Sample32*, int32, const VoiceContext&);
template void SynthVoice::render<Sample64>(Sample64*, Sample64*, int32, const VoiceContext&);

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
