#include "base/optimaudio/alsamplerateconverter.h"

#include <algorithm>
#include <cmath>
#include <immintrin.h>

namespace Quillmark
{

ALSampleRateConverter::ALSampleRateConverter(int32 channels, int32 quality)
    : channels(std::max<int32>(channels, 1)), quality(quality >= 1 ? 3 : 0)
{
    taps = this->quality < 1 ? 16 : 16 << (this->quality - 1);
    history.assign(size_t(this->channels), std::vector<float>(size_t(kBufferSize + 2 * taps + 1)));
    coefficients.assign(size_t(2 * taps), 0.f);
    setRates(inputRate, outputRate);
    reset();
}

double ALSampleRateConverter::besselI0(double x)
{
    double sum = 1, term = 1;
    const double half = x / 2;
    for (int k = 1; k < 1000; ++k)
    {
        term *= (half / k) * (half / k);
        sum += term;
        if (term < sum * 1e-21)
            break;
    }
    return sum;
}

void ALSampleRateConverter::setRates(double newInputRate, double newOutputRate)
{
    inputRate = newInputRate;
    outputRate = newOutputRate;
    double newRatio = 0;
    const bool whole = std::floor(inputRate) == inputRate && std::floor(outputRate) == outputRate &&
                       inputRate < 1e9 && outputRate < 1e9;
    wholeInputRate = whole ? int64(inputRate) : 0;
    wholeOutputRate = whole ? int64(outputRate) : 0;
    if (inputRate > 0 && outputRate > 0)
    {
        newRatio = inputRate / outputRate;
        if (newRatio < 0.01 || newRatio > 100)
            newRatio = 0;
    }
    if (newRatio != ratio || table.empty())
    {
        ratio = newRatio;
        buildTable();
        outputs = 0;
        discarded = 0;
    }
}

void ALSampleRateConverter::buildTable()
{
    table.clear();
    differences.clear();
    // Going down, the cut-off follows the output's Nyquist frequency so nothing folds back;
    // the filter's gain at DC is then 2 × cut-off, made up for at the output.
    const double cutoff = ratio > 1 ? 0.5 / ratio : 0.5;
    outputGain = float(2 * cutoff);
    const int32 length = taps * kTableResolution + 1;
    table.resize(size_t(length));
    const double i0Beta = besselI0(kKaiserBeta);
    const double pi = 3.14159265358979323846;
    for (int32 i = 0; i < length; ++i)
    {
        double x = i * 2 * pi * cutoff / kTableResolution;
        double sinc = i == 0 ? 1.0 : std::sin(x) / x;
        double r = double(i) / (double(taps) * kTableResolution);
        double window = besselI0(kKaiserBeta * std::sqrt(std::max(0.0, 1 - r * r))) / i0Beta;
        table[size_t(i)] = float(sinc * window);
    }
    differences.resize(size_t(length));
    for (int32 i = 0; i + 1 < length; ++i)
        differences[size_t(i)] = table[size_t(i) + 1] - table[size_t(i)];
    differences[size_t(length - 1)] = -table[size_t(length - 1)];
}

void ALSampleRateConverter::position(int64& frame, double& fraction) const
{
    int64 start;
    if (wholeInputRate > 0)
    {
        const int64 scaled = outputs * wholeInputRate;
        start = scaled / wholeOutputRate;
        fraction = double(scaled % wholeOutputRate) / double(wholeOutputRate);
    }
    else
    {
        const double at = double(outputs) * ratio;
        start = int64(at);
        fraction = at - double(start);
    }
    frame = taps + start - discarded;
}

void ALSampleRateConverter::reset()
{
    // The stream starts after `taps` frames of silence, so the first output lies on the first
    // input frame and its left side reads zeros.
    for (auto& channel : history)
        std::fill(channel.begin(), channel.end(), 0.f);
    filled = taps;
    outputs = 0;
    discarded = 0;
}

int32 ALSampleRateConverter::maxOutputFor(int32 inputFrames) const
{
    if (ratio <= 0)
        return 0;
    int64 frame;
    double fraction;
    position(frame, fraction);
    double available = double(filled + inputFrames + taps) - double(frame);
    return std::max<int32>(0, int32(std::ceil(available / ratio)) + 1);
}

void ALSampleRateConverter::append(const float* const* input, int32 offset, int32 frames)
{
    for (int32 c = 0; c < channels; ++c)
    {
        float* target = history[size_t(c)].data() + filled;
        if (input && input[c])
            std::copy(input[c] + offset, input[c] + offset + frames, target);
        else
            std::fill(target, target + frames, 0.f);
    }
    filled += frames;
}

int32 ALSampleRateConverter::produce(float* const* output, int32 offset, int32 maxOutput)
{
    int32 produced = 0;
    const float* t = table.data();
    const float* d = differences.data();
    while (offset + produced < maxOutput)
    {
        int64 frame;
        double fraction;
        position(frame, fraction);
        if (frame + taps >= filled)
            break;
        const int32 centre = int32(frame);
        // Distances to the right-hand frames are (k - fraction), to the left (k + fraction);
        // in table steps both keep one fractional part across all taps of a side.
        const double rightIndex = (1 - fraction) * kTableResolution;
        const int32 rightBase = int32(rightIndex);
        const float rightFrac = float(rightIndex - rightBase);
        const double leftIndex = fraction * kTableResolution;
        const int32 leftBase = int32(leftIndex);
        const float leftFrac = float(leftIndex - leftBase);
        // The filter for this output, once for all channels, in history order: entry j
        // weighs frame centre - taps + 1 + j.
        float* c = coefficients.data();
        for (int32 k = 0, i = leftBase; k < taps; ++k, i += kTableResolution)
            c[taps - 1 - k] = t[i] + leftFrac * d[i];
        for (int32 k = 0, i = rightBase; k < taps; ++k, i += kTableResolution)
            c[taps + k] = t[i] + rightFrac * d[i];
        const int32 first = centre - taps + 1;
        for (int32 channel = 0; channel < channels; ++channel)
        {
            const float* x = history[size_t(channel)].data() + first;
            // Four running sums; taps is a multiple of 8, so no tail is left.
            __m128 sum0 = _mm_setzero_ps(), sum1 = _mm_setzero_ps();
            for (int32 j = 0; j < 2 * taps; j += 8)
            {
                sum0 = _mm_add_ps(sum0, _mm_mul_ps(_mm_loadu_ps(x + j), _mm_loadu_ps(c + j)));
                sum1 =
                    _mm_add_ps(sum1, _mm_mul_ps(_mm_loadu_ps(x + j + 4), _mm_loadu_ps(c + j + 4)));
            }
            alignas(16) float lanes[4];
            _mm_store_ps(lanes, _mm_add_ps(sum0, sum1));
            output[channel][offset + produced] =
                ((lanes[0] + lanes[1]) + (lanes[2] + lanes[3])) * outputGain;
        }
        ++produced;
        ++outputs;
    }
    return produced;
}

void ALSampleRateConverter::discardConsumed()
{
    int64 frame;
    double fraction;
    position(frame, fraction);
    const int32 keepFrom = std::max<int32>(0, int32(frame) - taps);
    if (keepFrom <= 0)
        return;
    for (auto& channel : history)
        std::copy(channel.begin() + keepFrom, channel.begin() + filled, channel.begin());
    filled -= keepFrom;
    discarded += keepFrom;
}

int32 ALSampleRateConverter::process(const float* const* input, int32 inputFrames,
                                     float* const* output, int32 maxOutput, bool flush)
{
    if (ratio <= 0 || !output)
        return 0;
    int32 written = 0;
    int32 consumed = 0;
    const int32 capacity = kBufferSize + 2 * taps + 1;
    while (consumed < inputFrames)
    {
        discardConsumed();
        int32 room = capacity - filled;
        int32 frames = std::min(room, inputFrames - consumed);
        if (frames <= 0)
            break; // output full and history full: the caller asked for too little output
        append(input, consumed, frames);
        consumed += frames;
        written += produce(output, written, maxOutput);
    }
    if (flush)
    {
        // Play the history out: every output up to the last input frame, with silence behind
        // it; then the stream is over and the next input starts a new one.
        discardConsumed();
        const int32 end = filled;
        append(nullptr, 0, std::min(taps + 1, capacity - filled));
        while (written < maxOutput)
        {
            int64 frame;
            double fraction;
            position(frame, fraction);
            if (frame >= end)
                break;
            int32 made = produce(output, written, written + 1);
            if (made == 0)
                break;
            written += made;
        }
        reset();
    }
    return written;
}

} // namespace Quillmark
