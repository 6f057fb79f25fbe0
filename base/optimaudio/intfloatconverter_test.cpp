#include "base/optimaudio/intfloatconverter.h"

#include "base/optimaudio/audiokernels.h"
#include "base/optimaudio/cpufeatures.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace Quillmark;

namespace
{

const IntFloatConverterGeneric kGeneric;
const IntFloatConverterPIII kPIII(kGeneric);
const IntFloatConverterPIV kPIV(kGeneric);
const IntFloatConverterAVX2 kAVX2(kGeneric);

/** Runs a fast kernel only where the processor has what it was compiled for. */
bool runsHere(const IntFloatConverter& kernels)
{
    return &kernels != &kAVX2 || detectCpuFeatures().avx2;
}

std::vector<uint8> fromFloat(SampleCoding coding, std::vector<float> samples,
                             FromFloatGain gain = {}, float* peak = nullptr, int32 shift = 0)
{
    std::vector<uint8> bytes(samples.size() * size_t(bytesPerSample(coding)));
    float result = kGeneric.fromFloat(coding, samples.data(), bytes.data(), int32(samples.size()),
                                      gain, shift);
    if (peak)
        *peak = result;
    return bytes;
}

float toFloat(SampleCoding coding, std::vector<uint8> bytes, float gain = 1.f, int32 shift = 0)
{
    float value = -99.f;
    kGeneric.toFloat(coding, bytes.data(), &value, 1, gain, shift);
    return value;
}

TEST(IntFloatKernels, StoreFullScaleAndHalvesByTheRoundingAndClippingRules)
{
    using V = std::vector<uint8>;
    EXPECT_EQ((V{0xFF, 0x7F, 0x00, 0x80}), fromFloat(SampleCoding::kInt16LE, {1.f, -1.f}));
    EXPECT_EQ((V{0x7F, 0xFF, 0x80, 0x00}), fromFloat(SampleCoding::kInt16BE, {1.f, -1.f}));
    // 1.0 at 32-bit scale is beyond the bound: 0x7FFFFF00 is stored, its top bytes 0x7FFFFF.
    EXPECT_EQ((V{0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x80}),
              fromFloat(SampleCoding::kInt24LE, {1.f, -1.f}));
    EXPECT_EQ((V{0x7F, 0xFF, 0xFF}), fromFloat(SampleCoding::kInt24BE, {1.f}));
    // Eight bits truncate: 0.5 gives 64, -0.5 gives -64, and the ends clip.
    EXPECT_EQ((V{64, 0xC0, 0x7F, 0x80}), fromFloat(SampleCoding::kInt8, {0.5f, -0.5f, 1.f, -1.5f}));
    EXPECT_EQ((V{192, 64, 0xFF, 0, 128}),
              fromFloat(SampleCoding::kUInt8, {0.5f, -0.5f, 1.f, -1.5f, 0.f}));
    // Sixteen bits round half away from zero.
    EXPECT_EQ((V{1, 0, 0xFF, 0xFF, 2, 0, 0xFE, 0xFF, 0, 0}),
              fromFloat(SampleCoding::kInt16LE,
                        {0.5f / 32768, -0.5f / 32768, 1.5f / 32768, -1.5f / 32768, 0.49f / 32768}));
    // A NaN fails the upper test and is stored as the top value.
    EXPECT_EQ((V{0xFF, 0x7F}),
              fromFloat(SampleCoding::kInt16LE, {std::numeric_limits<float>::quiet_NaN()}));
    // 32 bits with a shift of 8: full scale is 2^23 and the ends are shifted too.
    EXPECT_EQ((V{0xFF, 0xFF, 0x7F, 0x00, 0x00, 0x00, 0x80, 0xFF, 0x00, 0x00, 0x40, 0x00}),
              fromFloat(SampleCoding::kInt32LE, {1.f, -2.f, 0.5f}, {}, nullptr, 8));
    EXPECT_EQ((V{0x00, 0x00, 0x00, 0x40}), fromFloat(SampleCoding::kInt32LE, {0.5f}));
    EXPECT_EQ((V{0x3F, 0x80, 0x00, 0x00}), fromFloat(SampleCoding::kFloat32BE, {1.f}));
}

TEST(IntFloatKernels, ReadEveryCodingWithItsScaleSignAndByteOrder)
{
    EXPECT_EQ(-1.f, toFloat(SampleCoding::kInt8, {0x80}));
    EXPECT_EQ(-1.f, toFloat(SampleCoding::kUInt8, {0}));
    EXPECT_EQ(0.f, toFloat(SampleCoding::kUInt8, {128}));
    EXPECT_EQ(-1.f, toFloat(SampleCoding::kInt16LE, {0x00, 0x80}));
    EXPECT_EQ(0.5f, toFloat(SampleCoding::kInt16BE, {0x40, 0x00}));
    EXPECT_EQ(-1.f, toFloat(SampleCoding::kInt24LE, {0x00, 0x00, 0x80}));
    EXPECT_EQ(-0.5f, toFloat(SampleCoding::kInt24BE, {0xC0, 0x00, 0x00}));
    EXPECT_EQ(std::ldexp(-1.f, -23), toFloat(SampleCoding::kInt24LE, {0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(0.5f, toFloat(SampleCoding::kInt32BE, {0x40, 0, 0, 0}));
    // A 24-bit value in the low bits of 32, shifted into place.
    EXPECT_EQ(0.5f, toFloat(SampleCoding::kInt32LE, {0, 0, 0x40, 0}, 1.f, 8));
    EXPECT_EQ(-1.f, toFloat(SampleCoding::kInt32LE, {0, 0, 0x80, 0xFF}, 1.f, 8));
    EXPECT_EQ(-2.f, toFloat(SampleCoding::kFloat32BE, {0x3F, 0x80, 0, 0}, -2.f));
    EXPECT_EQ(0.25f, toFloat(SampleCoding::kInt16LE, {0x00, 0x40}, 0.5f));
}

TEST(IntFloatKernels, RampTheGainTowardsItsEndValueAndReportThePeakBeforeClipping)
{
    float peak = 0.f;
    FromFloatGain ramp;
    ramp.endGain = 1.f;
    ramp.gainStep = 0.25f;
    auto bytes = fromFloat(SampleCoding::kInt8, {0.5f, 0.5f, 0.5f, 0.5f}, ramp, &peak);
    EXPECT_EQ((std::vector<uint8>{16, 32, 48, 64}), bytes);
    EXPECT_EQ(0.5f, peak);

    FromFloatGain loud;
    loud.peak = 0.25f;
    bytes = fromFloat(SampleCoding::kInt16LE, {2.f, -0.1f}, loud, &peak);
    EXPECT_EQ(2.f, peak);
    EXPECT_EQ(0xFF, bytes[0]);
    EXPECT_EQ(0x7F, bytes[1]);
    // A peak given from earlier blocks stands when this block is quieter.
    loud.peak = 3.f;
    fromFloat(SampleCoding::kInt24LE, {1.f}, loud, &peak);
    EXPECT_EQ(3.f, peak);

    std::vector<float> mixBus = {0.1f, 0.2f, 0.3f};
    std::vector<uint8> out(6);
    FromFloatGain clearing;
    clearing.clear = true;
    kGeneric.fromFloat(SampleCoding::kInt16LE, mixBus.data(), out.data(), 3, clearing);
    EXPECT_EQ((std::vector<float>{0.f, 0.f, 0.f}), mixBus);
}

TEST(IntFloatKernels, SplitAndJoinTwoChannels)
{
    const std::vector<uint8> frames = {0x00, 0x40, 0x00, 0xC0, 0xFF, 0x7F, 0x00, 0x80};
    float left[2], right[2];
    kGeneric.toFloatStereo(SampleCoding::kInt16LE, frames.data(), left, right, 2, 1.f);
    EXPECT_EQ(0.5f, left[0]);
    EXPECT_EQ(-0.5f, right[0]);
    EXPECT_EQ(-1.f, right[1]);
    std::vector<uint8> joined(8);
    kGeneric.fromFloatStereo(SampleCoding::kInt16LE, left, right, joined.data(), 2, {});
    EXPECT_EQ(frames, joined);
}

TEST(IntFloatKernels, SixteenAndTwentyFourBitValuesSurviveTheRoundTrip)
{
    std::vector<uint8> all(65536 * 2);
    for (int32 v = -32768; v < 32768; ++v)
    {
        all[size_t(v + 32768) * 2] = uint8(v);
        all[size_t(v + 32768) * 2 + 1] = uint8(v >> 8);
    }
    std::vector<float> floats(65536);
    kGeneric.toFloat(SampleCoding::kInt16LE, all.data(), floats.data(), 65536, 1.f);
    std::vector<uint8> back(all.size());
    kGeneric.fromFloat(SampleCoding::kInt16LE, floats.data(), back.data(), 65536, {});
    EXPECT_EQ(all, back);

    std::mt19937 random(5);
    std::vector<uint8> wide(3 * 4096);
    for (auto& b : wide)
        b = uint8(random());
    floats.resize(4096);
    kGeneric.toFloat(SampleCoding::kInt24BE, wide.data(), floats.data(), 4096, 1.f);
    std::vector<uint8> wideBack(wide.size());
    kGeneric.fromFloat(SampleCoding::kInt24BE, floats.data(), wideBack.data(), 4096, {});
    EXPECT_EQ(wide, wideBack);
}

std::vector<float> awkwardFloats(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-1.2f, 1.2f);
    std::vector<float> samples(count);
    for (auto& s : samples)
        s = value(random);
    const float specials[] = {1.f,
                              -1.f,
                              0.5f / 32768,
                              -0.5f / 32768,
                              std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              -0.f,
                              32767.5f / 32768};
    for (size_t i = 0; i < count; i += 5)
        samples[i] = specials[(i / 5) % 9];
    return samples;
}

class FastIntFloatKernels : public ::testing::TestWithParam<const IntFloatConverter*>
{
};

TEST_P(FastIntFloatKernels, GiveTheGenericBitsForEveryCodingAndLength)
{
    const IntFloatConverter& fast = *GetParam();
    if (!runsHere(fast))
        GTEST_SKIP() << "no AVX2 on this processor";
    std::mt19937 random(9);
    std::vector<uint8> stored(4 * 2 * 70);
    for (auto& b : stored)
        b = uint8(random());
    for (int32 c = 0; c < int32(SampleCoding::kCount); ++c)
    {
        const auto coding = SampleCoding(c);
        for (int32 count : {0, 1, 3, 4, 7, 8, 9, 15, 16, 17, 33, 70})
            for (float endGain : {1.f, 0.7f, 1.9f})
                for (float step : {0.f, 0.01f})
                    for (bool clear : {false, true})
                    {
                        SCOPED_TRACE(::testing::Message()
                                     << "coding " << c << " count " << count << " gain " << endGain
                                     << " step " << step << " clear " << clear);
                        std::vector<float> a(140, -7.f), b(140, -7.f);
                        kGeneric.toFloat(coding, stored.data() + 1, a.data(), count, endGain, 0);
                        fast.toFloat(coding, stored.data() + 1, b.data(), count, endGain, 0);
                        EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * 4));
                        kGeneric.toFloatStereo(coding, stored.data(), a.data(), a.data() + 70,
                                               count, endGain, 0);
                        fast.toFloatStereo(coding, stored.data(), b.data(), b.data() + 70, count,
                                           endGain, 0);
                        EXPECT_EQ(0, std::memcmp(a.data(), b.data(), a.size() * 4));

                        FromFloatGain gain{endGain, step, 0.125f, clear};
                        auto inA = awkwardFloats(141, unsigned(count)), inB = inA;
                        std::vector<uint8> outA(600, 0xAA), outB(600, 0xAA);
                        float peakA =
                            kGeneric.fromFloat(coding, inA.data() + 1, outA.data(), count, gain, 0);
                        float peakB =
                            fast.fromFloat(coding, inB.data() + 1, outB.data(), count, gain, 0);
                        EXPECT_EQ(outA, outB);
                        EXPECT_EQ(0, std::memcmp(&peakA, &peakB, 4));
                        EXPECT_EQ(0, std::memcmp(inA.data(), inB.data(), inA.size() * 4));
                        peakA = kGeneric.fromFloatStereo(coding, inA.data(), inA.data() + 70,
                                                         outA.data(), count, gain, 0);
                        peakB = fast.fromFloatStereo(coding, inB.data(), inB.data() + 70,
                                                     outB.data(), count, gain, 0);
                        EXPECT_EQ(outA, outB);
                        EXPECT_EQ(0, std::memcmp(&peakA, &peakB, 4));
                    }
    }
}

/** Values that, once scaled to a coding's full scale S, sit on every rounding and clipping edge:
    the bounds and their float neighbours, halves and the floats either side of them, the
    extremes, zeros of both signs, subnormals, infinities and NaN. */
std::vector<float> edgeFloats(float S, float upper)
{
    std::vector<float> scaled = {upper,   -S,       0.f,        -0.f,        0.5f,     -0.5f,
                                 1.5f,    -1.5f,    2.5f,       -2.5f,       32766.5f, -32767.5f,
                                 32767.f, -32768.f, 8388607.5f, -8388608.5f, 1e30f,    -1e30f};
    for (float edge : {upper, -S, S, 0.5f, -0.5f, 1.5f, -1.5f, 32767.f, -32768.f})
    {
        scaled.push_back(std::nextafter(edge, 1e38f));
        scaled.push_back(std::nextafter(edge, -1e38f));
    }
    std::vector<float> values;
    for (float x : scaled)
        values.push_back(x / S);
    for (float v : {std::numeric_limits<float>::denorm_min(), -std::numeric_limits<float>::min(),
                    std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                    std::numeric_limits<float>::quiet_NaN(), 1.f, -1.f, 2.f, -2.f})
        values.push_back(v);
    return values;
}

TEST_P(FastIntFloatKernels, MatchTheGenericBitsOnEveryRoundingAndClippingEdge)
{
    const IntFloatConverter& fast = *GetParam();
    if (!runsHere(fast))
        GTEST_SKIP() << "no AVX2 on this processor";
    struct Coding
    {
        SampleCoding coding;
        int32 shift;
        float S, upper;
    } codings[] = {{SampleCoding::kInt8, 0, 128.f, 127.f},
                   {SampleCoding::kUInt8, 0, 128.f, 255.f},
                   {SampleCoding::kInt16LE, 0, 32768.f, 32767.f},
                   {SampleCoding::kInt16BE, 0, 32768.f, 32767.f},
                   {SampleCoding::kInt24LE, 0, 2147483648.f, 2147483392.f},
                   {SampleCoding::kInt24BE, 0, 2147483648.f, 2147483392.f},
                   {SampleCoding::kInt32LE, 0, 2147483648.f, 2147483648.f},
                   {SampleCoding::kInt32LE, 8, 8388608.f, 8388608.f},
                   {SampleCoding::kInt32BE, 1, 1073741824.f, 1073741824.f},
                   {SampleCoding::kFloat32LE, 0, 1.f, 1.f}};
    for (const Coding& c : codings)
    {
        // Every edge at every position of a vector step: the list shifted one place per round.
        const std::vector<float> edges = edgeFloats(c.S, c.upper);
        const int32 count = int32(edges.size()) * 4 + 5;
        for (int32 rotate = 0; rotate < 17; ++rotate)
        {
            SCOPED_TRACE(::testing::Message() << "coding " << int(c.coding) << " shift " << c.shift
                                              << " rotation " << rotate);
            std::vector<float> left(size_t(count) * 2);
            for (size_t i = 0; i < left.size(); ++i)
                left[i] = edges[(i + size_t(rotate)) % edges.size()];
            std::vector<float> right(left.rbegin(), left.rend());
            const size_t bytes = size_t(count) * 2 * size_t(bytesPerSample(c.coding));
            std::vector<uint8> outA(bytes, 0x55), outB(bytes, 0x55);
            float peakA =
                kGeneric.fromFloat(c.coding, left.data(), outA.data(), 2 * count, {}, c.shift);
            float peakB =
                fast.fromFloat(c.coding, left.data(), outB.data(), 2 * count, {}, c.shift);
            ASSERT_EQ(outA, outB);
            EXPECT_EQ(0, std::memcmp(&peakA, &peakB, 4));
            peakA = kGeneric.fromFloatStereo(c.coding, left.data(), right.data(), outA.data(),
                                             count, {}, c.shift);
            peakB = fast.fromFloatStereo(c.coding, left.data(), right.data(), outB.data(), count,
                                         {}, c.shift);
            ASSERT_EQ(outA, outB);
            EXPECT_EQ(0, std::memcmp(&peakA, &peakB, 4));

            // And back: the stored edges read to float, mono and split, at an odd gain.
            std::vector<float> floatsA(size_t(count) * 2, -3.f), floatsB(floatsA);
            kGeneric.toFloat(c.coding, outA.data(), floatsA.data(), 2 * count, 0.7f, c.shift);
            fast.toFloat(c.coding, outA.data(), floatsB.data(), 2 * count, 0.7f, c.shift);
            ASSERT_EQ(0, std::memcmp(floatsA.data(), floatsB.data(), floatsA.size() * 4));
            kGeneric.toFloatStereo(c.coding, outA.data(), floatsA.data(), floatsA.data() + count,
                                   count, 1.f, c.shift);
            fast.toFloatStereo(c.coding, outA.data(), floatsB.data(), floatsB.data() + count, count,
                               1.f, c.shift);
            ASSERT_EQ(0, std::memcmp(floatsA.data(), floatsB.data(), floatsA.size() * 4));
        }
    }
}

TEST(IntFloatKernelInstallation, TakesTheWidestKernelsTheFeaturesAllowUnlessForced)
{
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{true, true, true, true});
    EXPECT_STREQ("AVX2", sIntFloatConverter->getName());
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{true, true, true, false});
    EXPECT_STREQ("PIV", sIntFloatConverter->getName());
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{true, false, false, false});
    EXPECT_STREQ("PIII", sIntFloatConverter->getName());
    installAudioKernels(KernelChoice::kGeneric, CpuFeatures{true, true, true, true});
    EXPECT_STREQ("Generic", sIntFloatConverter->getName());
    installAudioKernels();
    EXPECT_STREQ(detectCpuFeatures().avx2 ? "AVX2" : "PIV", sIntFloatConverter->getName());
}

INSTANTIATE_TEST_SUITE_P(Kernels, FastIntFloatKernels, ::testing::Values(&kPIII, &kPIV, &kAVX2),
                         [](const auto& info) { return std::string(info.param->getName()); });

} // namespace
