// Tests of the kit's data helpers: little-endian state streams, parameter parameters and lists,
// unit and program tables, and bus lists.
#include "common/busses.h"
#include "common/parameters.h"
#include "common/statestream.h"
#include "common/units.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** A byte stream in memory; `limit` makes it refuse to grow beyond that many bytes. */
class MemoryStream : public IBStream
{
public:
    explicit MemoryStream(std::vector<uint8> content = {}, size_t limit = SIZE_MAX)
        : bytes(std::move(content)), limit(limit)
    {
    }
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    tresult read(void* buffer, int32 numBytes, int32* numBytesRead) override
    {
        const size_t count = std::min(size_t(numBytes), bytes.size() - position);
        std::memcpy(buffer, bytes.data() + position, count);
        position += count;
        if (numBytesRead)
            *numBytesRead = int32(count);
        return kResultOk;
    }
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten) override
    {
        const size_t count = std::min(size_t(numBytes), limit - bytes.size());
        const auto* source = static_cast<const uint8*>(buffer);
        bytes.insert(bytes.end(), source, source + count);
        if (numBytesWritten)
            *numBytesWritten = int32(count);
        return count == size_t(numBytes) ? kResultOk : kResultFalse;
    }
    tresult seek(int64, int32, int64*) override { return kNotImplemented; }
    tresult tell(int64* pos) override
    {
        *pos = int64(position);
        return kResultOk;
    }

    std::vector<uint8> bytes;

private:
    size_t limit;
    size_t position = 0;
};

std::u16string text(const TChar* units)
{
    return std::u16string(units);
}

constexpr const char16* kModes[] = {u"Soft", u"Medium", u"Hard"};

constexpr ParameterSpec kLevel{.id = 7,
                               .title = u"Level",
                               .shortTitle = u"Lvl",
                               .units = u"dB",
                               .minPlain = -48.0,
                               .maxPlain = 12.0,
                               .defaultPlain = -6.0,
                               .unitId = 2,
                               .precision = 1};
constexpr ParameterSpec kMode{.id = 9,
                              .title = u"Mode",
                              .maxPlain = 2.0,
                              .defaultPlain = 1.0,
                              .stepCount = 2,
                              .flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsList,
                              .entries = kModes};
constexpr ParameterSpec kTable[] = {kLevel, kMode};

} // namespace

TEST(PluginText, FillsPlainPointerFieldsAndCompares)
{
    char16 field[5];
    copyText(field, 5, u"abcdefg");
    EXPECT_EQ(text(field), u"abcd");
    copyText(field, 5, u"abc\U0001F3B5"); // the pair would lose its low half
    EXPECT_EQ(text(field), u"abc");
    copyText(field, 1, u"abc");
    EXPECT_EQ(text(field), u"");

    widenText(field, 5, "-1.5dB");
    EXPECT_EQ(text(field), u"-1.5");
    char8 ascii[5];
    asciiText(ascii, sizeof ascii, u"7\u00E9x");
    EXPECT_STREQ(ascii, "7?x");
    asciiText(ascii, sizeof ascii, nullptr);
    EXPECT_STREQ(ascii, "");

    EXPECT_TRUE(sameText(u"On", u"On"));
    EXPECT_FALSE(sameText(u"On", u"Onn"));
    EXPECT_FALSE(sameText(u"Onn", u"On"));
    EXPECT_TRUE(sameText(nullptr, u""));
    EXPECT_FALSE(sameText(nullptr, u"x"));
}

TEST(StateStream, WritesAndReadsLittleEndian)
{
    MemoryStream stream;
    StateWriter writer(&stream);
    writer.writeUInt32(stateTag("QGai"));
    writer.writeInt32(-2);
    writer.writeDouble(1.5);
    ASSERT_TRUE(writer.ok());
    const std::vector<uint8> expected = {'Q',  'G',  'a',  'i',  0xFE, 0xFF, 0xFF, 0xFF,
                                         0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xF8, 0x3F};
    EXPECT_EQ(stream.bytes, expected);

    StateReader reader(&stream);
    EXPECT_EQ(reader.readUInt32(), stateTag("QGai"));
    EXPECT_EQ(reader.readInt32(), -2);
    EXPECT_EQ(reader.readDouble(), 1.5);
    EXPECT_TRUE(reader.ok());
}

