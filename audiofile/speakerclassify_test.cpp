#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"
#include "audiofile/speakertestsupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

int32 classify(std::initializer_list<int32> ids)
{
    ASpeakerArrangement arrangement;
    fillWith(arrangement, ids);
    return arrangement.classifyArrangement();
}

/** A stored list of the speakers of a standard label string, repeats kept. */
void fillFromLabels(ASpeakerArrangement& arrangement, const char8* labels, bool throughAdd)
{
    arrangement.removeAll();
    std::istringstream in(labels);
    for (std::string label; in >> label;)
    {
        if (label == "LFE")
            label = "Lfe";
        int32 id = kSpeakerUndefined;
        for (int32 i = 0; i < getSpeakerTableSize(); ++i)
            if (label == getSpeakerInfo(i)->shortName)
                id = getSpeakerInfo(i)->id;
        ASSERT_NE(id, kSpeakerUndefined) << label;
        if (throughAdd)
            arrangement.addSpeaker(id);
        else
            arrangement.append(id);
    }
}

} // namespace

TEST(SpeakerClassify, SmallCountsLookAtFewSpeakers)
{
    EXPECT_EQ(classify({}), kNoArrangementType);
    // One channel is Mono whatever it is.
    EXPECT_EQ(classify({kSpeakerTrc}), 0);
    EXPECT_EQ(classify({-9}), 0);

    // A pair with Left is stereo; the right side is never looked at.
    EXPECT_EQ(classify({kSpeakerL, kSpeakerTfc}), 1);
    EXPECT_EQ(classify({kSpeakerMono, kSpeakerR}), 1) << "Mono is found as Left";
    EXPECT_EQ(classify({-1, kSpeakerLs}), 1) << "so is unassigned 1";
    EXPECT_EQ(classify({kSpeakerLs, kSpeakerLc}), 2);
    EXPECT_EQ(classify({kSpeakerRc, kSpeakerLc}), 3);
    EXPECT_EQ(classify({kSpeakerLfe, kSpeakerSl}), 4);
    EXPECT_EQ(classify({kSpeakerLfe, kSpeakerW}), 5);
    EXPECT_EQ(classify({kSpeakerR, kSpeakerC}), kNoArrangementType);

    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerC}), 6);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerC, kSpeakerCs}), 6);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerCs}), 7);
    EXPECT_EQ(classify({kSpeakerR, kSpeakerC, kSpeakerCs}), kNoArrangementType);
    EXPECT_EQ(classify({-1, -2, -3}), 6) << "unassigned 1 and 3 read as L and C";
}

TEST(SpeakerClassify, FourToSixChannels)
{
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe}), 8);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerW, kSpeakerLfe}), 9) << "Lfe before W";
    EXPECT_EQ(classify({kSpeakerC, kSpeakerX, kSpeakerW, kSpeakerY}), 40) << "W before C";
    EXPECT_EQ(classify({kSpeakerTm, kSpeakerTfl, kSpeakerC, kSpeakerTrr}), 10);
    EXPECT_EQ(classify({kSpeakerTm, kSpeakerTfl, kSpeakerTfr, kSpeakerTrr}), 11);
    EXPECT_EQ(classify({-1, -2, -3, -4}), 8) << "the reason five channels skip -4";

    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerCs, kSpeakerLfe}), 12);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerLfe}), 13);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerC}), 14);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerLc, kSpeakerRc, kSpeakerC}),
              kNoArrangementType);
    EXPECT_EQ(classify({-1, -2, -3, -5, -6}), 14);

    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerTm, kSpeakerTfl, kSpeakerC, kSpeakerLfe}),
              15);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerTm, kSpeakerTfl, kSpeakerC, kSpeakerSl}), 16);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerTm, kSpeakerTfl, kSpeakerLfe, kSpeakerSl}),
              17);
    EXPECT_EQ(classify({kSpeakerL, kSpeakerR, kSpeakerTm, kSpeakerTfl, kSpeakerLfe, kSpeakerSr}),
              kNoArrangementType);
}

