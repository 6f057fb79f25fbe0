#include "presets/presetfile.h"

#include "presets/presettestsupport.h"
#include "presets/readonlybstream.h"
#include "qel3ext/iprogramdata.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kGainText = "03613F70028A2E002337D42CBAA5C897";

struct Opened
{
    explicit Opened(const std::string& bytes) : stream(streamOf(bytes)), file(stream) {}
    ~Opened() { stream->release(); }
    FMemoryStream* stream;
    PresetFile file;
};

std::string idOf(const PresetFile::Entry& entry)
{
    return std::string(entry.id, 4);
}

// Takes program data and remembers what arrived, as a plug-in with program lists would.
class ProgramSink : public IProgramListData
{
public:
    tresult programDataSupported(ProgramListID) override { return kResultOk; }
    tresult getProgramData(ProgramListID, int32, IBStream* data) override
    {
        return data->write(const_cast<char*>("PROGRAM"), 7) == kResultOk ? kResultOk : kResultFalse;
    }
    tresult setProgramData(ProgramListID listId, int32 programIndex, IBStream* data) override
    {
        calls++;
        receivedList = listId;
        receivedIndex = programIndex;
        char buffer[64];
        int32 got = 0;
        data->read(buffer, sizeof(buffer), &got);
        received.assign(buffer, size_t(got));
        return kResultOk;
    }
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

    int calls = 0;
    int32 receivedList = -2;
    int32 receivedIndex = -2;
    std::string received;
};

// Exposes the chunk bookkeeping, to fill the list up to its limit.
class ChunkWriter : public PresetFile
{
public:
    using PresetFile::PresetFile;
    bool writeChunk(ChunkType type, const std::string& data)
    {
        Entry entry{};
        if (!beginChunk(entry, type))
            return false;
        int32 written = 0;
        stream->write(const_cast<char*>(data.data()), int32(data.size()), &written);
        return endChunk(entry);
    }
};

} // namespace

TEST(PresetFileReading, AWellFormedFileGivesClassAndChunksInListOrder)
{
    Opened opened(handPreset(kGainText, {{"Comp", "abcd"}, {"Cont", "xy"}, {"Info", "<x/>"}}));
    ASSERT_TRUE(opened.file.readChunkList());
    EXPECT_EQ(opened.file.getClassID().toString(), kGainText);
    ASSERT_EQ(opened.file.getEntryCount(), 3);
    EXPECT_EQ(idOf(opened.file.at(0)), "Comp");
    EXPECT_EQ(opened.file.at(0).offset, 48);
    EXPECT_EQ(opened.file.at(0).size, 4);
    EXPECT_EQ(idOf(opened.file.at(1)), "Cont");
    EXPECT_EQ(opened.file.at(1).offset, 52);
    EXPECT_EQ(opened.file.at(2).offset, 54);
    EXPECT_EQ(opened.file.getEntry(kMetaInfo), &opened.file.at(2));
    EXPECT_EQ(opened.file.getEntry(kProgramData), nullptr);
}

TEST(PresetFileReading, DamagedFilesReadAsFilesWithoutChunks)
{
    std::string good = handPreset(kGainText, {{"Comp", "abcd"}, {"Cont", "xy"}});

    std::string foreign = good;
    foreign.replace(0, 4, "RIFF");
    std::string zeroOffset = good;
    zeroOffset.replace(40, 8, std::string(8, '\0'));
    std::string offsetPastEnd = good;
    offsetPastEnd.replace(40, 8, std::string("\xff\xff\x00\x00\x00\x00\x00\x00", 8));
    std::string noListTag = good;
    noListTag.replace(good.size() - 48, 4, "Lost"); // the list: 8 bytes, then 2 x 20
    std::string headerOnly = good.substr(0, 30);

    for (const std::string* bytes :
         {&foreign, &zeroOffset, &offsetPastEnd, &noListTag, &headerOnly})
    {
        Opened opened(*bytes);
        EXPECT_FALSE(opened.file.readChunkList());
        EXPECT_EQ(opened.file.getEntryCount(), 0);
        EXPECT_FALSE(opened.file.contains(kComponentState));
    }
}

