#include "base/optimaudio/alsamplerateconverter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Quillmark;

namespace
{

TEST(ALSampleRateConverter, BuildsAKaiserWindowedSincTable)
{
    EXPECT_DOUBLE_EQ(1.0, ALSampleRateConverter::besselI0(0));
    EXPECT_NEAR(1.2660658777520082, ALSampleRateConverter::besselI0(1), 1e-15);
    EXPECT_NEAR(1053.1251224911707, ALSampleRateConverter::besselI0(8.96), 1e-9);

    ALSampleRateConverter up(1, 3);
    up.setRates(44100, 48000);
    EXPECT_EQ(64, up.getTaps());
    ASSERT_EQ(size_t(64 * 512 + 1), up.getTable().size());
    EXPECT_EQ(1.f, up.getTable()[0]);
    // Going up, zero crossings fall on whole input frames.
    EXPECT_NEAR(0.f, up.getTable()[512], 1e-7);
    EXPECT_NEAR(0.f, up.getTable()[5 * 512], 1e-7);
    EXPECT_NEAR(0.f, up.getTable().back(), 1e-6);

    // Going down by 2 the cut-off halves, and the first crossing moves to frame 2.
    ALSampleRateConverter down(1, 0);
    down.setRates(96000, 48000);
    EXPECT_EQ(16, down.getTaps());
    EXPECT_GT(down.getTable()[512], 0.5f);
    EXPECT_NEAR(0.f, down.getTable()[1024], 1e-7);
}

TEST(ALSampleRateConverter, ARatioOfZeroOrOutOfRangePassesNothing)
{
    ALSampleRateConverter converter(1, 3);
    std::vector<float> in(100, 0.5f), out(1000);
    const float* input[] = {in.data()};
    float* output[] = {out.data()};
    for (auto [from, to] : {std::pair{0.0, 48000.0}, {44100.0, 0.0}, {1000.0, 200000.0}})
    {
        converter.setRates(from, to);
        EXPECT_EQ(0.0, converter.getRatio());
        EXPECT_EQ(0, converter.process(input, 100, output, 1000, true));
    }
    converter.setRates(1000, 100000);
    EXPECT_EQ(0.01, converter.getRatio());
}

TEST(ALSampleRateConverter, KeepsDirectCurrentAndStopsWhatWouldAlias)
{
    // Down from 96 kHz to 44.1 kHz: a 30 kHz tone lies above the new Nyquist frequency and
    // must vanish; a constant must keep its level.
    ALSampleRateConverter converter(2, 3);
    converter.setRates(96000, 44100);
    const int32 frames = 96000;
    std::vector<float> tone(frames), level(frames, 0.25f);
    for (int32 i = 0; i < frames; ++i)
        tone[size_t(i)] = float(std::sin(2 * M_PI * 30000.0 * i / 96000.0));
    const float* input[] = {tone.data(), level.data()};
    std::vector<float> outTone(50000), outLevel(50000);
    float* output[] = {outTone.data(), outLevel.data()};
    int32 written = converter.process(input, frames, output, 50000, true);
    EXPECT_EQ(44100, written);
    double energy = 0;
    for (int32 j = 1000; j < 43000; ++j)
    {
        energy += double(outTone[size_t(j)]) * outTone[size_t(j)];
        EXPECT_NEAR(0.25f, outLevel[size_t(j)], 1e-5) << j;
    }
    double rms = std::sqrt(energy / 42000);
    EXPECT_LT(20 * std::log10(rms / std::sqrt(0.5)), -80.0);
}

TEST(ALSampleRateConverter, GivesTheSameOutputWhateverTheBlockSize)
{
    std::vector<float> in(20000);
    for (size_t i = 0; i < in.size(); ++i)
        in[i] = float(std::sin(i * 0.01) * std::cos(i * 0.0007));
    auto run = [&](int32 block)
    {
        ALSampleRateConverter converter(1, 3);
        converter.setRates(48000, 44100);
        std::vector<float> out(20000);
        int32 written = 0;
        for (int32 at = 0; at < int32(in.size()); at += block)
        {
            const float* input[] = {in.data() + at};
            float* output[] = {out.data() + written};
            written += converter.process(input, std::min<int32>(block, int32(in.size()) - at),
                                         output, int32(out.size()) - written, false);
        }
        float* output[] = {out.data() + written};
        written += converter.process(nullptr, 0, output, int32(out.size()) - written, true);
        out.resize(size_t(written));
        return out;
    };
    auto whole = run(20000);
    EXPECT_EQ(size_t(18375), whole.size());
    EXPECT_EQ(whole, run(1));
    EXPECT_EQ(whole, run(333));
}

} // namespace
