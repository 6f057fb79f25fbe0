#include "audiofile/aifffilehandler.h"
#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiotestsupport.h"
#include "base/optimaudio/audiokernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>

using namespace Quillmark;
using namespace Quillmark::testing;
namespace Keys = Quillmark::AudioKeys;

namespace
{

struct Release
{
    void operator()(FObject* object) const { object->release(); }
};
using OwnedFile = std::unique_ptr<AudioFile, Release>;

OwnedFile openFile(const std::string& path)
{
    auto* file = new AudioFile;
    file->setRepairOnRead(false);
    file->setPath(path);
    file->ensureHeader();
    return OwnedFile(file);
}

std::vector<float> readAllFloats(AudioFile& file)
{
    std::unique_ptr<AudioAccessor, Release> accessor(file.createAccessor());
    if (!accessor)
        return {};
    accessor->setSampleFormat(AudioConverter::kFloat);
    accessor->setSampleSize(32);
    std::vector<float> all, block(size_t(500 * accessor->getChannelCount()));
    for (int64 got; (got = accessor->read(500, block.data())) > 0;)
        all.insert(all.end(), block.begin(), block.begin() + got * accessor->getChannelCount());
    return all;
}

/** Big-endian chunks for hand-made AIFF files. */
struct BigChunks
{
    std::vector<uint8> bytes;
    BigChunks& tag(const char* t)
    {
        bytes.insert(bytes.end(), t, t + 4);
        return *this;
    }
    BigChunks& u32(uint32 v)
    {
        for (int i = 3; i >= 0; --i)
            bytes.push_back(uint8(v >> (8 * i)));
        return *this;
    }
    BigChunks& u16(uint32 v)
    {
        bytes.push_back(uint8(v >> 8));
        bytes.push_back(uint8(v));
        return *this;
    }
    BigChunks& raw(const std::vector<uint8>& more)
    {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    BigChunks& text(const std::string& t)
    {
        bytes.insert(bytes.end(), t.begin(), t.end());
        return *this;
    }
    BigChunks& comm(uint16 channels, uint32 frames, uint16 bits, double rate,
                    const char* compression = nullptr)
    {
        uint8 extended[10];
        AIFFFileHandler::writeExtended(rate, extended);
        tag("COMM").u32(compression ? 24 : 18).u16(channels).u32(frames).u16(bits);
        bytes.insert(bytes.end(), extended, extended + 10);
        if (compression)
            tag(compression).u16(0); // an empty name and its pad byte
        return *this;
    }
    std::vector<uint8> done()
    {
        std::vector<uint8> result = bytes;
        ByteIO::putBE32(result.data() + 4, uint32(result.size() - 8));
        return result;
    }
};

class AiffFiles : public ::testing::Test
{
protected:
    void SetUp() override { installAudioKernels(); }
    std::string sox(const std::string& name, const std::string& options)
    {
        std::string path = temp.file(name);
        EXPECT_EQ(0, runTool(std::string(SOX_PROGRAM) + " -D -n " + options + " " +
                             shellQuoted(path) + " synth 0.05 sine 440 sine 3000 vol 0.8"));
        return path;
    }
    std::vector<float> soxFloats(const std::string& path)
    {
        std::string raw = temp.file("ref.raw");
        EXPECT_EQ(0, runTool(std::string(SOX_PROGRAM) + " " + shellQuoted(path) +
                             " -t raw -e floating-point -b 32 -L " + shellQuoted(raw)));
        auto bytes = readBytes(raw);
        std::vector<float> floats(bytes.size() / 4);
        std::memcpy(floats.data(), bytes.data(), floats.size() * 4);
        return floats;
    }
    AudioTempFolder temp;
};

TEST_F(AiffFiles, ReadWhatSoxWritesSampleForSample)
{
    struct Case
    {
        const char* name;
        const char* options;
        int64 bits, format, byteOrder;
        const char* type;
    } cases[] = {
        {"a16.aiff", "-r 44100 -c 2 -b 16", 16, 1, 1, "AIFF File"},
        {"a24.aif", "-r 48000 -c 1 -b 24", 24, 1, 1, "AIFF File"},
        {"a8.aiff", "-r 22050 -c 1 -b 8", 8, 1, 1, "AIFF File"},
        {"f32.aifc", "-r 96000 -c 2 -b 32 -e floating-point", 32, 2, 1, "AIFC File"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        auto path = sox(c.name, c.options);
        auto file = openFile(path);
        ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
        EXPECT_EQ(c.bits, file->getSampleSize());
        EXPECT_EQ(c.format, file->getSampleFormat());
        EXPECT_EQ(c.byteOrder, file->getByteOrder());
        String type;
        EXPECT_TRUE(file->getAttributes().getString(Keys::kFileType, type));
        EXPECT_EQ(c.type, type.toUtf8());
        EXPECT_EQ(soxFloats(path), readAllFloats(*file));
    }
}

TEST_F(AiffFiles, ReadHandMadeFilesWithOddChunksMarkersLoopsAndCompression)
{
    // sowt: little-endian 16 bits; an odd chunk without its pad byte before the sound data; a
    // marker list whose names need the pad byte; loops that point at the markers.
    BigChunks b;
    b.tag("FORM").u32(0).tag("AIFC").comm(1, 4, 16, 44100, "sowt");
    b.tag("NAME").u32(3).text("odd"); // no pad byte follows
    b.tag("MARK").u32(2 + 4 * 8).u16(4);
    for (uint16 id = 1; id <= 4; ++id)
        b.u16(id).u32(id * 10u).bytes.push_back(0), b.bytes.push_back(0); // empty, padded
    b.tag("INST").u32(20).u32(0).u32(0).u16(1).u16(1).u16(2).u16(1).u16(3).u16(4);
    b.tag("SSND").u32(8 + 8).u32(0).u32(0).raw({0x01, 0x00, 0xFF, 0xFF, 0x00, 0x80, 0xFF, 0x7F});
    auto path = temp.file("handmade.aifc");
    writeBytes(path, b.done());
    auto file = openFile(path);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ(0, file->getByteOrder());
    EXPECT_EQ(4, file->getFrameCount());
    EXPECT_EQ((std::vector<float>{1.f / 32768, -1.f / 32768, -1.f, 32767.f / 32768}),
              readAllFloats(*file));
    EXPECT_EQ((std::vector<std::pair<int64, int64>>{{10, 20}, {30, 40}}), file->getMarkerPairs());
}

TEST_F(AiffFiles, TrustTheFamilySignatureAndRefuseUnknownCompression)
{
    BigChunks b;
    b.tag("FORM").u32(0).tag("AIFF").comm(1, 1, 32, 48000);
    b.tag("APPL").u32(4).tag("CQel");
    b.tag("SSND").u32(12).u32(0).u32(0).raw({0x3F, 0x00, 0x00, 0x00}); // 0.5 as a float
    auto path = temp.file("family.aiff");
    writeBytes(path, b.done());
    auto file = openFile(path);
    EXPECT_EQ(AudioConverter::kFloat, file->getSampleFormat());
    EXPECT_EQ((std::vector<float>{0.5f}), readAllFloats(*file));

    BigChunks in24;
    in24.tag("FORM").u32(0).tag("AIFC").comm(1, 2, 24, 44100, "in24");
    in24.tag("SSND").u32(14).u32(0).u32(0).raw({0x40, 0, 0, 0xC0, 0, 0});
    auto path24 = temp.file("in24.aifc");
    writeBytes(path24, in24.done());
    auto file24 = openFile(path24);
    EXPECT_EQ(24, file24->getSampleSize());
    EXPECT_EQ(3, file24->getFrameSize());
    EXPECT_EQ((std::vector<float>{0.5f, -0.5f}), readAllFloats(*file24));

    BigChunks ima;
    ima.tag("FORM").u32(0).tag("AIFC").comm(1, 64, 16, 44100, "ima4");
    ima.tag("SSND").u32(8 + 34).u32(0).u32(0).raw(std::vector<uint8>(34, 0));
    auto pathIma = temp.file("ima.aifc");
    writeBytes(pathIma, ima.done());
    auto refused = openFile(pathIma);
    EXPECT_EQ(AudioFile::kStatusUnreadable, refused->getFileStatus());
    ASSERT_FALSE(refused->getRepairs().empty());
    EXPECT_NE(std::string::npos, refused->getRepairs()[0].find("'ima4' is not supported"));
}

TEST_F(AiffFiles, ReadTheSlicesOfARexFile)
{
    BigChunks b;
    b.tag("FORM").u32(0).tag("AIFF").comm(1, 8, 16, 44100);
    b.tag("APPL").u32(4 + 12 + 8 + 996 + 2 * 12).tag("REX ").u32(0xD1D1D1DA).u16(999).u32(0).u16(2);
    b.u32(126500).u32(480);
    b.raw(std::vector<uint8>(996, 0));
    b.u32(0).u32(3).u32(0).u32(4).u32(7).u32(480);
    b.tag("SSND").u32(8 + 16).u32(0).u32(0).raw(std::vector<uint8>(16, 0));
    auto path = temp.file("loop.rex");
    writeBytes(path, b.done());
    auto file = openFile(path);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_TRUE(file->isReadOnly());
    double tempo = 0;
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kTempo, tempo));
    EXPECT_EQ(126.5, tempo);
    int64 ppq = 0;
    file->getAttributes().getInt(Keys::kPPQBase, ppq);
    EXPECT_EQ(480, ppq);
    FSubList* slices = file->getAttributes().getSubList(Keys::kREXSliceList);
    ASSERT_TRUE(slices);
    ASSERT_EQ(2, slices->count());
    int64 start = -1, end = -1, ref = -1;
    slices->at(1)->getInt(Keys::kMarkerStart, start);
    slices->at(1)->getInt(Keys::kMarkerEnd, end);
    slices->at(1)->getInt(Keys::kMarkerRefTime, ref);
    EXPECT_EQ(4, start);
    EXPECT_EQ(7, end);
    EXPECT_EQ(480, ref);
    EXPECT_EQ(nullptr, file->openFile(kAudioModeReadWrite)) << "REX files are read only";
}

TEST_F(AiffFiles, WriteAiffAndFloatAifcThatLibsndfileReads)
{
    for (bool isFloat : {false, true})
    {
        SCOPED_TRACE(isFloat ? "float" : "16 bits");
        auto path = temp.file(isFloat ? "out.aifc" : "out.aiff");
        std::vector<float> written;
        {
            auto* file = new AudioFile(path);
            file->setDefaultAttributes();
            file->setChannelCount(2);
            file->setSampleFormat(isFloat ? 2 : 1);
            file->setSampleSize(isFloat ? 32 : 16);
            file->setSampleRate(44100);
            AudioAccessor accessor(*file, file->createFile());
            accessor.setSampleFormat(AudioConverter::kFloat);
            accessor.setSampleSize(32);
            for (int i = 0; i < 2 * 999; ++i)
                written.push_back(float(i % 200 - 100) / 128.f);
            EXPECT_EQ(999, accessor.write(999, written.data()));
            accessor.close();
            file->release();
        }
        std::string info;
        ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
        EXPECT_NE(std::string::npos, info.find("Frames      : 999")) << info;
        EXPECT_NE(std::string::npos, info.find(isFloat ? "fl32" : "Sample Size : 16")) << info;
        EXPECT_EQ(std::string::npos, info.find("***")) << info; // libsndfile's complaints
        auto back = openFile(path);
        EXPECT_EQ(written, readAllFloats(*back)); // exact in both: multiples of 2^-7
    }
}

TEST_F(AiffFiles, CarryBroadcastAndIXMLMetadata)
{
    auto path = temp.file("slate.aiff");
    {
        auto* file = new AudioFile(path);
        file->setDefaultAttributes();
        file->setChannelCount(1);
        FAttributes& a = file->getAttributes();
        a.setInt(Keys::kChunkBroadcast, 1);
        a.setString(Keys::kBWFDescription, "boom only");
        a.setInt(Keys::kChunkIXML, 1);
        a.setString("AudioScene", "44B");
        std::unique_ptr<AudioAccessStream> stream(file->createFile());
        ASSERT_TRUE(stream);
        std::vector<int16> samples(300, 0x0102);
        EXPECT_EQ(300, stream->write(300, samples.data()));
        stream.reset();
        file->release();
    }
    std::string info;
    ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
    EXPECT_NE(std::string::npos, info.find("Frames      : 300")) << info;
    auto file = openFile(path);
    String text;
    EXPECT_TRUE(file->getAttributes().getString(Keys::kBWFDescription, text));
    EXPECT_EQ("boom only", text.toUtf8());
    EXPECT_TRUE(file->getAttributes().getString("AudioScene", text));
    EXPECT_EQ("44B", text.toUtf8());
    EXPECT_EQ(300, file->getFrameCount());
    // Written again, the text goes into the room of the one before: no growth.
    ASSERT_TRUE(file->getHandler()->updateFile());
    const size_t size = readBytes(path).size();
    ASSERT_TRUE(file->getHandler()->updateFile());
    EXPECT_EQ(size, readBytes(path).size());
    auto again = openFile(path);
    EXPECT_TRUE(again->getAttributes().getString("AudioScene", text));
    EXPECT_EQ("44B", text.toUtf8());
    EXPECT_EQ(300, again->getFrameCount());
}

TEST_F(AiffFiles, WriteSlicesThatReadBack)
{
    auto path = temp.file("sliced.aiff");
    {
        auto* file = new AudioFile(path);
        file->setDefaultAttributes();
        FAttributes& a = file->getAttributes();
        a.setFloat(Keys::kTempo, 98.5);
        a.setFloat(Keys::kPPQBase, 480);
        FSubList* slices = a.setSubList(Keys::kREXSliceList);
        for (int64 i = 0; i < 3; ++i)
        {
            FAttrList* slice = slices->add();
            slice->setInt(Keys::kMarkerStart, i * 100);
            slice->setInt(Keys::kMarkerEnd, i * 100 + 99);
            slice->setInt(Keys::kMarkerRefTime, i * 480);
        }
        std::unique_ptr<AudioAccessStream> stream(file->createFile());
        ASSERT_TRUE(stream);
        // Raw frames go in the file's own byte order; 0x0707 reads the same either way.
        std::vector<int16> samples(300, 0x0707);
        EXPECT_EQ(300, stream->write(300, samples.data()));
        stream.reset();
        file->release();
    }
    EXPECT_EQ(0u, readBytes(path).size() % 2);
    auto file = openFile(path);
    EXPECT_EQ(300, file->getFrameCount());
    double tempo = 0;
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kTempo, tempo));
    EXPECT_EQ(98.5, tempo);
    FSubList* slices = file->getAttributes().getSubList(Keys::kREXSliceList);
    ASSERT_TRUE(slices);
    ASSERT_EQ(3, slices->count());
    int64 end = 0, ref = 0;
    slices->at(2)->getInt(Keys::kMarkerEnd, end);
    slices->at(2)->getInt(Keys::kMarkerRefTime, ref);
    EXPECT_EQ(299, end);
    EXPECT_EQ(960, ref);
    std::vector<float> samples = readAllFloats(*file);
    ASSERT_EQ(300u, samples.size());
    EXPECT_EQ(float(0x0707) / 32768, samples[299]);
}

