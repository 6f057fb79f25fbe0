#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"
#include "audiofile/speakertestsupport.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Quillmark;
using namespace Quillmark::testing;

using Ids = std::vector<int32>;

TEST(SpeakerArrangement, AddSpeakerSkipsKnownSpeakersButAlwaysChanges)
{
    ASpeakerArrangement arrangement;
    EXPECT_EQ(arrangement.count(), 0);
    EXPECT_STREQ(arrangement.isTypeName(), "ASpeakerArrangement");
    ChangeCounter counter(arrangement);

    arrangement.addSpeaker(kSpeakerMono);
    arrangement.addSpeaker(kSpeakerL); // the same speaker as Mono
    arrangement.addSpeaker(-1);        // unassigned 1 is Left again
    EXPECT_EQ(idsOf(arrangement), Ids{kSpeakerMono});
    EXPECT_EQ(counter.changes, 3);

    arrangement.addSpeaker(-3);
    arrangement.addSpeaker(kSpeakerC);
    EXPECT_EQ(idsOf(arrangement), (Ids{kSpeakerMono, -3}));
    EXPECT_EQ(counter.changes, 5);

    EXPECT_EQ(arrangement.findSpeaker(kSpeakerL), 0);
    EXPECT_EQ(arrangement.findSpeaker(kSpeakerC), 1);
    EXPECT_EQ(arrangement.findSpeaker(3), 1);
    EXPECT_EQ(arrangement.findSpeaker(kSpeakerR), -1);

    // The plain list operations send nothing.
    arrangement.append(kSpeakerL);
    arrangement.removeAll();
    EXPECT_EQ(counter.changes, 5);
}

TEST(SpeakerArrangement, FindSpeakerGivesTheFirstOfEqualSpeakers)
{
    ASpeakerArrangement arrangement;
    fillWith(arrangement, {kSpeakerR, -1, kSpeakerL, kSpeakerMono});
    EXPECT_EQ(arrangement.count(), 4) << "append keeps duplicates";
    EXPECT_EQ(arrangement.findSpeaker(kSpeakerMono), 1);
    EXPECT_EQ(arrangement.findSpeaker(-2), 0);
    EXPECT_EQ(arrangement.findSpeaker(kSpeakerUndefined), -1);
    EXPECT_EQ(arrangement.at(4), nullptr);
    EXPECT_EQ(arrangement.at(-1), nullptr);
    EXPECT_EQ(arrangement.idAt(9), kSpeakerUndefined);
}

TEST(SpeakerArrangement, SetArrangementAppendsWithoutClearing)
{
    ASpeakerArrangement arrangement;
    arrangement.setArrangement(arrangementSetCode(1)); // Stereo
    arrangement.setArrangement(arrangementSetCode(5)); // C Lfe
    EXPECT_EQ(idsOf(arrangement), (Ids{kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe}));
    EXPECT_EQ(arrangement.classifyArrangement(), 8);

    // Speakers that are there already are not added twice.
    arrangement.setArrangement(arrangementSetCode(15)); // 5.1
    EXPECT_EQ(idsOf(arrangement),
              (Ids{kSpeakerL, kSpeakerR, kSpeakerC, kSpeakerLfe, kSpeakerLs, kSpeakerRs}));

    // Each speaker of a set code goes through addSpeaker, and so sends a change.
    ASpeakerArrangement fresh;
    ChangeCounter counter(fresh);
    fresh.setArrangement(arrangementSetCode(22)); // 7.1 Cine
    EXPECT_EQ(fresh.count(), 8);
    EXPECT_EQ(counter.changes, 8);
}

#ifndef NDEBUG
TEST(SpeakerArrangementDeathTest, SetCodeOutsideTheTableIsAProgrammingError)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ASpeakerArrangement arrangement;
    EXPECT_DEATH(arrangement.setArrangement(42), "set code");
    EXPECT_DEATH(arrangement.setArrangement(-1), "set code");
}
#endif

