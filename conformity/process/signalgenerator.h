// The signal behind the audio engine's input operator: a 1000 Hz sine, white noise, silence, the
// live input, or an audio clip played from a read position, written into 32-bit channel buffers.
// Owned by the input operator, one per signal it offers; used on the audio thread.
#pragma once

#include "base/fobject.h"

#include <vector>

namespace Quillmark
{

class SignalGenerator : public CmObject
{
    QEL_DECLARE_CLASS(SignalGenerator, CmObject)

public:
    enum Mode : int32
    {
        kSine = 0,
        kNoise = 1,
        kSilence = 2,
        kInput = 3,
        kClip = 4,
    };

    /** The frequency of the sine, in Hz. */
    static constexpr double kSineFrequency = 1000.0;
    /** The longest clip kept, in seconds of the sample rate; anything longer is cut. */
    static constexpr int32 kMaxClipSeconds = 240;

    /** Writes `frames` frames into `channels` output channels by `mode`. `inputs` (used by
        kInput only) and `outputs` hold `channels` pointers. Without outputs nothing happens; a
        mode outside the table writes silence. */
    void fill(float* const* inputs, float* const* outputs, int32 frames, int32 channels,
              int32 mode);

    /** Takes a clip as two channels of frames, as the audio file reader gives them after
        conversion to stereo 32-bit float: at most sample rate times kMaxClipSeconds frames are
        kept. Missing channels or a negative count leave no clip. The read position is kept. */
    void setClip(const float* left, const float* right, int32 frames);
    /** The number of clip frames held. */
    int32 getClipLength() const { return clipLength; }

    void setSampleRate(double rate) { sampleRate = rate; }
    double getSampleRate() const { return sampleRate; }
    void setGain(float value) { gain = value; }
    float getGain() const { return gain; }
    /** Where the clip plays from, in frames. */
    void setReadPosition(int32 frame) { readPosition = frame; }
    int32 getReadPosition() const { return readPosition; }
    /** The sine's phase, in degrees, 0 up to 360. */
    float getPhase() const { return phase; }
    void setPhase(float degrees) { phase = degrees; }

private:
    void fillSine(float* const* outputs, int32 frames, int32 channels);
    void fillNoise(float* const* outputs, int32 frames, int32 channels);
    void fillInput(float* const* inputs, float* const* outputs, int32 frames, int32 channels);
    void fillClip(float* const* outputs, int32 frames, int32 channels);
    static void clear(float* const* outputs, int32 frames, int32 channels);

    double sampleRate = 44100.0;
    float phase = 0.0f; // degrees
    std::vector<float> leftStore;
    std::vector<float> rightStore;
    float* stores[2] = {nullptr, nullptr};
    int32 clipLength = 0;
    int32 readPosition = 0;
    float gain = 1.0f;
};

} // namespace Quillmark
