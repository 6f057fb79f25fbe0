// The engine's signal generator, mode by mode, by the values it writes.
#include "conformity/process/signalgenerator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <vector>

using namespace Quillmark;

namespace
{

constexpr float kUntouched = 99.0f;

/** `channels` buffers of `frames` samples, all kUntouched. */
struct Buffers
{
    Buffers(int channels, int frames)
        : data(size_t(channels), std::vector<float>(size_t(frames), kUntouched))
    {
        for (auto& channel : data)
            pointers.push_back(channel.data());
    }
    float* const* get() { return pointers.data(); }
    std::vector<std::vector<float>> data;
    std::vector<float*> pointers;
};

TEST(SignalGenerator, SineIsAThousandHertzOnEveryChannelScaledByGain)
{
    SignalGenerator generator;
    generator.setSampleRate(48000.0); // 7.5 degrees a frame
    generator.setGain(0.5f);
    Buffers out(2, 5);
    generator.fill(nullptr, out.get(), 4, 2, SignalGenerator::kSine);
    const float expected[] = {0.0f, 0.065263096f, 0.12940952f, 0.19134172f};
    for (int channel = 0; channel < 2; ++channel)
    {
        for (int frame = 0; frame < 4; ++frame)
            EXPECT_NEAR(out.data[channel][frame], expected[frame], 1e-7) << frame;
        EXPECT_EQ(out.data[channel][4], kUntouched);
    }
    EXPECT_EQ(generator.getPhase(), 30.0f);
}

TEST(SignalGenerator, SinePhaseWrapsWhenItReachesAFullTurn)
{
    SignalGenerator generator;
    generator.setSampleRate(72000.0); // 5 degrees a frame
    generator.setPhase(350.0f);
    Buffers out(1, 3);
    generator.fill(nullptr, out.get(), 3, 1, SignalGenerator::kSine);
    // 350, 355, then exactly 360 becomes 0.
    EXPECT_NEAR(out.data[0][0], -0.17364818f, 1e-7);
    EXPECT_NEAR(out.data[0][1], -0.087155743f, 1e-7);
    EXPECT_EQ(out.data[0][2], 0.0f);
    EXPECT_EQ(generator.getPhase(), 5.0f);
}

TEST(SignalGenerator, SinePhaseIsKeptInSinglePrecision)
{
    SignalGenerator generator; // 44100 Hz: 8.163265306... degrees a frame
    Buffers out(1, 1);
    generator.fill(nullptr, out.get(), 1, 1, SignalGenerator::kSine);
    EXPECT_EQ(generator.getPhase(), 8.16326523f);
    EXPECT_NE(double(generator.getPhase()), 360.0 / 44100.0 * 1000.0);
}

TEST(SignalGenerator, NoiseDrawsANewStepOfTheRandomRangeForEverySample)
{
    SignalGenerator generator;
    generator.setGain(0.25f);
    Buffers out(2, 2048);
    generator.fill(nullptr, out.get(), 2048, 2, SignalGenerator::kNoise);
    std::set<float> distinct;
    double sum = 0.0;
    for (const auto& channel : out.data)
        for (float value : channel)
        {
            // Every value is (r * 3.051851e-05 * 2 - 1) * gain for a whole r of 0 to 32767.
            const double r = (value / 0.25 + 1.0) / 2.0 / 3.051851e-05;
            ASSERT_NEAR(r, std::round(r), 0.01) << value;
            ASSERT_GE(std::round(r), 0.0);
            ASSERT_LE(std::round(r), 32767.0);
            distinct.insert(value);
            sum += value;
        }
    EXPECT_GT(distinct.size(), 3000u);
    EXPECT_NEAR(sum / 4096.0, 0.0, 0.02);
    EXPECT_NE(out.data[0], out.data[1]);
}

TEST(SignalGenerator, SilenceAndUnknownModesClearExactlyTheFrames)
{
    for (int32 mode : {int32(SignalGenerator::kSilence), 5, -1})
    {
        SignalGenerator generator;
        Buffers out(3, 4);
        generator.fill(nullptr, out.get(), 3, 3, mode);
        for (const auto& channel : out.data)
            EXPECT_EQ(channel, (std::vector<float>{0.0f, 0.0f, 0.0f, kUntouched})) << mode;
    }
}

TEST(SignalGenerator, InputIsCopiedTimesGainAndNothingIsWrittenWithoutIt)
{
    SignalGenerator generator;
    generator.setGain(2.0f);
    std::vector<float> left = {0.25f, -0.5f};
    std::vector<float> right = {0.125f, 1.0f};
    float* inputs[] = {left.data(), right.data()};
    Buffers out(2, 3);
    generator.fill(inputs, out.get(), 2, 2, SignalGenerator::kInput);
    EXPECT_EQ(out.data[0], (std::vector<float>{0.5f, -1.0f, kUntouched}));
    EXPECT_EQ(out.data[1], (std::vector<float>{0.25f, 2.0f, kUntouched}));

    Buffers untouched(2, 2);
    generator.fill(nullptr, untouched.get(), 2, 2, SignalGenerator::kInput);
    EXPECT_EQ(untouched.data[0], (std::vector<float>{kUntouched, kUntouched}));
}

struct Clip
{
    std::vector<float> left;
    std::vector<float> right;
    explicit Clip(int frames)
    {
        for (int i = 0; i < frames; ++i)
        {
            left.push_back(float(i));
            right.push_back(float(-i));
        }
    }
};

TEST(SignalGenerator, ClipPlaysFromTheReadPositionOnTwoChannelsAndClearsTheRest)
{
    SignalGenerator generator;
    Clip clip(10);
    generator.setClip(clip.left.data(), clip.right.data(), 10);
    ASSERT_EQ(generator.getClipLength(), 10);
    generator.setGain(0.5f);
    generator.setReadPosition(2);
    Buffers out(3, 4);
    generator.fill(nullptr, out.get(), 3, 3, SignalGenerator::kClip);
    EXPECT_EQ(out.data[0], (std::vector<float>{1.0f, 1.5f, 2.0f, kUntouched}));
    EXPECT_EQ(out.data[1], (std::vector<float>{-1.0f, -1.5f, -2.0f, kUntouched}));
    EXPECT_EQ(out.data[2], (std::vector<float>{0.0f, 0.0f, 0.0f, kUntouched}));
    EXPECT_EQ(generator.getReadPosition(), 2); // the owner moves it
}

TEST(SignalGenerator, ClipEndingInsideTheBlockPlaysWhatIsLeftThenNothing)
{
    SignalGenerator generator;
    Clip clip(10);
    generator.setClip(clip.left.data(), clip.right.data(), 10);
    generator.setReadPosition(8);
    Buffers out(1, 4);
    generator.fill(nullptr, out.get(), 4, 1, SignalGenerator::kClip);
    EXPECT_EQ(out.data[0], (std::vector<float>{8.0f, 9.0f, kUntouched, kUntouched}));

    for (int32 position : {10, 11, -1})
    {
        generator.setReadPosition(position);
        Buffers past(1, 2);
        generator.fill(nullptr, past.get(), 2, 1, SignalGenerator::kClip);
        EXPECT_EQ(past.data[0], (std::vector<float>{kUntouched, kUntouched})) << position;
    }
}

TEST(SignalGenerator, ClipIsCutAtTwoHundredFortySecondsOfTheSampleRate)
{
    SignalGenerator generator;
    generator.setSampleRate(0.05); // 240 seconds are 12 frames
    Clip clip(20);
    generator.setClip(clip.left.data(), clip.right.data(), 20);
    EXPECT_EQ(generator.getClipLength(), 12);
    generator.setReadPosition(10);
    Buffers out(2, 4);
    generator.fill(nullptr, out.get(), 4, 2, SignalGenerator::kClip);
    EXPECT_EQ(out.data[0], (std::vector<float>{10.0f, 11.0f, kUntouched, kUntouched}));

    generator.setClip(clip.left.data(), nullptr, 20);
    EXPECT_EQ(generator.getClipLength(), 0);
}

TEST(SignalGenerator, NothingHappensWithoutOutputs)
{
    SignalGenerator generator;
    for (int32 mode = 0; mode <= 4; ++mode)
        generator.fill(nullptr, nullptr, 16, 2, mode);
    EXPECT_EQ(generator.getPhase(), 0.0f);
}

} // namespace