TEST(SpeakerArrangement, UnassignedChannelsCountDownAndFiveSkipsLfe)
{
    ASpeakerArrangement arrangement;
    arrangement.setArrangement(arrangementSetCode(15));
    ChangeCounter counter(arrangement);

    arrangement.setUnassignedChannels(3);
    EXPECT_EQ(idsOf(arrangement), (Ids{-1, -2, -3}));
    EXPECT_EQ(counter.changes, 2) << "once after clearing, once at the end";

    arrangement.setUnassignedChannels(5);
    EXPECT_EQ(idsOf(arrangement), (Ids{-1, -2, -3, -5, -6}));
    arrangement.setUnassignedChannels(6);
    EXPECT_EQ(idsOf(arrangement), (Ids{-1, -2, -3, -4, -5, -6}));

    // No duplicate test: unassigned 1 and a second list of them stay as they are.
    arrangement.setUnassignedChannels(2);
    EXPECT_EQ(arrangement.count(), 2);

    counter.changes = 0;
    arrangement.setUnassignedChannels(0);
    EXPECT_EQ(arrangement.count(), 0);
    arrangement.setUnassignedChannels(-4);
    EXPECT_EQ(arrangement.count(), 0);
    EXPECT_EQ(counter.changes, 4);
}

TEST(SpeakerArrangement, CopyHasTheSameNumbersInItsOwnObjects)
{
    ASpeakerArrangement source;
    fillWith(source, {kSpeakerL, kSpeakerL, -7, kSpeakerUndefined});
    ASpeakerArrangement copy(source);
    EXPECT_EQ(idsOf(copy), idsOf(source));
    EXPECT_EQ(copy.getRefCount(), 1);
    EXPECT_NE(copy.at(0), source.at(0));

    copy.at(0)->setId(kSpeakerR);
    EXPECT_EQ(source.idAt(0), kSpeakerL);

    ASpeakerArrangement assigned;
    assigned.setArrangement(arrangementSetCode(28));
    assigned = source;
    EXPECT_EQ(idsOf(assigned), idsOf(source));
    assigned = assigned;
    EXPECT_EQ(assigned.count(), 4);
}

TEST(SpeakerArrangement, AppendTakesOverAReference)
{
    ASpeakerArrangement arrangement;
    auto* speaker = new ASpeakerProperty(kSpeakerTm);
    speaker->addRef();
    EXPECT_TRUE(arrangement.append(speaker));
    EXPECT_EQ(arrangement.at(0), speaker);
    EXPECT_EQ(speaker->getRefCount(), 2);
    arrangement.removeAll();
    EXPECT_EQ(speaker->getRefCount(), 1);
    speaker->release();
    EXPECT_FALSE(arrangement.append(nullptr));
}

TEST(SpeakerArrangement, DefaultLayoutsByChannelCount)
{
    struct Case
    {
        int32 channels;
        Ids ids;
    };
    const Case cases[] = {
        {1, {kSpeakerMono}},
        {2, {kSpeakerL, kSpeakerR}},
        {3, {-1, -2, -3}},
        {4, {kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs}},
        {5, {kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerC}},
        {6, {kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerC, kSpeakerLfe}},
        {7, {-1, -2, -3, -4, -5, -6, -7}},
        {8,
         {kSpeakerL, kSpeakerR, kSpeakerLc, kSpeakerRc, kSpeakerLs, kSpeakerRs, kSpeakerC,
          kSpeakerLfe}},
        {0, {}},
    };
    ASpeakerArrangement arrangement;
    for (const Case& c : cases)
    {
        arrangement.setArrangement(arrangementSetCode(36)); // replaced, not extended
        defaultArrangementForChannels(c.channels, arrangement);
        EXPECT_EQ(idsOf(arrangement), c.ids) << c.channels << " channels";
    }
    defaultArrangementForChannels(8, arrangement);
    EXPECT_EQ(arrangement.classifyArrangement(), 22);
}
