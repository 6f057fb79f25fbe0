#include "base/optimaudio/audioconverter.h"
#include "base/optimaudio/audiokernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Quillmark;

namespace
{

using Format = AudioConverter::Format;

Format pcm(int16 bits, int16 channels, int32 sampleFormat = AudioConverter::kSigned,
           int16 byteOrder = 0, float rate = 44100.f)
{
    Format f;
    f.rate = rate;
    f.sampleSize = bits;
    f.channels = channels;
    f.frameSize = int16(channels * ((bits + 7) / 8));
    f.sampleFormat = sampleFormat;
    f.byteOrder = byteOrder;
    return f;
}

Format floats(int16 channels, float rate = 44100.f,
              int32 frameFormat = AudioConverter::kInterleaved)
{
    Format f = pcm(32, channels, AudioConverter::kFloat, 0, rate);
    f.frameFormat = frameFormat;
    return f;
}

class AudioConverterTest : public ::testing::Test
{
protected:
    void SetUp() override { installAudioKernels(); }
    AudioConverter converter;
};

TEST_F(AudioConverterTest, SplitsInterleavedStereoIntoChannelBuffers)
{
    converter.setSourceFormat(pcm(24, 2, AudioConverter::kSigned, 1));
    converter.setTargetFormat(floats(2, 44100.f, AudioConverter::kPlanar));
    const std::vector<uint8> frames = {0x40, 0, 0, 0xC0, 0, 0, 0x7F, 0xFF, 0xFF, 0x80, 0, 0};
    float left[2] = {}, right[2] = {};
    float* channels[2] = {left, right};
    int32 count = 2;
    ASSERT_TRUE(converter.convert(frames.data(), channels, count));
    EXPECT_EQ(2, count);
    EXPECT_EQ(0.5f, left[0]);
    EXPECT_EQ(-0.5f, right[0]);
    EXPECT_EQ(-1.f, right[1]);
    EXPECT_NEAR(1.f, left[1], 1e-6);
}

TEST_F(AudioConverterTest, ClipsToIntegersAndReportsThePeakAboveFullScale)
{
    converter.setSourceFormat(floats(1));
    converter.setTargetFormat(pcm(16, 1));
    converter.setGain(2.f);
    const std::vector<float> samples = {0.25f, 0.75f, -1.f};
    std::vector<int16> out(3);
    int32 count = 3;
    ASSERT_TRUE(converter.convert(samples.data(), out.data(), count));
    EXPECT_EQ((std::vector<int16>{16384, 32767, -32768}), out);
    EXPECT_EQ(2.f, converter.getPeak());
}

TEST_F(AudioConverterTest, MovesIntegersByByteRulesWithoutFloat)
{
    // 16 to 8 bits takes the high byte, so -1 stays -1 rather than rounding to 0.
    converter.setSourceFormat(pcm(16, 1));
    converter.setTargetFormat(pcm(8, 1, AudioConverter::kUnsigned));
    const std::vector<int16> in = {-1, 256, -32768};
    std::vector<uint8> out(3);
    int32 count = 3;
    ASSERT_TRUE(converter.convert(in.data(), out.data(), count));
    EXPECT_EQ((std::vector<uint8>{0x7F, 0x81, 0x00}), out);

    converter.setSourceFormat(pcm(8, 1, AudioConverter::kUnsigned));
    converter.setTargetFormat(pcm(16, 1, AudioConverter::kSigned, 1));
    const std::vector<uint8> bytes = {0, 255};
    std::vector<uint8> wide(4);
    count = 2;
    ASSERT_TRUE(converter.convert(bytes.data(), wide.data(), count));
    EXPECT_EQ((std::vector<uint8>{0x80, 0x00, 0x7F, 0x00}), wide);
}

TEST_F(AudioConverterTest, FeedsEveryTargetChannelFromAMonoSourceAndSilencesMissingOnes)
{
    converter.setSourceFormat(pcm(16, 1));
    converter.setTargetFormat(pcm(16, 2));
    const std::vector<int16> mono = {100, -200};
    std::vector<int16> stereo(4);
    int32 count = 2;
    ASSERT_TRUE(converter.convert(mono.data(), stereo.data(), count));
    EXPECT_EQ((std::vector<int16>{100, 100, -200, -200}), stereo);

    converter.setSourceFormat(pcm(16, 2));
    converter.setTargetFormat(pcm(24, 3));
    const std::vector<int16> two = {0x4000, -0x4000};
    std::vector<uint8> three(9, 0xEE);
    count = 1;
    ASSERT_TRUE(converter.convert(two.data(), three.data(), count));
    EXPECT_EQ((std::vector<uint8>{0, 0, 0x40, 0, 0, 0xC0, 0, 0, 0}), three);
}

TEST_F(AudioConverterTest, RefusesFormatsNoKernelCovers)
{
    Format odd = pcm(16, 1);
    odd.frameSize = 5;
    converter.setSourceFormat(odd);
    converter.setTargetFormat(floats(1));
    std::vector<uint8> in(10);
    std::vector<float> out(2);
    int32 count = 2;
    EXPECT_FALSE(converter.convert(in.data(), out.data(), count));
    converter.setSourceFormat(pcm(16, 1));
    converter.setTargetFormat(pcm(64, 1, AudioConverter::kFloat));
    EXPECT_FALSE(converter.convert(in.data(), out.data(), count));
}

// A sine at 44.1 kHz converted to 48 kHz must be the same sine at the new rate, away from
// the ends where the filter sees silence.
TEST_F(AudioConverterTest, ConvertsTheRateOfASineWithoutChangingIt)
{
    const double frequency = 1000.0;
    const int32 inFrames = 44100;
    std::vector<float> in(inFrames);
    for (int32 i = 0; i < inFrames; ++i)
        in[size_t(i)] = float(0.5 * std::sin(2 * M_PI * frequency * i / 44100.0));
    converter.setSourceFormat(floats(1, 44100.f));
    converter.setTargetFormat(floats(1, 48000.f));
    std::vector<float> out(size_t(AudioConverter::getRequiredFrames(inFrames, 48000, 44100, true)));
    // In blocks of 512, as a player would, then the flush.
    int32 written = 0;
    for (int32 at = 0; at < inFrames; at += 512)
    {
        int32 count = std::min(512, inFrames - at);
        ASSERT_TRUE(converter.convert(in.data() + at, out.data() + written, count));
        written += count;
    }
    int32 tail = 0;
    ASSERT_TRUE(converter.convert(nullptr, out.data() + written, tail, true));
    written += tail;
    EXPECT_EQ(48000, written);
    double worst = 0;
    for (int32 j = 200; j < 47800; ++j)
    {
        double expected = 0.5 * std::sin(2 * M_PI * frequency * j / 48000.0);
        worst = std::max(worst, std::fabs(out[size_t(j)] - expected));
    }
    EXPECT_LT(worst, 1e-4);
}

TEST_F(AudioConverterTest, EqualRatesPassSamplesUntouched)
{
    converter.setSourceFormat(floats(2));
    converter.setTargetFormat(floats(2));
    const std::vector<float> in = {0.1f, -0.2f, 0.3f, 1.5f};
    std::vector<float> out(4);
    int32 count = 2;
    ASSERT_TRUE(converter.convert(in.data(), out.data(), count));
    EXPECT_EQ(in, out);
}

} // namespace