TEST(SpeakerClassify, SevenToNineChannelsTestHeightFirst)
{
    const int32 L = kSpeakerL, R = kSpeakerR, C = kSpeakerC, Lfe = kSpeakerLfe, Ls = kSpeakerLs,
                Rs = kSpeakerRs, Sl = kSpeakerSl, Sr = kSpeakerSr, Cs = kSpeakerCs,
                Tfl = kSpeakerTfl, Tm = kSpeakerTm;
    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Tfl}), kNoArrangementType);
    EXPECT_EQ(classify({L, R, Sl, Sr, Ls, Rs, Lfe}), 19);
    EXPECT_EQ(classify({L, R, C, Sl, Ls, Rs, Lfe}), 19) << "Sl wins over C";
    EXPECT_EQ(classify({L, R, C, Cs, Ls, Rs, Lfe}), 18);
    EXPECT_EQ(classify({L, R, Tm, Cs, Ls, Rs, Lfe}), kNoArrangementType);
    EXPECT_EQ(classify({L, R, C, Sl, Ls, Rs, Sr}), 21);
    EXPECT_EQ(classify({L, R, C, Cs, Ls, Rs, Tm}), 20);
    EXPECT_EQ(classify({L, R, Tm, Cs, Ls, Rs, Sl}), kNoArrangementType);

    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Tfl, Sl}), kNoArrangementType);
    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Sl, Sr}), 23);
    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Cs, Tm}), 22);
    EXPECT_EQ(classify({L, R, C, Cs, Ls, Rs, Sl, Sr}), 25);
    EXPECT_EQ(classify({L, R, C, Cs, Ls, Rs, Tm, Sr}), 24);
    EXPECT_EQ(classify({L, R, Lfe, Cs, Ls, Rs, Tfl, Sr}), 39) << "no C: height makes a cube";
    EXPECT_EQ(classify({L, R, Lfe, Cs, Ls, Rs, Tm, Sr}), kNoArrangementType);

    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Tfl, Cs, Sl}), kNoArrangementType);
    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Sl, Cs, Sr}), 27);
    EXPECT_EQ(classify({L, R, C, Lfe, Ls, Rs, Tm, Cs, Sr}), 26);
    EXPECT_EQ(classify({L, R, C, Tfl, Ls, Rs, Tm, Cs, Sr}), 29) << "nine without Lfe is Auro";
}

TEST(SpeakerClassify, WideListsDecideByLfe)
{
    ASpeakerArrangement arrangement;
    arrangement.setUnassignedChannels(10);
    EXPECT_EQ(arrangement.classifyArrangement(), 30) << "unassigned 4 reads as Lfe";
    fillWith(arrangement, {1, 2, 3, 5, 6, 7, 8, 9, 10, 11});
    EXPECT_EQ(arrangement.classifyArrangement(), 31);
    fillWith(arrangement, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    EXPECT_EQ(arrangement.classifyArrangement(), 32);
    fillWith(arrangement, {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12});
    EXPECT_EQ(arrangement.classifyArrangement(), 33);
    fillWith(arrangement, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 19});
    EXPECT_EQ(arrangement.classifyArrangement(), 28);
    fillWith(arrangement, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    EXPECT_EQ(arrangement.classifyArrangement(), 34);
    arrangement.setUnassignedChannels(13);
    EXPECT_EQ(arrangement.classifyArrangement(), 35);

    // 12.2 holds an Lfe and reads as 13.1 Auro; 12.2 comes back only without an Lfe.
    arrangement.removeAll();
    arrangement.setArrangement(arrangementSetCode(38));
    EXPECT_EQ(arrangement.count(), 14);
    EXPECT_EQ(arrangement.classifyArrangement(), 36);
    fillWith(arrangement, {1, 2, 3, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15});
    EXPECT_EQ(arrangement.classifyArrangement(), 38);

    arrangement.setUnassignedChannels(15);
    EXPECT_EQ(arrangement.classifyArrangement(), kNoArrangementType);
}

TEST(SpeakerClassify, StandardLayoutsWithoutATypeOfTheirOwn)
{
    struct Case
    {
        const char8* name;
        int32 stored; // the list kept as it stands, repeats included
        int32 added;  // the list built through addSpeaker, repeats dropped
        int32 addedCount;
    };
    const Case cases[] = {
        {"7.1 Cine Top Center", 22, 22, 8},
        {"7.1 Cine Center High", 22, 22, 8},
        {"7.1 Cine Front High", kNoArrangementType, kNoArrangementType, 7},
        {"7.1 Cine Side High", 22, 18, 7},
        {"7.1 Cine Full Rear", 22, 22, 8},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const char8* labels = findStandardSpeakerString(c.name);
        ASSERT_NE(labels, nullptr);
        ASpeakerArrangement arrangement;
        fillFromLabels(arrangement, labels, false);
        EXPECT_EQ(arrangement.count(), 8);
        EXPECT_EQ(arrangement.classifyArrangement(), c.stored);
        fillFromLabels(arrangement, labels, true);
        EXPECT_EQ(arrangement.count(), c.addedCount);
        EXPECT_EQ(arrangement.classifyArrangement(), c.added);
    }
}
