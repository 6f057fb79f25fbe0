#include "audiofile/namedarrangements.h"
#include "audiofile/speakerarrangement.h"
#include "audiofile/speakertestsupport.h"

#include "base/fattributes.h"
#include "base/fstreamer.h"
#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::testing;

using Ids = std::vector<int32>;

namespace
{

const Ids k51 = {kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerC, kSpeakerLfe};

/** The binary form of a list of exactly these numbers, count first. */
void writeIds(FMemoryStream& stream, const Ids& ids, int32 count)
{
    FStreamer streamer(&stream);
    streamer.writeInt32(count);
    for (int32 id : ids)
        streamer.writeInt32(id);
    stream.seek(0, IBStream::kIBSeekSet);
}

Ids readFromStream(const Ids& ids)
{
    FMemoryStream stream;
    writeIds(stream, ids, int32(ids.size()));
    FStreamer streamer(&stream);
    ASpeakerArrangement arrangement;
    EXPECT_TRUE(arrangement.read(streamer));
    return idsOf(arrangement);
}

Ids readFromAttributes(const Ids& ids)
{
    ASpeakerArrangement stored;
    for (int32 id : ids)
        stored.append(id);
    FAttributes attributes;
    stored.storeAttributes(attributes);
    ASpeakerArrangement arrangement;
    arrangement.restoreAttributes(attributes);
    return idsOf(arrangement);
}

} // namespace

TEST(SpeakerArrangementIO, BinaryFormIsCountThenNumbers)
{
    CapabilitiesScope features(true);
    ASpeakerArrangement arrangement;
    fillWith(arrangement, {kSpeakerL, -2, kSpeakerL, kSpeakerUndefined});

    FMemoryStream stream;
    FStreamer streamer(&stream, FStreamer::kBigEndian);
    EXPECT_TRUE(arrangement.write(streamer));
    const std::vector<uint8> expected = {
        0,    0,    0,    4,    // count
        0,    0,    0,    1,    // L
        0xFF, 0xFF, 0xFF, 0xFE, // unassigned 2
        0,    0,    0,    1,    // L again: a stored list is kept as it stands
        0x7F, 0xFF, 0xFF, 0xFF, // undefined
    };
    const auto* bytes = reinterpret_cast<const uint8*>(stream.data());
    EXPECT_EQ(std::vector<uint8>(bytes, bytes + stream.size()), expected);

    stream.seek(0, IBStream::kIBSeekSet);
    ASpeakerArrangement read;
    read.setArrangement(arrangementSetCode(15)); // replaced by the stored list
    EXPECT_TRUE(read.read(streamer));
    EXPECT_EQ(idsOf(read), idsOf(arrangement));

    // A short stream: the speakers read so far stay, and the read fails.
    stream.setSize(14);
    stream.seek(0, IBStream::kIBSeekSet);
    EXPECT_FALSE(read.read(streamer));
    EXPECT_EQ(idsOf(read), (Ids{kSpeakerL, -2}));

    char8 tiny[6];
    FBufferStream full(tiny, sizeof(tiny), true);
    FStreamer toFull(&full);
    EXPECT_FALSE(arrangement.write(toFull));
}

TEST(SpeakerArrangementIO, AttributeFormKeepsEveryNumberInOrder)
{
    CapabilitiesScope features(true);
    ASpeakerArrangement arrangement;
    fillWith(arrangement, {kSpeakerR, kSpeakerL, -1, kSpeakerUndefined, INT32_MIN, kSpeakerR});
    FAttributes attributes;
    attributes.setInt("Other", 3);
    arrangement.storeAttributes(attributes);

    // One "Type" per speaker, negative numbers widened with their sign.
    std::vector<int64> stored;
    for (int32 index = 0; index < attributes.count(); ++index)
        if (std::string(attributes.nameAt(index)) == "Type")
        {
            int64 value = 0;
            EXPECT_TRUE(attributes.getIntAt(index, value));
            stored.push_back(value);
        }
    EXPECT_EQ(stored, (std::vector<int64>{2, 1, -1, 0x7FFFFFFF, -2147483648LL, 2}));

    // Through the XML text and back: the repeated element survives.
    FMemoryStream xml;
    ASSERT_TRUE(attributes.writeXml(&xml));
    std::string text(xml.data(), size_t(xml.size()));
    size_t repeats = 0;
    for (size_t at = text.find("name=\"Type\""); at != std::string::npos;
         at = text.find("name=\"Type\"", at + 1))
        ++repeats;
    EXPECT_EQ(repeats, 6u) << text;
    FAttributes reread;
    ASSERT_TRUE(reread.readXml(xml.data(), size_t(xml.size())));
    ASpeakerArrangement restored;
    restored.setArrangement(arrangementSetCode(1)); // replaced
    restored.restoreAttributes(reread);
    EXPECT_EQ(idsOf(restored), idsOf(arrangement));

    // Storing again replaces the earlier speakers.
    fillWith(arrangement, {kSpeakerC});
    arrangement.storeAttributes(attributes);
    restored.restoreAttributes(attributes);
    EXPECT_EQ(idsOf(restored), Ids{kSpeakerC});
}

