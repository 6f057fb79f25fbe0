#include "conformity/process/signalgenerator.h"

#include "conformity/testrandom.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{

namespace
{

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kNoiseScale = 3.051851e-05; // about 1 / 32767

} // namespace

void SignalGenerator::fill(float* const* inputs, float* const* outputs, int32 frames,
                           int32 channels, int32 mode)
{
    if (!outputs || frames <= 0 || channels <= 0)
        return;
    switch (mode)
    {
    case kSine:
        fillSine(outputs, frames, channels);
        break;
    case kNoise:
        fillNoise(outputs, frames, channels);
        break;
    case kInput:
        fillInput(inputs, outputs, frames, channels);
        break;
    case kClip:
        fillClip(outputs, frames, channels);
        break;
    default: // kSilence, and any mode the table does not know
        clear(outputs, frames, channels);
        break;
    }
}

void SignalGenerator::fillSine(float* const* outputs, int32 frames, int32 channels)
{
    const double step = 360.0 / sampleRate * kSineFrequency;
    for (int32 frame = 0; frame < frames; ++frame)
    {
        const float value = float(std::sin(phase * kRadiansPerDegree) * gain);
        for (int32 channel = 0; channel < channels; ++channel)
            if (outputs[channel])
                outputs[channel][frame] = value;
        // The phase is kept in single precision, and so is every step of it.
        phase = float(phase + step);
        if (phase >= 360.0f)
            phase = float(phase - 360.0);
    }
}

void SignalGenerator::fillNoise(float* const* outputs, int32 frames, int32 channels)
{
    for (int32 channel = 0; channel < channels; ++channel)
    {
        float* output = outputs[channel];
        if (!output)
            continue;
        for (int32 frame = 0; frame < frames; ++frame)
            output[frame] = float((Qel::testRandom() * kNoiseScale * 2.0 - 1.0) * gain);
    }
}

void SignalGenerator::fillInput(float* const* inputs, float* const* outputs, int32 frames,
                                int32 channels)
{
    if (!inputs)
        return;
    for (int32 channel = 0; channel < channels; ++channel)
    {
        const float* input = inputs[channel];
        float* output = outputs[channel];
        if (!input || !output)
            continue;
        for (int32 frame = 0; frame < frames; ++frame)
            output[frame] = input[frame] * gain;
    }
}

void SignalGenerator::fillClip(float* const* outputs, int32 frames, int32 channels)
{
    if (readPosition < 0 || readPosition >= clipLength)
        return;
    // A clip that ends within the block plays what is left of it.
    const int32 count = std::min(frames, clipLength - readPosition);
    for (int32 channel = 0; channel < channels; ++channel)
    {
        float* output = outputs[channel];
        if (!output)
            continue;
        if (channel < 2)
            for (int32 frame = 0; frame < count; ++frame)
                output[frame] = stores[channel][readPosition + frame] * gain;
        else
            std::fill_n(output, count, 0.0f);
    }
}

void SignalGenerator::clear(float* const* outputs, int32 frames, int32 channels)
{
    for (int32 channel = 0; channel < channels; ++channel)
        if (outputs[channel])
            std::fill_n(outputs[channel], frames, 0.0f);
}

void SignalGenerator::setClip(const float* left, const float* right, int32 frames)
{
    leftStore.clear();
    rightStore.clear();
    clipLength = 0;
    if (left && right && frames > 0)
    {
        const double capacity = sampleRate * kMaxClipSeconds;
        clipLength = capacity < double(frames) ? int32(std::max(capacity, 0.0)) : frames;
        leftStore.assign(left, left + clipLength);
        rightStore.assign(right, right + clipLength);
    }
    stores[0] = leftStore.data();
    stores[1] = rightStore.data();
}

} // namespace Quillmark
