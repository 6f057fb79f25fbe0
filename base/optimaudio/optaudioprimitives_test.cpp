#include "base/optimaudio/audiokernels.h"
#include "base/optimaudio/optaudioprimitives.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace Quillmark;

namespace
{

const OptAudioprimitivesGeneric kGeneric;
const OptAudioprimitivesPIII kPIII(kGeneric);
const OptAudioprimitivesPrescott kPrescott(kGeneric);

// Random samples with the awkward values mixed in: zeros of both signs, denormals, infinities
// and NaN, so a vector path that treats any of them differently shows.
std::vector<float> testSignal(size_t count, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> value(-4.f, 4.f);
    std::vector<float> samples(count);
    for (auto& s : samples)
        s = value(random);
    const float specials[] = {0.f,
                              -0.f,
                              std::numeric_limits<float>::denorm_min(),
                              -std::numeric_limits<float>::min() / 4,
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::quiet_NaN(),
                              3.4e38f};
    for (size_t i = 0; i < count; i += 7)
        samples[i] = specials[(i / 7) % 8];
    return samples;
}

bool sameBits(const std::vector<float>& a, const std::vector<float>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(float)) == 0;
}

class FastPrimitives : public ::testing::TestWithParam<const OptAudioprimitives*>
{
};

// Every length up to a few vector widths and every misalignment of source and destination, so
// both the vector body and the scalar tail are compared with the generic loops.
TEST_P(FastPrimitives, GiveTheSameBitsAsTheGenericOnes)
{
    const OptAudioprimitives& fast = *GetParam();
    const auto source = testSignal(80, 1);
    const auto base = testSignal(80, 2);
    for (int32 count = 0; count <= 41; ++count)
        for (int offset = 0; offset < 4; ++offset)
        {
            SCOPED_TRACE(::testing::Message() << "count " << count << " offset " << offset);
            const float* in = source.data() + offset;
            for (float gain : {1.f, 0.5f, -0.7071f, 3.f})
            {
                auto expected = base, actual = base;
                kGeneric.mixAdd(count, in, expected.data() + 3 - offset, gain);
                fast.mixAdd(count, in, actual.data() + 3 - offset, gain);
                EXPECT_TRUE(sameBits(expected, actual)) << "mixAdd gain " << gain;

                expected = base, actual = base;
                kGeneric.scale(gain, count, in, expected.data() + offset);
                fast.scale(gain, count, in, actual.data() + offset);
                EXPECT_TRUE(sameBits(expected, actual)) << "scale gain " << gain;
            }
            auto expected = base, actual = base;
            kGeneric.clear(count, expected.data() + offset);
            fast.clear(count, actual.data() + offset);
            EXPECT_TRUE(sameBits(expected, actual)) << "clear";

            float expectedPeak = kGeneric.peak(count, in);
            float actualPeak = fast.peak(count, in);
            EXPECT_EQ(0, std::memcmp(&expectedPeak, &actualPeak, sizeof(float)))
                << expectedPeak << " against " << actualPeak;
        }
}

INSTANTIATE_TEST_SUITE_P(Kernels, FastPrimitives, ::testing::Values(&kPIII, &kPrescott),
                         [](const auto& info) { return std::string(info.param->getName()); });

TEST(GenericPrimitives, WorkOnTheirRangeAndNothingElse)
{
    std::vector<float> block = {9.f, 1.f, -2.f, 3.f, 9.f};
    kGeneric.clear(3, block.data() + 1);
    EXPECT_EQ((std::vector<float>{9.f, 0.f, 0.f, 0.f, 9.f}), block);

    const std::vector<float> source = {1.f, -2.f, 0.25f};
    std::vector<float> mix = {10.f, 10.f, 10.f, 10.f};
    kGeneric.mixAdd(3, source.data(), mix.data(), 2.f);
    EXPECT_EQ((std::vector<float>{12.f, 6.f, 10.5f, 10.f}), mix);

    std::vector<float> inPlace = {1.f, -2.f, 4.f};
    kGeneric.scale(-0.5f, 3, inPlace.data(), inPlace.data());
    EXPECT_EQ((std::vector<float>{-0.5f, 1.f, -2.f}), inPlace);

    // An overlapping copy keeps the source's order, as memmove does.
    std::vector<float> shifted = {1.f, 2.f, 3.f, 4.f};
    kGeneric.copy(3, shifted.data(), shifted.data() + 1);
    EXPECT_EQ((std::vector<float>{1.f, 1.f, 2.f, 3.f}), shifted);
}

TEST(GenericPrimitives, PeakIsTheLargestMagnitudeAndPassesOverNaN)
{
    const std::vector<float> block = {0.25f, -0.75f, std::numeric_limits<float>::quiet_NaN(), 0.5f};
    EXPECT_EQ(0.75f, kGeneric.peak(4, block.data()));
    EXPECT_EQ(0.f, kGeneric.peak(0, block.data()));
    EXPECT_EQ(0.f, kGeneric.peak(1, block.data() + 2));
}

TEST(AudioKernelInstallation, PicksTheFastestTableTheFeaturesAllowUnlessForced)
{
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{true, true, true});
    EXPECT_STREQ("Prescott", sAudioPrimitives->getName());
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{true, true, false});
    EXPECT_STREQ("PIII", sAudioPrimitives->getName());
    installAudioKernels(KernelChoice::kByProcessor, CpuFeatures{false, false, false});
    EXPECT_STREQ("Generic", sAudioPrimitives->getName());
    installAudioKernels(KernelChoice::kGeneric, CpuFeatures{true, true, true});
    EXPECT_STREQ("Generic", sAudioPrimitives->getName());

    // Any x86_64 processor has SSE; the table chosen for it must be a fast one.
    installAudioKernels();
    EXPECT_STRNE("Generic", sAudioPrimitives->getName());
}

TEST(AudioKernelInstallationDeathTest, UseBeforeInstallationAbortsWithTheTableName)
{
    // A fresh process of this test alone: nothing has installed the kernels there.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            float sample = 1.f;
            if (!sAudioPrimitives.isInstalled())
                sAudioPrimitives->clear(1, &sample);
            else
                std::abort(); // keeps the expected message out, so the test fails
        },
        "Assertion failed: sAudioPrimitives");
}

} // namespace
