#include "engine/signalgenerator.h"

#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilehandler.h"
#include "base/hostrand.h"
#include "base/owned.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

namespace Quillmark
{
namespace MiniEngine
{

const char8* SignalGenerator::kindLabel(int32 kind)
{
    static const char8* labels[] = {"Sine", "Noise", "Silence", "TARN Input", "Audio File"};
    return kind >= 0 && kind < 5 ? labels[kind] : nullptr;
}

int32 SignalGenerator::kindOfInput(const std::string& input)
{
    if (input == "sine")
        return kSine;
    if (input == "noise")
        return kNoise;
    if (input == "silence" || input.empty())
        return kSilence;
    return kAudioFile;
}

bool SignalGenerator::load(const std::string& path, std::string* problem)
{
    lengthSamples = 0;
    position = 0;
    fileSampleRate = 0.0;
    auto fail = [&](const char* why)
    {
        if (problem)
            *problem = why;
        return false;
    };
    Owned<AudioFile> file(new AudioFile);
    file->setRepairOnRead(false); // playing a file never changes it
    file->setPath(path);
    if (!file->ensureHeader() || !file->isValid())
        return fail("not a readable audio file");
    const double rate = file->getSampleRate();
    const int32 channels = file->getChannelCount();
    if (rate <= 0.0 || channels <= 0)
        return fail("the file has no usable format");
    const int64 maxFrames = int64(rate * kMaxSeconds);
    Owned<AudioAccessor> reader(file->createAccessor(kAudioModeRead));
    if (!reader)
        return fail("the samples cannot be read");
    reader->setSampleFormat(AudioConverter::kFloat);
    reader->setSampleSize(32);

    // Both channels are sized to the longest file kept, whatever this file's length.
    left.reset(new float[size_t(maxFrames)]());
    right.reset(new float[size_t(maxFrames)]());
    constexpr int64 kChunk = 4096;
    std::vector<float> block(size_t(kChunk * channels));
    int64 frames = 0;
    while (frames < maxFrames)
    {
        const int64 want = std::min(kChunk, maxFrames - frames);
        const int64 got = reader->read(want, block.data());
        if (got <= 0 || got > want)
            break; // the end, or damage: what was read stays
        for (int64 i = 0; i < got; ++i)
        {
            const float* frame = block.data() + i * channels;
            left[size_t(frames + i)] = frame[0];
            right[size_t(frames + i)] = channels > 1 ? frame[1] : frame[0];
        }
        frames += got;
    }
    reader->close();
    if (frames == 0)
        return fail("the file holds no samples");
    lengthSamples = int32(frames);
    fileSampleRate = rate;
    return true;
}

void SignalGenerator::render(float* const* inputs, float* const* outputs, int32 numSamples,
                             int32 numChannels, int32 kind)
{
    if (!outputs)
        return;
    switch (kind)
    {
    case kSine:
    {
        const float step = float(360.0 / sampleRate * kSineFrequency);
        for (int32 s = 0; s < numSamples; ++s)
        {
            const float value = std::sin(phase * float(std::numbers::pi / 180.0));
            phase += step;
            if (phase > 360.0f)
                phase -= 360.0f;
            for (int32 c = 0; c < numChannels; ++c)
                if (outputs[c])
                    outputs[c][s] = value * gain;
        }
        break;
    }
    case kNoise:
        for (int32 s = 0; s < numSamples; ++s)
            for (int32 c = 0; c < numChannels; ++c)
                if (outputs[c])
                    outputs[c][s] = (float(hostRand()) * 3.051851e-05f * 2.0f - 1.0f) * gain;
        break;
    case kDeviceInput:
        if (!inputs)
            break;
        for (int32 c = 0; c < numChannels; ++c)
            if (outputs[c] && inputs[c])
                for (int32 s = 0; s < numSamples; ++s)
                    outputs[c][s] = inputs[c][s] * gain;
        break;
    case kAudioFile:
    {
        int32 count = numSamples;
        if (int64(position) + numSamples > lengthSamples)
            count = lengthSamples - position;
        if (count <= 0 || position < 0)
            break;
        const float* sources[2] = {left.get() + position, right.get() + position};
        for (int32 c = 0; c < numChannels; ++c)
        {
            if (!outputs[c])
                continue;
            if (c < 2)
                for (int32 s = 0; s < count; ++s)
                    outputs[c][s] = sources[c][s] * gain;
            else
                std::memset(outputs[c], 0, sizeof(float) * size_t(count));
        }
        break;
    }
    default:
        for (int32 c = 0; c < numChannels; ++c)
            if (outputs[c])
                std::memset(outputs[c], 0, sizeof(float) * size_t(numSamples));
        break;
    }
}

} // namespace MiniEngine
} // namespace Quillmark
