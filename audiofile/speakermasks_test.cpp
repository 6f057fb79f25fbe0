#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"
#include "audiofile/speakerarrangementstring.h"
#include "audiofile/speakertestsupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

struct Expected
{
    int32 type;
    const char8* name;
    int32 channels;
    Qel::SpeakerArrangement speakerMask;
    const char8* shortString;
};

// Written down from the published list of arrangements, independently of the program's table.
const Expected kExpected[] = {
    {0, "Mono", 1, 0x80000, "Mono"},
    {1, "Stereo", 2, 0x3, "Stereo"},
    {2, "Stereo (Ls Rs)", 2, 0x30, "StereoSurround"},
    {3, "Stereo (Lc Rc)", 2, 0xC0, "StereoCenter"},
    {4, "Stereo (Sl Sr)", 2, 0x600, "StereoSide"},
    {5, "Stereo (C Lfe)", 2, 0xC, "StereoCLfe"},
    {6, "LRC", 3, 0x7, "30Cine"},
    {7, "LRS", 3, 0x103, "30Music"},
    {8, "LRC+Lfe", 4, 0xF, "31Cine"},
    {9, "LRS+Lfe", 4, 0x10B, "31Music"},
    {10, "LRCS", 4, 0x107, "40Cine"},
    {11, "Quadro", 4, 0x33, "40Music"},
    {12, "LRCS+Lfe", 5, 0x10F, "41Cine"},
    {13, "Quadro+Lfe", 5, 0x3B, "41Music"},
    {14, "5.0", 5, 0x37, "50"},
    {15, "5.1", 6, 0x3F, "51"},
    {16, "6.0 Cine", 6, 0x137, "60Cine"},
    {17, "6.0 Music", 6, 0x633, "60Music"},
    {18, "6.1 Cine", 7, 0x13F, "61Cine"},
    {19, "6.1 Music", 7, 0x63B, "61Music"},
    {20, "7.0 Cine", 7, 0xF7, "70Cine"},
    {21, "7.0 Music", 7, 0x637, "70Music"},
    {22, "7.1 Cine", 8, 0xFF, "71Cine"},
    {23, "7.1 Music", 8, 0x63F, "71Music"},
    {24, "8.0 Cine", 8, 0x1F7, "80Cine"},
    {25, "8.0 Music", 8, 0x737, "80Music"},
    {26, "8.1 Cine", 9, 0x1FF, "81Cine"},
    {27, "8.1 Music", 9, 0x73F, "81Music"},
    {28, "10.2", 12, 0x6F03F, "102"},
    {29, "9.0 Auro", 9, 0x2D037, "9.0"},
    {30, "9.1 Auro", 10, 0x2D03F, "9.1"},
    {31, "10.0 Auro", 10, 0x2D837, "10.0"},
    {32, "10.1 Auro", 11, 0x2D83F, "10.1"},
    {33, "11.0 Auro", 11, 0x2F837, "11.0"},
    {34, "11.1 Auro", 12, 0x2F83F, "11.1"},
    {35, "13.0 Auro", 13, 0x3F937, "13.0"},
    {36, "13.1 Auro", 14, 0x3F93F, "13.1"},
    {38, "12.2", 14, 0x6F0FF, "122"},
    {39, "8.0 Cube", 8, 0x2D033, "80Cube"},
    {40, "BFormat", 4, 0xF00000, "BFormat"},
};

/** 12.2 holds an Lfe among its 14 speakers and so reads back as 13.1 Auro. */
int32 expectedClassification(int32 type)
{
    return type == 38 ? 36 : type;
}

/** The Wave mask of a list: the speaker mask without Mono's own bit and the bits a Wave mask
    has no room for. */
uint32 waveMaskOf(Qel::SpeakerArrangement speakerMask)
{
    if (speakerMask == 0x80000)
        return 0x1;
    return uint32(speakerMask & 0x7FFFF);
}

} // namespace