TEST(PresetFileReading, AListCutShortKeepsTheEntriesReadWhole)
{
    std::string bytes = handPreset(kGainText, {{"Comp", "abcd"}, {"Cont", "xy"}, {"Info", "i"}});
    // The third entry loses its last byte, the second stays whole.
    Opened opened(bytes.substr(0, bytes.size() - 1));
    opened.file.readChunkList();
    ASSERT_EQ(opened.file.getEntryCount(), 2);
    EXPECT_EQ(idOf(opened.file.at(1)), "Cont");
    EXPECT_FALSE(opened.file.contains(kMetaInfo));
}

TEST(PresetFileReading, ACountBeyondTheLimitIsCutTo128)
{
    std::vector<HandChunk> chunks;
    for (int i = 0; i < 200; ++i)
        chunks.push_back({"Comp", std::string(1, char('a' + i % 26))});
    Opened opened(handPreset(kGainText, chunks));
    opened.file.readChunkList();
    EXPECT_EQ(opened.file.getEntryCount(), PresetFile::kMaxEntries);
    EXPECT_EQ(opened.file.at(127).offset, 48 + 127);

    // A list that claims more than it holds keeps what is there.
    Opened lying(handPreset(kGainText, {{"Comp", "a"}, {"Cont", "b"}}, 1000));
    lying.file.readChunkList();
    EXPECT_EQ(lying.file.getEntryCount(), 2);
}

TEST(PresetFileWriting, HeaderListAndMetaInfoHaveTheirExactLayout)
{
    FMemoryStream* stream = new FMemoryStream;
    {
        PresetFile file(stream);
        FUID cid;
        ASSERT_TRUE(cid.fromString(kGainText.c_str()));
        file.setClassID(cid);
        ASSERT_TRUE(file.writeHeader());
        ASSERT_TRUE(file.writeMetaInfo("<MetaInfo/>"));
        ASSERT_TRUE(file.writeChunkList());
    }
    std::string bytes = contentOf(stream);
    stream->release();

    ASSERT_EQ(bytes.size(), 48u + 11u + 8u + 20u);
    EXPECT_EQ(bytes.substr(0, 4), "QEL3");
    EXPECT_EQ(getLE32(bytes, 4), 1u);
    EXPECT_EQ(bytes.substr(8, 32), kGainText);
    EXPECT_EQ(getLE64(bytes, 40), 59u); // the list follows the 11 bytes of "Info"
    EXPECT_EQ(bytes.substr(48, 11), "<MetaInfo/>");
    EXPECT_EQ(bytes.substr(59, 4), "List");
    EXPECT_EQ(getLE32(bytes, 63), 1u);
    EXPECT_EQ(bytes.substr(67, 4), "Info");
    EXPECT_EQ(getLE64(bytes, 71), 48u);
    EXPECT_EQ(getLE64(bytes, 79), 11u);
}

TEST(PresetFileWriting, The129thChunkIsNotWritten)
{
    FMemoryStream* stream = new FMemoryStream;
    ChunkWriter writer(stream);
    stream->release();
    ASSERT_TRUE(writer.writeHeader());
    for (int i = 0; i < PresetFile::kMaxEntries; ++i)
        ASSERT_TRUE(writer.writeChunk(kComponentState, "z"));
    EXPECT_FALSE(writer.writeChunk(kControllerState, "z"));
    EXPECT_FALSE(writer.writeMetaInfo("<MetaInfo/>"));
    EXPECT_EQ(writer.getEntryCount(), PresetFile::kMaxEntries);
}