TEST(StateStream, AShortStreamFailsTheReaderForGood)
{
    MemoryStream stream({1, 0, 0, 0, 2, 0});
    StateReader reader(&stream);
    EXPECT_EQ(reader.readInt32(), 1);
    EXPECT_TRUE(reader.ok());
    EXPECT_EQ(reader.readInt32(), 0); // two bytes were left
    EXPECT_FALSE(reader.ok());
    EXPECT_EQ(reader.readInt32(), 0);
    EXPECT_FALSE(reader.ok());

    StateReader none(nullptr);
    EXPECT_EQ(none.readDouble(), 0.0);
    EXPECT_FALSE(none.ok());

    // A writer stops at the first short write.
    MemoryStream full({}, 6);
    StateWriter writer(&full);
    writer.writeInt32(1);
    writer.writeInt32(2);
    writer.writeInt32(3);
    EXPECT_FALSE(writer.ok());
    EXPECT_EQ(full.bytes.size(), 6u);
    EXPECT_FALSE(StateWriter(nullptr).ok());
}

TEST(ParameterSpec, MapsContinuousAndSteppedValues)
{
    EXPECT_DOUBLE_EQ(kLevel.toPlain(0.0), -48.0);
    EXPECT_DOUBLE_EQ(kLevel.toPlain(0.5), -18.0);
    EXPECT_DOUBLE_EQ(kLevel.toNormalized(-6.0), 0.7);
    EXPECT_DOUBLE_EQ(kLevel.toNormalized(100.0), 1.0);
    EXPECT_DOUBLE_EQ(kLevel.toPlain(-3.0), -48.0);
    EXPECT_DOUBLE_EQ(kLevel.toPlain(std::nan("")), -48.0);
    EXPECT_DOUBLE_EQ(kLevel.defaultNormalized(), 0.7);

    // Three steps own a third of the range each.
    EXPECT_EQ(kMode.stepOf(0.0), 0);
    EXPECT_EQ(kMode.stepOf(0.33), 0);
    EXPECT_EQ(kMode.stepOf(0.34), 1);
    EXPECT_EQ(kMode.stepOf(0.66), 1);
    EXPECT_EQ(kMode.stepOf(0.67), 2);
    EXPECT_EQ(kMode.stepOf(1.0), 2);
    EXPECT_DOUBLE_EQ(kMode.toPlain(0.5), 1.0);
    EXPECT_DOUBLE_EQ(kMode.toNormalized(1.4), 0.5); // to the nearest step
    for (int step = 0; step <= 2; ++step)
        EXPECT_DOUBLE_EQ(kMode.toPlain(kMode.toNormalized(step)), step);
    constexpr ParameterSpec flat{.minPlain = 3.0, .maxPlain = 3.0};
    EXPECT_EQ(flat.toNormalized(3.0), 0.0);
}

TEST(ParameterSpec, FormatsAndParsesTexts)
{
    String128 string;
    formatParameter(kLevel, kLevel.toNormalized(-6.04), string);
    EXPECT_EQ(text(string), u"-6.0");
    formatParameter(kLevel, kLevel.toNormalized(-0.01), string);
    EXPECT_EQ(text(string), u"0.0"); // no minus sign on a value shown as zero
    formatParameter(kMode, 0.9, string);
    EXPECT_EQ(text(string), u"Hard");

    ParamValue value = -1.0;
    EXPECT_TRUE(parseParameter(kLevel, u"-6", value));
    EXPECT_DOUBLE_EQ(value, 0.7);
    EXPECT_TRUE(parseParameter(kLevel, u"12.0 dB", value));
    EXPECT_DOUBLE_EQ(value, 1.0);
    EXPECT_TRUE(parseParameter(kLevel, u"-500", value)); // clamped
    EXPECT_DOUBLE_EQ(value, 0.0);
    value = -1.0;
    EXPECT_FALSE(parseParameter(kLevel, u"", value));
    EXPECT_FALSE(parseParameter(kLevel, u"6 Hz", value));
    EXPECT_FALSE(parseParameter(kLevel, u"\u00B16", value));
    EXPECT_FALSE(parseParameter(kLevel, u"inf", value));
    EXPECT_FALSE(parseParameter(kLevel, nullptr, value));
    EXPECT_EQ(value, -1.0);
    EXPECT_TRUE(parseParameter(kMode, u"Medium", value));
    EXPECT_DOUBLE_EQ(value, 0.5);
    EXPECT_FALSE(parseParameter(kMode, u"medium", value));
}

