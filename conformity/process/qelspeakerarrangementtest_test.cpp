// The names and arrangement list of the speaker arrangement tests, and the silence flag
// combinations tried per bus.
#include "conformity/process/qelsilenceflagstest.h"
#include "conformity/process/qelspeakerarrangementtest.h"

#include "audiofile/speakerarrangementstring.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

TEST(QelSpeakerArrangementTest, TestsFifteenArrangementsInTreeOrder)
{
    const char* names[] = {"Mono",       "Stereo",  "StereoSurround", "StereoCenter", "StereoSide",
                           "StereoCLfe", "30Cine",  "30Music",        "31Cine",       "31Music",
                           "40Cine",     "40Music", "41Cine",         "41Music",      "50"};
    ASSERT_EQ(QelSpeakerArrangementTest::kTestedArrangements.size(), std::size(names));
    for (size_t i = 0; i < std::size(names); ++i)
        EXPECT_STREQ(getSpeakerArrangementString(QelSpeakerArrangementTest::kTestedArrangements[i]),
                     names[i])
            << i;
}

std::string nameOf(SpeakerArrangement in, SpeakerArrangement out)
{
    QelSpeakerArrangementTest test(nullptr, kSample32, in, out);
    return test.getName();
}

TEST(QelSpeakerArrangementTest, IsNamedByBothArrangementsAndTheirChannelCounts)
{
    EXPECT_EQ(nameOf(0x80000, 0x80000), "In: Mono: 1 Channels, Out: Mono: 1 Channels");
    EXPECT_EQ(nameOf(0x37, 0x10B), "In: 50: 5 Channels, Out: 31Music: 4 Channels");
    EXPECT_EQ(nameOf(0x3F, 0x0), "In: 51: 6 Channels, Out: Empty: 0 Channels");
    // A mask without a short name makes no name at all.
    EXPECT_EQ(nameOf(0x5, 0x3), "error");
    EXPECT_EQ(nameOf(0x3, 0x1000), "error");
}

TEST(QelSpeakerArrangementTest, NamesStayWithTheirTests)
{
    QelSpeakerArrangementTest first(nullptr, kSample64, 0x3, 0x37);
    QelSpeakerArrangementTest second(nullptr, kSample64, 0x7, 0x7);
    EXPECT_STREQ(first.getName(), "In: Stereo: 2 Channels, Out: 50: 5 Channels");
    EXPECT_STREQ(second.getName(), "In: 30Cine: 3 Channels, Out: 30Cine: 3 Channels");
}

TEST(QelSilenceFlagsTest, TriesEveryCombinationOfTheChannelsWithTheShiftTakenModulo32)
{
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(0), 0);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(1), 1);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(2), 3);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(5), 31);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(31), 0x7FFFFFFF);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(32), 0);
    EXPECT_EQ(QelSilenceFlagsTest::topCombination(34), 3);
}

} // namespace