TEST(PresetFileMetaInfo, AnExistingInfoChunkStaysWithoutForce)
{
    Opened opened(handPreset(kGainText, {{"Comp", "abcd"}, {"Info", "old"}}));
    ASSERT_TRUE(opened.file.readChunkList());
    std::string before = contentOf(opened.stream);
    EXPECT_FALSE(opened.file.writeMetaInfo("new"));
    EXPECT_EQ(contentOf(opened.stream), before);

    EXPECT_TRUE(opened.file.writeMetaInfo("newer", -1, true));
    ASSERT_TRUE(opened.file.writeChunkList());
    int32 size = 0;
    ASSERT_TRUE(opened.file.readMetaInfo(nullptr, size));
    EXPECT_EQ(size, 5);
    char buffer[16] = {};
    ASSERT_TRUE(opened.file.readMetaInfo(buffer, size));
    EXPECT_EQ(std::string(buffer, size_t(size)), "newer");
    // The replacement took the old chunk's place, so component data did not move.
    EXPECT_EQ(opened.file.getEntry(kMetaInfo)->offset, 52);
    EXPECT_EQ(opened.file.getEntry(kComponentState)->offset, 48);
}

TEST(PresetFileMetaInfo, AnInfoChunkThatIsNotLastStopsTheUpdate)
{
    Opened opened(handPreset(kGainText, {{"Info", "old"}, {"Comp", "abcd"}}));
    ASSERT_TRUE(opened.file.readChunkList());
    EXPECT_FALSE(opened.file.prepareMetaInfoUpdate());
    EXPECT_FALSE(opened.file.writeMetaInfo("new", -1, true));
    EXPECT_EQ(opened.file.getEntryCount(), 2);
}

TEST(PresetFileMetaInfo, WithoutInfoTheNewChunkFollowsTheLastOne)
{
    Opened opened(handPreset(kGainText, {{"Comp", "abcd"}, {"Cont", "xyz"}}));
    ASSERT_TRUE(opened.file.readChunkList());
    ASSERT_TRUE(opened.file.prepareMetaInfoUpdate());
    int64 position = -1;
    opened.stream->tell(&position);
    EXPECT_EQ(position, 48 + 4 + 3);

    Opened empty(handPreset(kGainText, {}));
    ASSERT_TRUE(empty.file.readChunkList());
    ASSERT_TRUE(empty.file.prepareMetaInfoUpdate());
    empty.stream->tell(&position);
    EXPECT_EQ(position, 48);
}

TEST(PresetFileProgramData, TheListIdMustMatchAndThePlugInSeesOnlyTheData)
{
    std::string prog;
    putLE32(prog, 7);
    prog += "PROGRAM";
    std::string bytes = handPreset(kGainText, {{"Comp", "abcd"}, {"Prog", prog}});

    Opened mismatch(bytes);
    mismatch.file.readChunkList();
    ProgramSink sink;
    EXPECT_FALSE(mismatch.file.restoreProgramData(&sink, 8));
    EXPECT_EQ(sink.calls, 0);

    Opened match(bytes);
    match.file.readChunkList();
    EXPECT_TRUE(match.file.restoreProgramData(&sink, 7));
    EXPECT_EQ(sink.receivedList, 7);
    EXPECT_EQ(sink.receivedIndex, 0);
    EXPECT_EQ(sink.received, "PROGRAM");

    Opened none(handPreset(kGainText, {{"Comp", "abcd"}}));
    none.file.readChunkList();
    EXPECT_FALSE(none.file.restoreProgramData(&sink));
}

TEST(PresetFileProgramData, StoredProgramDataReadsBack)
{
    FMemoryStream* stream = new FMemoryStream;
    ProgramSink sink;
    {
        PresetFile file(stream);
        ASSERT_TRUE(file.writeHeader());
        ASSERT_TRUE(file.storeProgramData(&sink, 3));
        EXPECT_FALSE(file.storeProgramData(&sink, 3)); // one "Prog" per file
        ASSERT_TRUE(file.writeChunkList());
    }
    PresetFile again(stream);
    stream->release();
    ASSERT_TRUE(again.readChunkList());
    ASSERT_TRUE(again.contains(kProgramData));
    EXPECT_EQ(again.getEntry(kProgramData)->size, 4 + 7);
    EXPECT_TRUE(again.restoreProgramData(&sink, 3));
    EXPECT_EQ(sink.received, "PROGRAM");
}