TEST(AiffExtended, SampleRatesSurviveTheEightyBitForm)
{
    for (double rate : {8000.0, 22050.0, 44100.0, 48000.0, 96000.0, 44100.0 * 1000 / 1001})
    {
        uint8 bytes[10];
        AIFFFileHandler::writeExtended(rate, bytes);
        EXPECT_EQ(rate, AIFFFileHandler::readExtended(bytes));
    }
    const uint8 cd[10] = {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}; // 44100 as files store it
    EXPECT_EQ(44100.0, AIFFFileHandler::readExtended(cd));
}

} // namespace

namespace
{

/** Writes a mono 16-bit AIFF of 1000 frames with the given loops (and the sustain loop also
    as the release loop when `sameTwice`). */
void writeLooped(const std::string& path, const std::vector<std::pair<int64, int64>>& loops,
                 bool sameTwice, int64 rootKey = -1)
{
    auto* file = new AudioFile(path);
    file->setDefaultAttributes();
    file->setChannelCount(1);
    if (rootKey >= 0)
        file->getAttributes().setInt(Keys::kRootKey, rootKey);
    file->setState(AudioFile::kFirstMarkerTwice, sameTwice);
    for (const auto& [start, end] : loops)
        file->addMarkerPair(start, end);
    std::unique_ptr<AudioAccessStream> stream(file->createFile());
    ASSERT_TRUE(stream);
    std::vector<int16> samples(1000, 0x0101);
    EXPECT_EQ(1000, stream->write(1000, samples.data()));
    stream.reset();
    file->release();
}

} // namespace

