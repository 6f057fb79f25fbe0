// One stereo test signal of the engine's input: a 1000 Hz sine, white noise, silence, the
// driver's input, or an audio file held in memory and played at the transport's position.
// Owned by the InputOperator; a file is loaded on a configuration thread under the process lock.
#pragma once

#include "base/fobject.h"

#include <memory>
#include <string>

namespace Quillmark
{
namespace MiniEngine
{

class SignalGenerator : public CmObject
{
    QEL_DECLARE_CLASS(SignalGenerator, CmObject)
public:
    enum Kind : int32
    {
        kSine = 0,
        kNoise = 1,
        kSilence = 2,
        kDeviceInput = 3, // "TARN Input"
        kAudioFile = 4,
    };
    static constexpr double kSineFrequency = 1000.0;
    /** Seconds of a file that are kept; the rest is cut. */
    static constexpr double kMaxSeconds = 240.0;

    /** The label of a kind as the user sees it, or null. */
    static const char8* kindLabel(int32 kind);
    /** The kind a command line's input names: "sine", "noise", "silence" (or nothing), and
        anything else is the path of an audio file. */
    static int32 kindOfInput(const std::string& input);

    void setSampleRate(double rate) { sampleRate = rate; }
    double getSampleRate() const { return sampleRate; }
    void setGain(float g) { gain = g; }
    float getGain() const { return gain; }

    /** Reads up to 240 seconds of the file as two float channels (a mono file on both). On any
        failure the length is 0 and `problem`, if given, says why. */
    bool load(const std::string& path, std::string* problem = nullptr);
    /** The frames read, 0 when nothing is loaded. */
    int32 getLength() const { return lengthSamples; }
    /** The sample rate of the loaded file, 0 when nothing is loaded. */
    double getFileSampleRate() const { return fileSampleRate; }
    const float* getChannel(int32 index) const { return index == 0 ? left.get() : right.get(); }
    void setPosition(int32 frame) { position = frame; }
    int32 getPosition() const { return position; }

    /** Writes `numSamples` samples of `kind` into `outputs`; nothing without outputs. "TARN
        Input" reads `inputs`. Allocates nothing. */
    void render(float* const* inputs, float* const* outputs, int32 numSamples, int32 numChannels,
                int32 kind);

private:
    double sampleRate = 44100.0;
    float phase = 0.0f; // degrees
    std::unique_ptr<float[]> left;
    std::unique_ptr<float[]> right;
    int32 lengthSamples = 0;
    int32 position = 0;
    float gain = 1.0f;
    double fileSampleRate = 0.0;
};

} // namespace MiniEngine
} // namespace Quillmark