TEST(SpeakerArrangementIO, AttributeValuesOfOtherKinds)
{
    CapabilitiesScope features(true);
    ASpeakerArrangement arrangement;
    arrangement.setArrangement(arrangementSetCode(1));

    FAttributes single;
    single.setInt("Type", kSpeakerLfe2);
    arrangement.restoreAttributes(single);
    EXPECT_EQ(idsOf(arrangement), Ids{kSpeakerLfe2});

    FAttributes text;
    text.appendInt("Type", kSpeakerR);
    text.setString("Name", "left");
    text.setString("Type", "left"); // the first "Type" becomes a text; the second stays
    text.appendInt("Type", kSpeakerC);
    arrangement.restoreAttributes(text);
    EXPECT_EQ(idsOf(arrangement), (Ids{kSpeakerMono, kSpeakerC}))
        << "a value that is no number is speaker 0";

    FAttributes missing;
    arrangement.restoreAttributes(missing);
    EXPECT_EQ(arrangement.count(), 0);
}

TEST(SpeakerArrangementIO, WithoutSurroundEveryWideListBecomesStereoWithOneWarning)
{
    CapabilitiesScope features(false);
    EXPECT_EQ(readFromStream(k51), (Ids{kSpeakerL, kSpeakerR}));
    ASSERT_EQ(features.warnings.size(), 1u);
    EXPECT_EQ(features.warnings[0], ASpeakerArrangement::kSurroundWarning);

    EXPECT_EQ(readFromAttributes({-1, -2, -3}), (Ids{kSpeakerL, kSpeakerR}));
    EXPECT_EQ(features.warnings.size(), 1u) << "shown once per key";

    // Two channels or fewer stay as stored, whatever they are, and nothing else is looked at.
    EXPECT_EQ(readFromStream({kSpeakerLs, kSpeakerRs}), (Ids{kSpeakerLs, kSpeakerRs}));
    EXPECT_EQ(readFromAttributes({kSpeakerTfc}), Ids{kSpeakerTfc});
    EXPECT_EQ(readFromStream({}), Ids{});
}

TEST(SpeakerArrangementIO, StreamDecidesByTheStoredCount)
{
    CapabilitiesScope features(false);
    // Three speakers announced, one present: still a surround list as far as reading goes.
    FMemoryStream stream;
    writeIds(stream, {kSpeakerC}, 3);
    FStreamer streamer(&stream);
    ASpeakerArrangement arrangement;
    EXPECT_FALSE(arrangement.read(streamer));
    EXPECT_EQ(idsOf(arrangement), (Ids{kSpeakerL, kSpeakerR}));

    // A negative count reads no speakers and reduces nothing.
    FMemoryStream negative;
    writeIds(negative, {}, -5);
    FStreamer negativeStreamer(&negative);
    EXPECT_TRUE(arrangement.read(negativeStreamer));
    EXPECT_EQ(arrangement.count(), 0);
}

TEST(SpeakerArrangementIO, SixChannelLimitKeepsTheKindOfLayout)
{
    CapabilitiesScope features(true, true);

    // Seven speakers with an Lfe lose their order and become a fresh 5.1, without a word.
    EXPECT_EQ(readFromStream({kSpeakerLfe, kSpeakerC, kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs,
                              kSpeakerCs}),
              k51);
    EXPECT_EQ(readFromAttributes({kSpeakerL, kSpeakerR, kSpeakerSl, kSpeakerSr, kSpeakerLs,
                                  kSpeakerRs, kSpeakerLfe}),
              k51);
    // With a centre and no Lfe: 6.0 Cine; with neither: 6.0 Music.
    EXPECT_EQ(readFromStream({kSpeakerL, kSpeakerR, kSpeakerLc, kSpeakerRc, kSpeakerLs, kSpeakerRs,
                              kSpeakerC}),
              (Ids{kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs, kSpeakerC, kSpeakerCs}));
    EXPECT_EQ(readFromAttributes({-1, -2, -5, -6, -7, -8, -9}),
              (Ids{kSpeakerL, kSpeakerR, kSpeakerSl, kSpeakerSr, kSpeakerLs, kSpeakerRs}));
    // Unassigned 4 counts as an Lfe.
    EXPECT_EQ(readFromStream({-1, -2, -3, -4, -5, -6, -7}), k51);
    EXPECT_TRUE(features.warnings.empty());

    // Six speakers are within the limit and keep their order.
    const Ids six = {kSpeakerLfe, kSpeakerC, kSpeakerL, kSpeakerR, kSpeakerLs, kSpeakerRs};
    EXPECT_EQ(readFromStream(six), six);
}

TEST(SpeakerArrangementIO, FullSurroundKeepsWideLists)
{
    CapabilitiesScope features(true);
    ASpeakerArrangement wide;
    wide.setArrangement(arrangementSetCode(38)); // 12.2
    EXPECT_EQ(readFromStream(idsOf(wide)), idsOf(wide));
    EXPECT_EQ(readFromAttributes(idsOf(wide)), idsOf(wide));

    // The limit key alone means nothing without surround.
    FCapabilities::instance()->removeValue(ASpeakerArrangement::kSurroundCapability);
    FCapabilities::instance()->setValue(ASpeakerArrangement::kSixChannelsMaxCapability, 1);
    EXPECT_EQ(readFromStream(idsOf(wide)), (Ids{kSpeakerL, kSpeakerR}));
    EXPECT_EQ(features.warnings.size(), 1u);
}