TEST(SpeakerMasks, EveryNamedArrangementGoesRoundThroughBothMasks)
{
    int32 checked = 0;
    for (const Expected& row : kExpected)
    {
        SCOPED_TRACE(row.name);
        ASpeakerArrangement arrangement;
        arrangement.setArrangement(arrangementSetCode(row.type));
        ASSERT_EQ(arrangement.count(), row.channels);
        EXPECT_STREQ(getArrangementName(row.type), row.name);
        EXPECT_EQ(arrangement.classifyArrangement(), expectedClassification(row.type));

        // Plug-in speaker mask: the exact mask, its printed name, and back in bit order.
        Qel::SpeakerArrangement mask = arrangement.getSpeakerMask();
        EXPECT_EQ(mask, row.speakerMask);
        EXPECT_STREQ(getSpeakerArrangementString(mask), row.shortString);
        ASpeakerArrangement fromSpeakers;
        fromSpeakers.setFromSpeakerMask(mask);
        EXPECT_EQ(fromSpeakers.count(), row.channels);
        EXPECT_EQ(fromSpeakers.getSpeakerMask(), mask);
        EXPECT_EQ(fromSpeakers.classifyArrangement(), expectedClassification(row.type));

        // Wave mask: every arrangement whose speakers all have Wave bits survives.
        uint32 wave = arrangement.getWaveMask();
        EXPECT_EQ(wave, waveMaskOf(row.speakerMask));
        if (row.type == 40)
        {
            EXPECT_EQ(wave, 0u) << "B-Format speakers have no Wave bits";
            ++checked;
            continue;
        }
        ASpeakerArrangement fromWave;
        fromWave.setFromWaveMask(wave);
        EXPECT_EQ(fromWave.count(), row.channels);
        EXPECT_EQ(fromWave.getWaveMask(), wave);
        EXPECT_EQ(fromWave.classifyArrangement(), expectedClassification(row.type));
        ++checked;
    }
    EXPECT_EQ(checked, kArrangementTypeCount - 1);
}

TEST(SpeakerMasks, SetCodesWithoutSpeakersStayEmpty)
{
    ASpeakerArrangement arrangement;
    arrangement.setArrangement(0);
    arrangement.setArrangement(arrangementSetCode(kUnusedArrangementType));
    EXPECT_EQ(arrangement.count(), 0);
    EXPECT_EQ(arrangement.getWaveMask(), 0u);
    EXPECT_EQ(arrangement.getSpeakerMask(), 0u);
    EXPECT_STREQ(getSpeakerArrangementString(arrangement.getSpeakerMask()), "Empty");
    EXPECT_EQ(getArrangementName(kUnusedArrangementType), nullptr);
}

TEST(SpeakerMasks, WaveMaskListTakesTableOrder)
{
    ASpeakerArrangement arrangement;
    arrangement.setFromWaveMask(0);
    EXPECT_EQ(arrangement.count(), 0);
    EXPECT_EQ(arrangement.getWaveMask(), 0u);

    // Mono through the table walk; a lone Mono writes as 1, not as its own bit.
    arrangement.setFromWaveMask(0x80000);
    EXPECT_EQ(idsOf(arrangement), std::vector<int32>{kSpeakerMono});
    EXPECT_EQ(arrangement.getWaveMask(), 0x1u);

    // Bit order would put C before Ls; the table puts the stereo pair first, Mono after it.
    arrangement.setFromWaveMask(0x80000 | 0x20 | 0x4 | 0x2);
    EXPECT_EQ(idsOf(arrangement),
              (std::vector<int32>{kSpeakerR, kSpeakerMono, kSpeakerC, kSpeakerRs}));
    // In a longer list Mono is written as Left.
    EXPECT_EQ(arrangement.getWaveMask(), 0x1u | 0x2 | 0x4 | 0x20);

    // Left and Mono are one speaker: the Mono bit adds nothing once Left is there.
    arrangement.setFromWaveMask(0x80003);
    EXPECT_EQ(idsOf(arrangement), (std::vector<int32>{kSpeakerL, kSpeakerR}));

    // Bits without a speaker are lost without a word.
    arrangement.setFromWaveMask(0x80000000u | 0x100000 | 0x3);
    EXPECT_EQ(idsOf(arrangement), (std::vector<int32>{kSpeakerL, kSpeakerR}));
    arrangement.setFromWaveMask(0x80000000u);
    EXPECT_EQ(arrangement.count(), 0);
}