TEST(ParameterList, HoldsClampedValuesAndFillsRecords)
{
    ParameterList list(kTable);
    EXPECT_EQ(list.count(), 2);
    EXPECT_DOUBLE_EQ(list.get(7), 0.7);
    EXPECT_DOUBLE_EQ(list.get(9), 0.5);
    EXPECT_EQ(list.get(8), 0.0);
    EXPECT_EQ(list.find(8), nullptr);
    EXPECT_EQ(list.find(9), &kTable[1]);

    EXPECT_TRUE(list.set(7, 1.7));
    EXPECT_EQ(list.get(7), 1.0);
    EXPECT_TRUE(list.set(7, -0.2));
    EXPECT_EQ(list.get(7), 0.0);
    EXPECT_FALSE(list.set(8, 0.5));
    list.resetToDefaults();
    EXPECT_DOUBLE_EQ(list.get(7), 0.7);

    ParameterInfo info;
    std::memset(&info, 0xCD, sizeof info);
    ASSERT_EQ(list.info(0, info), kResultOk);
    EXPECT_EQ(info.id, 7u);
    EXPECT_EQ(text(info.title), u"Level");
    EXPECT_EQ(text(info.shortTitle), u"Lvl");
    EXPECT_EQ(text(info.units), u"dB");
    EXPECT_EQ(info.stepCount, 0);
    EXPECT_DOUBLE_EQ(info.defaultNormalizedValue, 0.7);
    EXPECT_EQ(info.unitId, 2);
    EXPECT_EQ(info.flags, ParameterInfo::kCanAutomate);
    EXPECT_EQ(info.title[127], 0);
    EXPECT_EQ(info.units[100], 0);
    EXPECT_EQ(list.info(2, info), kInvalidArgument);
    EXPECT_EQ(list.info(-1, info), kInvalidArgument);
    EXPECT_EQ(ParameterList().count(), 0);
}

namespace
{

constexpr UnitSpec kUnits[] = {
    {.id = 0, .parentId = -1, .name = u"Root"},
    {.id = 3, .parentId = 0, .name = u"Drums", .programListId = 5},
};
constexpr ProgramSpec kKits[] = {{.name = u"Dry", .instrument = u"Drum Kit"}, {.name = u"Wet"}};

const char16* drumNames(int32 program, int16 pitch)
{
    return pitch == 36 ? (program == 0 ? u"Kick" : u"Wet Kick") : nullptr;
}

constexpr ProgramListSpec kLists[] = {
    {.id = 5, .name = u"Kits", .programs = kKits, .pitchNames = drumNames},
    {.id = 6, .name = u"Empty"},
};

} // namespace

TEST(UnitTable, AnswersUnitsProgramsAndPitchNames)
{
    UnitTable table(kUnits, kLists);
    ASSERT_EQ(table.unitCount(), 2);
    UnitInfo unit;
    std::memset(&unit, 0xEE, sizeof unit);
    ASSERT_EQ(table.unitInfo(1, unit), kResultOk);
    EXPECT_EQ(unit.id, 3);
    EXPECT_EQ(unit.parentUnitId, 0);
    EXPECT_EQ(text(unit.name), u"Drums");
    EXPECT_EQ(unit.name[127], 0);
    EXPECT_EQ(unit.programListId, 5);
    EXPECT_EQ(table.unitInfo(2, unit), kInvalidArgument);

    ProgramListInfo list;
    ASSERT_EQ(table.programListInfo(1, list), kResultOk);
    EXPECT_EQ(list.id, 6);
    EXPECT_EQ(list.programCount, 0);
    ASSERT_EQ(table.programListInfo(0, list), kResultOk);
    EXPECT_EQ(list.programCount, 2);

    String128 name;
    ASSERT_EQ(table.programName(5, 1, name), kResultOk);
    EXPECT_EQ(text(name), u"Wet");
    EXPECT_EQ(table.programName(5, 2, name), kResultFalse);
    EXPECT_EQ(table.programName(7, 0, name), kResultFalse);
    ASSERT_EQ(table.programInfo(5, 0, kMusicalInstrumentAttribute, name), kResultOk);
    EXPECT_EQ(text(name), u"Drum Kit");
    EXPECT_EQ(table.programInfo(5, 1, kMusicalInstrumentAttribute, name), kResultFalse);
    EXPECT_EQ(table.programInfo(5, 0, "Style", name), kResultFalse);

    EXPECT_EQ(table.hasPitchNames(5, 1), kResultOk);
    EXPECT_EQ(table.hasPitchNames(5, 2), kResultFalse);
    EXPECT_EQ(table.hasPitchNames(6, 0), kResultFalse);
    ASSERT_EQ(table.pitchName(5, 1, 36, name), kResultOk);
    EXPECT_EQ(text(name), u"Wet Kick");
    EXPECT_EQ(table.pitchName(5, 1, 37, name), kResultFalse);
    EXPECT_EQ(table.pitchName(5, 1, -1, name), kResultFalse);

    EXPECT_EQ(table.selectedUnit(), kRootUnitId);
    EXPECT_EQ(table.selectUnit(3), kResultOk);
    EXPECT_EQ(table.selectedUnit(), 3);
    EXPECT_EQ(table.selectUnit(1), kResultFalse);
    EXPECT_EQ(table.selectedUnit(), 3);
}