TEST_F(AiffFiles, WriteLoopsAsMarkersAndInstrumentLoopsThatReadBack)
{
    using Pairs = std::vector<std::pair<int64, int64>>;
    struct Case
    {
        const char* name;
        Pairs loops;
        bool sameTwice;
        Pairs expected;
        const char* release; // the release loop as libsndfile's sndfile-info prints it
    } cases[] = {
        {"one.aiff", {{100, 400}}, false, {{100, 400}}, "mode  : 800 => none"},
        {"two.aiff",
         {{100, 400}, {500, 900}},
         false,
         {{100, 400}, {500, 900}},
         "mode  : 801 => forward\n   begin : 3\n   end   : 4"},
        // The sustain loop that is the release loop too: stored once, read back twice.
        {"same.aiff",
         {{250, 750}},
         true,
         {{250, 750}, {250, 750}},
         "mode  : 801 => forward\n   begin : 1\n   end   : 2"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const std::string path = temp.file(c.name);
        writeLooped(path, c.loops, c.sameTwice, 64);
        EXPECT_EQ(0u, readBytes(path).size() % 2);
        auto file = openFile(path);
        EXPECT_EQ(1000, file->getFrameCount());
        EXPECT_EQ(c.expected, file->getMarkerPairs());
        EXPECT_EQ(c.sameTwice, file->hasState(AudioFile::kFirstMarkerTwice));
        EXPECT_EQ(1000u, readAllFloats(*file).size());

        std::string info;
        ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
        EXPECT_EQ(std::string::npos, info.find("***")) << info;
        EXPECT_NE(std::string::npos, info.find("Frames      : 1000")) << info;
        // Every loop's two markers, by id and position.
        const size_t markers = c.loops.size() * 2;
        EXPECT_NE(std::string::npos, info.find("Count : " + std::to_string(markers))) << info;
        for (size_t m = 0; m < markers; ++m)
        {
            const int64 at = m % 2 == 0 ? c.loops[m / 2].first : c.loops[m / 2].second;
            EXPECT_NE(std::string::npos, info.find("Mark ID  : " + std::to_string(m + 1) +
                                                   "\n   Position : " + std::to_string(at)))
                << info;
        }
        EXPECT_NE(std::string::npos, info.find("Base Note : 64")) << info;
        EXPECT_NE(std::string::npos,
                  info.find("Sustain\n   mode  : 801 => forward\n   begin : 1\n   end   : 2"))
            << info;
        EXPECT_NE(std::string::npos, info.find(std::string("Release\n   ") + c.release)) << info;
    }

    // Without loops there is no marker or instrument chunk at all.
    const std::string plain = temp.file("plain.aiff");
    writeLooped(plain, {}, false);
    std::string info;
    ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(plain), &info));
    EXPECT_EQ(std::string::npos, info.find("MARK")) << info;
    EXPECT_EQ(std::string::npos, info.find("INST")) << info;
    EXPECT_TRUE(openFile(plain)->getMarkerPairs().empty());
}