TEST(SpeakerMasks, SingleLowBitIsMonoAndChangesTwice)
{
    for (uint32 mask : {0x1u, 0x2u})
    {
        ASpeakerArrangement arrangement;
        arrangement.setArrangement(arrangementSetCode(15));
        ChangeCounter counter(arrangement);
        arrangement.setFromWaveMask(mask);
        EXPECT_EQ(idsOf(arrangement), std::vector<int32>{kSpeakerMono}) << mask;
        EXPECT_EQ(counter.changes, 2);
        EXPECT_EQ(arrangement.getWaveMask(), 0x1u);
    }

    // A walk sends one change per speaker it adds and one at the end.
    ASpeakerArrangement arrangement;
    ChangeCounter counter(arrangement);
    arrangement.setFromWaveMask(0x3F);
    EXPECT_EQ(arrangement.count(), 6);
    EXPECT_EQ(counter.changes, 7);
}

TEST(SpeakerMasks, WaveMaskOfUnassignedChannelsIsOffsetByTwo)
{
    ASpeakerArrangement arrangement;
    fillWith(arrangement, {-1});
    EXPECT_EQ(arrangement.getWaveMask(), 0x4u);
    fillWith(arrangement, {-2, -3});
    EXPECT_EQ(arrangement.getWaveMask(), 0x8u | 0x10);
    // The position wraps at 32: -30 lands on bit 31, -31 on bit 0.
    fillWith(arrangement, {-30});
    EXPECT_EQ(arrangement.getWaveMask(), 0x80000000u);
    fillWith(arrangement, {-31});
    EXPECT_EQ(arrangement.getWaveMask(), 0x1u);
    fillWith(arrangement, {INT32_MIN});
    EXPECT_EQ(arrangement.getWaveMask(), 1u << 1) << "no overflow on the lowest number";

    arrangement.setUnassignedChannels(5);
    EXPECT_EQ(arrangement.getWaveMask(), 0xDCu);
    arrangement.setUnassignedChannels(4);
    EXPECT_EQ(arrangement.getWaveMask(), 0x3Cu);

    // Numbers without a row add nothing.
    fillWith(arrangement, {kSpeakerL, 28, kSpeakerUndefined, kSpeakerW});
    EXPECT_EQ(arrangement.getWaveMask(), 0x1u);
}

TEST(SpeakerMasks, SingleSurroundBesideLfeIsWrittenAsCenterSurround)
{
    ASpeakerArrangement arrangement;
    fillWith(arrangement, {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kSpeakerLs});
    EXPECT_EQ(arrangement.getWaveMask(), 0x10Fu);
    fillWith(arrangement, {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kSpeakerRs});
    EXPECT_EQ(arrangement.getWaveMask(), 0x10Fu);
    // Only those two exact masks.
    fillWith(arrangement, {kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kSpeakerLs, kSpeakerRs});
    EXPECT_EQ(arrangement.getWaveMask(), 0x3Fu);
    fillWith(arrangement, {kSpeakerL, kSpeakerC, kSpeakerLfe, kSpeakerLs});
    EXPECT_EQ(arrangement.getWaveMask(), 0x1Du);
}

TEST(SpeakerMasks, SpeakerMaskListTakesBitOrder)
{
    ASpeakerArrangement arrangement;
    // 5.1 as a plug-in lays it out: the centre and Lfe come before the surrounds.
    arrangement.setFromSpeakerMask(0x3F);
    EXPECT_EQ(idsOf(arrangement), (std::vector<int32>{kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe,
                                                      kSpeakerLs, kSpeakerRs}));

    // Mono has its own bit, above Lfe2 and below W.
    arrangement.setFromSpeakerMask(0x80000 | 0x40000 | 0x100000);
    EXPECT_EQ(idsOf(arrangement), (std::vector<int32>{kSpeakerLfe2, kSpeakerMono, kSpeakerW}));
    EXPECT_EQ(arrangement.getSpeakerMask(), 0x80000u | 0x40000 | 0x100000);

    // With Left present the Mono bit finds its speaker already there.
    arrangement.setFromSpeakerMask(0x80001);
    EXPECT_EQ(idsOf(arrangement), std::vector<int32>{kSpeakerL});

    // The highest speakers and bits nobody claims.
    arrangement.setFromSpeakerMask(0x8000000ull | 0x4000000 | (1ull << 40) | (1ull << 63));
    EXPECT_EQ(idsOf(arrangement), (std::vector<int32>{kSpeakerLcs, kSpeakerRcs}));

    // Unassigned channels and unknown numbers have no bit.
    fillWith(arrangement, {-1, -2, kSpeakerUndefined, 99, kSpeakerTsr});
    EXPECT_EQ(arrangement.getSpeakerMask(), 0x2000000u);
}