TEST(BusList, CountsPerKindAndDirectionAndKeepsRecordsStable)
{
    BusList busses;
    busses.addAudio(kInput, u"Main In", SpeakerArr::kStereo);
    busses.addEvent(kInput, u"Notes", 16);
    busses.addAudio(kInput, u"Side Chain", SpeakerArr::kMono, kAux, 0);
    busses.addAudio(kOutput, u"Main Out", SpeakerArr::kStereo);
    EXPECT_EQ(busses.count(kAudio, kInput), 2);
    EXPECT_EQ(busses.count(kAudio, kOutput), 1);
    EXPECT_EQ(busses.count(kEvent, kInput), 1);
    EXPECT_EQ(busses.count(kEvent, kOutput), 0);

    // The index counts within kind and direction: audio input 1 is the side chain.
    BusInfo first, second;
    std::memset(&first, 0x11, sizeof first);
    std::memset(&second, 0x22, sizeof second);
    ASSERT_EQ(busses.info(kAudio, kInput, 1, first), kResultOk);
    ASSERT_EQ(busses.info(kAudio, kInput, 1, second), kResultOk);
    EXPECT_EQ(std::memcmp(&first, &second, sizeof first), 0);
    EXPECT_EQ(text(first.name), u"Side Chain");
    EXPECT_EQ(first.channelCount, 1);
    EXPECT_EQ(first.busType, kAux);
    EXPECT_EQ(first.flags, 0u);
    ASSERT_EQ(busses.info(kEvent, kInput, 0, first), kResultOk);
    EXPECT_EQ(first.channelCount, 16);
    EXPECT_EQ(first.flags, BusInfo::kDefaultActive);
    EXPECT_EQ(busses.info(kAudio, kOutput, 1, first), kInvalidArgument);
    EXPECT_EQ(busses.info(kAudio, kOutput, -1, first), kInvalidArgument);

    EXPECT_TRUE(busses.isActive(kAudio, kInput, 0));
    EXPECT_FALSE(busses.isActive(kAudio, kInput, 1));
    EXPECT_EQ(busses.activate(kAudio, kInput, 1, true), kResultOk);
    EXPECT_TRUE(busses.isActive(kAudio, kInput, 1));
    EXPECT_EQ(busses.activate(kEvent, kOutput, 0, true), kInvalidArgument);

    SpeakerArrangement arrangement = 0;
    EXPECT_EQ(busses.arrangement(kOutput, 0, arrangement), kResultOk);
    EXPECT_EQ(arrangement, SpeakerArr::kStereo);
    ASSERT_EQ(busses.setArrangement(kOutput, 0, 0x3F), kResultOk); // 5.1
    ASSERT_EQ(busses.info(kAudio, kOutput, 0, first), kResultOk);
    EXPECT_EQ(first.channelCount, 6);
    EXPECT_EQ(busses.setArrangement(kOutput, 1, 0x3), kInvalidArgument);
    EXPECT_EQ(busses.arrangement(kInput, 2, arrangement), kInvalidArgument);
}
