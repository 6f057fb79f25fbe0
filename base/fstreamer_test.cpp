#include "base/fstreamer.h"

#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace Quillmark;

namespace
{

std::vector<uint8> bytesOf(const FMemoryStream& stream)
{
    const auto* data = reinterpret_cast<const uint8*>(stream.data());
    return std::vector<uint8>(data, data + stream.size());
}

} // namespace

TEST(FStreamer, ByteOrderMaySwitchBetweenTwoWrites)
{
    FMemoryStream stream;
    FStreamer streamer(&stream);
    EXPECT_EQ(streamer.getByteOrder(), FStreamer::kLittleEndian);
    EXPECT_TRUE(streamer.writeInt32(0x01020304));
    streamer.setByteOrder(FStreamer::kBigEndian);
    EXPECT_TRUE(streamer.writeInt32(0x01020304));
    EXPECT_TRUE(streamer.writeInt16u(0xA1B2));
    streamer.setByteOrder(7); // any value but zero reverses
    EXPECT_TRUE(streamer.writeInt64(0x0102030405060708LL));
    EXPECT_TRUE(streamer.writeDouble(1.0));
    EXPECT_TRUE(streamer.writeFloat(-2.0f));
    EXPECT_TRUE(streamer.writeInt8(-1));
    streamer.setByteOrder(FStreamer::kLittleEndian);
    EXPECT_TRUE(streamer.writeInt16(-2));
    EXPECT_TRUE(streamer.writeDouble(1.0));

    const std::vector<uint8> expected = {
        0x04, 0x03, 0x02, 0x01,                         // little-endian int32
        0x01, 0x02, 0x03, 0x04,                         // big-endian int32
        0xA1, 0xB2,                                     // big-endian uint16
        0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, // big-endian int64
        0x3F, 0xF0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // big-endian double 1.0
        0xC0, 0x00, 0x00, 0x00,                         // big-endian float -2.0
        0xFF,                                           // a byte has no order
        0xFE, 0xFF,                                     // little-endian int16 -2
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF0, 0x3F, // little-endian double 1.0
    };
    EXPECT_EQ(bytesOf(stream), expected);

    // Reading follows the same switches.
    stream.seek(0, IBStream::kIBSeekSet);
    FStreamer reader(&stream);
    int32 i32 = 0;
    uint16 u16 = 0;
    int64 i64 = 0;
    double d = 0;
    float f = 0;
    int8 i8 = 0;
    int16 i16 = 0;
    EXPECT_TRUE(reader.readInt32(i32));
    EXPECT_EQ(i32, 0x01020304);
    reader.setByteOrder(FStreamer::kBigEndian);
    EXPECT_TRUE(reader.readInt32(i32));
    EXPECT_EQ(i32, 0x01020304);
    EXPECT_TRUE(reader.readInt16u(u16));
    EXPECT_EQ(u16, 0xA1B2);
    EXPECT_TRUE(reader.readInt64(i64));
    EXPECT_EQ(i64, 0x0102030405060708LL);
    EXPECT_TRUE(reader.readDouble(d));
    EXPECT_EQ(d, 1.0);
    EXPECT_TRUE(reader.readFloat(f));
    EXPECT_EQ(f, -2.0f);
    EXPECT_TRUE(reader.readInt8(i8));
    EXPECT_EQ(i8, -1);
    reader.setByteOrder(FStreamer::kLittleEndian);
    EXPECT_TRUE(reader.readInt16(i16));
    EXPECT_EQ(i16, -2);
    EXPECT_TRUE(reader.readDouble(d));
    EXPECT_EQ(d, 1.0);
    EXPECT_FALSE(reader.readInt8(i8));
}

TEST(FStreamer, ShortTransfersAnswerFalse)
{
    uint8 memory[6] = {};
    FBufferStream full(memory, 6, true);
    FStreamer streamer(&full);
    EXPECT_TRUE(streamer.writeInt32u(0xDEADBEEF));
    EXPECT_FALSE(streamer.writeInt32u(0x11223344)); // only two bytes fit
    EXPECT_FALSE(streamer.writeInt8u(1));           // nothing fits
    EXPECT_EQ(streamer.writeRaw("xy", 2), 0);
    EXPECT_EQ(streamer.tell(), 6);

    uint8 three[3] = {1, 2, 3};
    FBufferStream shortInput(three, 3);
    FStreamer reader(&shortInput);
    int64 value = 42;
    EXPECT_FALSE(reader.readInt64(value));
    EXPECT_EQ(value, 42); // a failed read leaves the value alone

    FStreamer nowhere(nullptr);
    EXPECT_FALSE(nowhere.writeInt32(1));
    EXPECT_EQ(nowhere.tell(), -1);
}