TEST(ReadOnlyWindow, ReadsOnlyItsPartAndClampsSeeks)
{
    FMemoryStream* source = streamOf("0123456789");
    ReadOnlyBStream* window = new ReadOnlyBStream(source, 3, 4);
    source->release();

    char buffer[16] = {};
    int32 got = 0;
    EXPECT_EQ(window->read(buffer, 16, &got), kResultOk);
    EXPECT_EQ(std::string(buffer, size_t(got)), "3456");
    EXPECT_EQ(window->read(buffer, 16, &got), kResultOk);
    EXPECT_EQ(got, 0);

    int64 position = -1;
    EXPECT_EQ(window->seek(100, IBStream::kIBSeekSet, &position), kResultOk);
    EXPECT_EQ(position, 4);
    EXPECT_EQ(window->seek(-100, IBStream::kIBSeekCur, &position), kResultOk);
    EXPECT_EQ(position, 0);
    EXPECT_EQ(window->seek(-1, IBStream::kIBSeekEnd, &position), kResultOk);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(window->read(buffer, 16, &got), kResultOk);
    EXPECT_EQ(std::string(buffer, size_t(got)), "6");

    int32 written = -1;
    EXPECT_EQ(window->write(buffer, 1, &written), kNotImplemented);
    EXPECT_EQ(written, 0);
    window->release();

    ReadOnlyBStream* orphan = new ReadOnlyBStream(nullptr, 0, 10);
    EXPECT_EQ(orphan->read(buffer, 1, &got), ReadOnlyBStream::kInternalError);
    orphan->release();
}

TEST(PresetFileMetaInfo, AnInfoChunkClaimingMoreThanTheFileHasReadsAsNone)
{
    std::string bytes = handPreset(kGainText, {{"Comp", "abcd"}, {"Info", "<MetaInfo/>"}});
    // The size of the second entry, behind "List", the count, the first entry, id and offset.
    size_t sizeField = size_t(getLE64(bytes, 40)) + 8 + 20 + 4 + 8;
    bytes.replace(sizeField, 8, std::string("\x00\x00\x00\x70\x00\x00\x00\x00", 8));
    Opened opened(bytes);
    ASSERT_TRUE(opened.file.readChunkList());
    int32 size = -1;
    EXPECT_FALSE(opened.file.readMetaInfo(nullptr, size));
    EXPECT_EQ(size, 0);
    EXPECT_FALSE(opened.file.isInside(*opened.file.getEntry(kMetaInfo)));
    EXPECT_TRUE(opened.file.isInside(*opened.file.getEntry(kComponentState)));
}

TEST(PresetFileReading, OffsetsNearTheLimitsOfInt64DoNotOverflow)
{
    // Found by fuzzing: sums of offset and size beyond int64 in a damaged list.
    std::string bytes = handPreset(kGainText, {{"Comp", "abcd"}, {"Cont", "xy"}});
    size_t list = size_t(getLE64(bytes, 40)) + 8;
    std::string huge("\xf0\xff\xff\xff\xff\xff\xff\x7f", 8);
    bytes.replace(list + 4, 8, huge);       // first offset
    bytes.replace(list + 12, 8, huge);      // first size
    bytes.replace(list + 20 + 12, 8, huge); // second size
    Opened opened(bytes);
    ASSERT_TRUE(opened.file.readChunkList());
    EXPECT_FALSE(opened.file.prepareMetaInfoUpdate());
    EXPECT_FALSE(opened.file.writeMetaInfo("<MetaInfo/>"));

    FMemoryStream* source = streamOf("0123456789");
    ReadOnlyBStream* window = new ReadOnlyBStream(source, INT64_MAX - 2, 100);
    source->release();
    char buffer[8];
    int32 got = -1;
    window->seek(50, IBStream::kIBSeekSet);
    EXPECT_NE(window->read(buffer, 8, &got), kResultOk);
    EXPECT_EQ(got, 0);
    int64 position = 0;
    EXPECT_EQ(window->seek(INT64_MAX, IBStream::kIBSeekCur, &position), kResultOk);
    EXPECT_EQ(position, 100);
    EXPECT_EQ(window->seek(INT64_MIN, IBStream::kIBSeekEnd, &position), kResultOk);
    EXPECT_EQ(position, 0);
    window->release();
}
