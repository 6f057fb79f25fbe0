// The byte stream of a MIDI cable as it arrives in pieces: every complete message comes out
// whole, in order, and nothing that is not a message does.
#include "devices/midi/midibyteparser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace Quillmark
{
namespace
{

using Bytes = std::vector<uint8>;

class Collect : public MidiByteParser::Sink
{
public:
    void midiMessage(const uint8* bytes, int32 size) override
    {
        messages.emplace_back(bytes, bytes + size);
    }
    std::vector<Bytes> messages;
};

std::vector<Bytes> parseAll(const Bytes& stream, size_t pieceSize = 0)
{
    MidiByteParser parser;
    Collect sink;
    if (pieceSize == 0)
        parser.parse(stream.data(), stream.size(), sink);
    else
        for (size_t at = 0; at < stream.size(); at += pieceSize)
            parser.parse(stream.data() + at, std::min(pieceSize, stream.size() - at), sink);
    return sink.messages;
}

TEST(MidiByteParser, ChannelMessagesWithAndWithoutRunningStatus)
{
    const Bytes stream = {0x90, 60, 100, 62, 90, 0xC3, 5, 7, 0xE0, 0, 64, 0xD1, 33};
    const std::vector<Bytes> expected = {{0x90, 60, 100}, {0x90, 62, 90}, {0xC3, 5},
                                         {0xC3, 7},       {0xE0, 0, 64},  {0xD1, 33}};
    EXPECT_EQ(parseAll(stream), expected);
    // Cut anywhere, the same messages come out.
    EXPECT_EQ(parseAll(stream, 1), expected);
    EXPECT_EQ(parseAll(stream, 2), expected);
}

TEST(MidiByteParser, RealTimeBytesInterruptNothing)
{
    const Bytes stream = {0x90, 0xF8, 60, 0xFA, 100, 0xFE, 61, 0xFF, 101};
    const std::vector<Bytes> expected = {{0xF8}, {0xFA}, {0x90, 60, 100},
                                         {0xFE}, {0xFF}, {0x90, 61, 101}};
    EXPECT_EQ(parseAll(stream), expected);
}

TEST(MidiByteParser, SystemExclusiveDataIsCollectedToItsEnd)
{
    const Bytes stream = {0xF0, 0x43, 0xF8, 0x10, 0x4C, 0xF7, 0xB0, 7, 100};
    const std::vector<Bytes> expected = {{0xF8}, {0xF0, 0x43, 0x10, 0x4C, 0xF7}, {0xB0, 7, 100}};
    EXPECT_EQ(parseAll(stream, 3), expected);
}

TEST(MidiByteParser, AnUnfinishedSystemExclusiveMessageIsDropped)
{
    // A status byte ends the data before its end byte: the fragment goes, the status counts.
    const Bytes stream = {0xF0, 1, 2, 3, 0x90, 60, 100};
    EXPECT_EQ(parseAll(stream), (std::vector<Bytes>{{0x90, 60, 100}}));
}

TEST(MidiByteParser, SystemExclusiveDataAboveTheLimitIsDroppedWhole)
{
    Bytes stream = {0xF0};
    stream.resize(size_t(MidiByteParser::kMaxSysexSize) + 10, 0x11);
    stream.push_back(0xF7);
    stream.insert(stream.end(), {0xF0, 0x22, 0xF7});
    const auto messages = parseAll(stream, 4096);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0], (Bytes{0xF0, 0x22, 0xF7}));
}

TEST(MidiByteParser, StrayDataAndSystemCommonMessages)
{
    // Data with no status before it is noise; system common messages end running status.
    const Bytes stream = {5, 6, 0xF2, 1, 2, 3, 0xF6, 0xF1, 9, 0xF7, 0xF4, 0x80, 1, 2};
    const std::vector<Bytes> expected = {{0xF2, 1, 2}, {0xF6}, {0xF1, 9}, {0x80, 1, 2}};
    EXPECT_EQ(parseAll(stream), expected);
}

TEST(MidiByteParser, ResetForgetsRunningStatus)
{
    MidiByteParser parser;
    Collect sink;
    const Bytes first = {0x90, 60};
    parser.parse(first.data(), first.size(), sink);
    parser.reset();
    const Bytes second = {100, 61, 101};
    parser.parse(second.data(), second.size(), sink);
    EXPECT_TRUE(sink.messages.empty());
}

} // namespace
} // namespace Quillmark