TEST(FStreamer, TextsRoundTripInBothWidthsAndOrders)
{
    for (int16 order : {FStreamer::kLittleEndian, FStreamer::kBigEndian})
    {
        FMemoryStream stream;
        FStreamer streamer(&stream, order);
        EXPECT_TRUE(streamer.writeString8("caf\xC3\xA9"));
        EXPECT_TRUE(streamer.writeString8(static_cast<const char8*>(nullptr)));
        EXPECT_TRUE(streamer.writeString16(u"\U0001D11E!"));
        EXPECT_TRUE(streamer.writeString16(ConstString("\xC3\xA9")));

        streamer.seek(0);
        String text;
        EXPECT_TRUE(streamer.readString8(text));
        EXPECT_FALSE(text.isWide());
        EXPECT_STREQ(text.text8(), "caf\xC3\xA9");
        EXPECT_TRUE(streamer.readString8(text));
        EXPECT_TRUE(text.isEmpty());
        EXPECT_TRUE(streamer.readString16(text));
        EXPECT_TRUE(text.isWide());
        EXPECT_EQ(std::u16string(text.text16()), u"\U0001D11E!");
        EXPECT_TRUE(streamer.readString16(text));
        EXPECT_EQ(std::u16string(text.text16()), u"\u00E9");
    }

    // Layout: a count, then the units, each in the streamer's order.
    FMemoryStream stream;
    FStreamer big(&stream, FStreamer::kBigEndian);
    big.writeString16(u"A\u00E9");
    EXPECT_EQ(bytesOf(stream), (std::vector<uint8>{0, 0, 0, 2, 0x00, 0x41, 0x00, 0xE9}));

    // A damaged count runs into the end of the stream instead of claiming memory.
    const uint8 damaged[] = {0xFF, 0xFF, 0xFF, 0x3F, 'a', 'b'};
    FBufferStream input(damaged, sizeof(damaged));
    FStreamer reader(&input);
    String text("kept");
    EXPECT_FALSE(reader.readString8(text));
    EXPECT_STREQ(text.text8(), "kept");
    const uint8 negative[] = {0xFF, 0xFF, 0xFF, 0xFF};
    FBufferStream negativeInput(negative, sizeof(negative));
    FStreamer negativeReader(&negativeInput);
    EXPECT_FALSE(negativeReader.readString16(text));
}

TEST(FSizeField, BackPatchesTheSectionLength)
{
    FMemoryStream stream;
    FStreamer streamer(&stream, FStreamer::kBigEndian);
    streamer.writeInt8u(0xAA);
    FSizeField outer(streamer);
    ASSERT_TRUE(outer.begin());
    EXPECT_TRUE(outer.isOpen());
    streamer.writeInt16u(0x1122);
    FSizeField inner(streamer);
    ASSERT_TRUE(inner.begin());
    streamer.writeRaw("xyz", 3);
    // The inner field is written little-endian: the order at the moment of end counts.
    streamer.setByteOrder(FStreamer::kLittleEndian);
    ASSERT_TRUE(inner.end());
    streamer.setByteOrder(FStreamer::kBigEndian);
    ASSERT_TRUE(outer.end());
    EXPECT_FALSE(outer.isOpen());
    EXPECT_EQ(streamer.tell(), stream.size()); // back at the end
    streamer.writeInt8u(0xBB);

    const std::vector<uint8> expected = {
        0xAA, 0,    0, 0, 9, // outer: 2 + 4 + 3 bytes
        0x11, 0x22, 3, 0, 0, 0, 'x', 'y', 'z', 0xBB,
    };
    EXPECT_EQ(bytesOf(stream), expected);
}

TEST(FSizeField, WithoutBeginNothingIsWritten)
{
    FMemoryStream stream;
    FStreamer streamer(&stream);
    streamer.writeInt32(0x55667788);
    streamer.seek(2);
    FSizeField field(streamer);
    EXPECT_FALSE(field.end());
    EXPECT_EQ(streamer.tell(), 2);
    EXPECT_EQ(bytesOf(stream), (std::vector<uint8>{0x88, 0x77, 0x66, 0x55}));

    // A second end after one begin does nothing either.
    streamer.seek(0, IBStream::kIBSeekEnd);
    ASSERT_TRUE(field.begin());
    streamer.writeInt8(1);
    EXPECT_TRUE(field.end());
    std::vector<uint8> once = bytesOf(stream);
    streamer.writeInt8(2);
    EXPECT_FALSE(field.end());
    once.push_back(2);
    EXPECT_EQ(bytesOf(stream), once);

    // A begin that cannot write its zero does not open the field.
    uint8 memory[2] = {};
    FBufferStream tiny(memory, 2, true);
    FStreamer tinyStreamer(&tiny);
    FSizeField refused(tinyStreamer);
    EXPECT_FALSE(refused.begin());
    EXPECT_FALSE(refused.end());
}
