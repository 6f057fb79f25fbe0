#include "audiofile/speakerproperty.h"

#include "base/fattributes.h"
#include "base/fstreamer.h"
#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Quillmark;

TEST(SpeakerProperty, MonoLeftAndUnassignedCompareByNormalisedNumber)
{
    EXPECT_EQ(ASpeakerProperty::normalize(0), 1);
    EXPECT_EQ(ASpeakerProperty::normalize(-3), 3);
    EXPECT_EQ(ASpeakerProperty::normalize(INT32_MIN), 2147483648LL);

    ASpeakerProperty mono(kSpeakerMono), left(kSpeakerL), right(kSpeakerR);
    ASpeakerProperty third(-3), center(kSpeakerC);
    EXPECT_TRUE(mono.isEqual(&left));
    EXPECT_TRUE(left.isEqual(&mono));
    EXPECT_TRUE(third.isEqual(&center)) << "unassigned channel 3 is seen as speaker 3";
    EXPECT_FALSE(left.isEqual(&right));
    EXPECT_EQ(mono.compare(&left), 0);
    EXPECT_EQ(third.compare(&center), 0);

    // Null and other classes: not equal, and no order.
    FObject other;
    EXPECT_FALSE(left.isEqual(nullptr));
    EXPECT_FALSE(left.isEqual(&other));
    EXPECT_EQ(left.compare(nullptr), 0);
    EXPECT_EQ(left.compare(&other), 0);

    EXPECT_TRUE(left.isTypeOf("ASpeakerProperty"));
    EXPECT_STREQ(left.isTypeName(), "ASpeakerProperty");
}

TEST(SpeakerProperty, UndefinedSortsFirst)
{
    std::vector<int32> ids = {kSpeakerLfe,  kSpeakerUndefined, -2,
                              kSpeakerMono, kSpeakerRcs,       -kSpeakerUndefined};
    std::vector<ASpeakerProperty> speakers;
    for (int32 id : ids)
        speakers.emplace_back(id);
    std::stable_sort(speakers.begin(), speakers.end(),
                     [](const ASpeakerProperty& a, const ASpeakerProperty& b)
                     { return a.compare(&b) < 0; });
    std::vector<int32> sorted;
    for (const ASpeakerProperty& speaker : speakers)
        sorted.push_back(speaker.getId());
    EXPECT_EQ(sorted, (std::vector<int32>{kSpeakerUndefined, -kSpeakerUndefined, kSpeakerMono, -2,
                                          kSpeakerLfe, kSpeakerRcs}));

    ASpeakerProperty undefined(kSpeakerUndefined), rcs(kSpeakerRcs);
    EXPECT_LT(undefined.compare(&rcs), 0);
    EXPECT_GT(rcs.compare(&undefined), 0);
}

TEST(SpeakerProperty, StreamsOneSigned32BitNumber)
{
    FMemoryStream stream;
    FStreamer streamer(&stream, FStreamer::kBigEndian);
    EXPECT_TRUE(ASpeakerProperty(-5).write(streamer));
    ASSERT_EQ(stream.size(), 4);
    EXPECT_EQ(std::vector<char8>(stream.data(), stream.data() + 4),
              (std::vector<char8>{char8(0xFF), char8(0xFF), char8(0xFF), char8(0xFB)}));

    stream.seek(0, IBStream::kIBSeekSet);
    ASpeakerProperty speaker(kSpeakerL);
    EXPECT_TRUE(speaker.read(streamer));
    EXPECT_EQ(speaker.getId(), -5);
    EXPECT_FALSE(speaker.read(streamer)) << "nothing left to read";

    // A full stream refuses the write.
    char8 tiny[2];
    FBufferStream full(tiny, sizeof(tiny), true);
    FStreamer toFull(&full);
    EXPECT_FALSE(ASpeakerProperty(kSpeakerC).write(toFull));
}

TEST(SpeakerProperty, PortRoleIsTheTableWord)
{
    FAttributes attributes;
    ASpeakerProperty(kSpeakerLs).writeRole(attributes);
    String role;
    ASSERT_TRUE(attributes.getString("Role", role));
    EXPECT_EQ(role, ConstString("left surround"));

    ASpeakerProperty read(kSpeakerC);
    EXPECT_TRUE(read.readRole(attributes));
    EXPECT_EQ(read.getId(), kSpeakerLs);

    // Mono keeps its own word; it is not written as Left.
    ASpeakerProperty(kSpeakerMono).writeRole(attributes);
    ASSERT_TRUE(attributes.getString("Role", role));
    EXPECT_EQ(role, ConstString("mono"));

    // The undefined speaker writes nothing at all.
    FAttributes none;
    ASpeakerProperty(kSpeakerUndefined).writeRole(none);
    EXPECT_EQ(none.count(), 0);

    // A number without a row writes the attribute empty, and reading it changes nothing.
    FAttributes empty;
    ASpeakerProperty(-2).writeRole(empty);
    ASSERT_TRUE(empty.getString("Role", role));
    EXPECT_TRUE(role.isEmpty());
    read.setId(kSpeakerTfc);
    EXPECT_FALSE(read.readRole(empty));
    EXPECT_EQ(read.getId(), kSpeakerTfc);

    // Unknown words and a missing attribute keep the number too; case does not matter.
    FAttributes other;
    other.setString("Role", "upstairs");
    EXPECT_FALSE(read.readRole(other));
    EXPECT_FALSE(read.readRole(none));
    EXPECT_EQ(read.getId(), kSpeakerTfc);
    other.setString("Role", "TOP REAR CENTER");
    EXPECT_TRUE(read.readRole(other));
    EXPECT_EQ(read.getId(), kSpeakerTrc);
}
