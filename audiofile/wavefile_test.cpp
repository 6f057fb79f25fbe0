#include "audiofile/audioaccessor.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiotestsupport.h"
#include "audiofile/wavefilehandler.h"
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
template <class T> using Owned = std::unique_ptr<T, Release>;

Owned<AudioFile> openFile(const std::string& path, bool repair = true)
{
    auto* file = new AudioFile;
    file->setRepairOnRead(repair);
    file->setPath(path);
    file->ensureHeader();
    return Owned<AudioFile>(file);
}

int64 intKey(AudioFile& file, const char* key)
{
    int64 value = -12345;
    file.getAttributes().getInt(key, value);
    return value;
}

std::string textKey(AudioFile& file, const char* key)
{
    String value;
    file.getAttributes().getString(key, value);
    return value.toUtf8();
}

/** All frames of a file as interleaved floats, read through an accessor in blocks. */
std::vector<float> readAllFloats(AudioFile& file, int64 block = 1000)
{
    Owned<AudioAccessor> accessor(file.createAccessor());
    EXPECT_TRUE(accessor);
    if (!accessor)
        return {};
    accessor->setSampleFormat(AudioConverter::kFloat);
    accessor->setSampleSize(32);
    const int32 channels = accessor->getChannelCount();
    std::vector<float> all;
    std::vector<float> buffer(size_t(block * channels));
    for (;;)
    {
        int64 got = accessor->read(block, buffer.data());
        EXPECT_GE(got, 0);
        if (got <= 0)
            break;
        all.insert(all.end(), buffer.begin(), buffer.begin() + got * channels);
    }
    return all;
}

/** What sox itself makes of the samples, as 32-bit floats. */
std::vector<float> soxFloats(const std::string& path, const std::string& rawPath)
{
    EXPECT_EQ(0, runTool(std::string(SOX_PROGRAM) + " " + shellQuoted(path) +
                         " -t raw -e floating-point -b 32 -L " + shellQuoted(rawPath)));
    auto bytes = readBytes(rawPath);
    std::vector<float> floats(bytes.size() / 4);
    std::memcpy(floats.data(), bytes.data(), floats.size() * 4);
    return floats;
}

Owned<AudioFile> newFile(const std::string& path, int32 channels, int32 bits, int32 format,
                         double rate)
{
    auto file = openFile(path);
    file->setDefaultAttributes();
    file->setChannelCount(channels);
    file->setSampleFormat(format);
    file->setSampleSize(bits);
    file->setSampleRate(rate);
    return file;
}

class WaveFiles : public ::testing::Test
{
protected:
    void SetUp() override { installAudioKernels(); }
    std::string sox(const std::string& name, const std::string& options, double seconds = 0.1)
    {
        std::string path = temp.file(name);
        EXPECT_EQ(0, runTool(std::string(SOX_PROGRAM) + " -D -n " + options + " " +
                             shellQuoted(path) + " synth " + std::to_string(seconds) +
                             " sine 440 sine 1000 sine 3000 sine 200 sine 5000 sine 700 vol 0.9"));
        return path;
    }
    AudioTempFolder temp;
};

TEST_F(WaveFiles, ReadTheFormatOfFilesMadeBySox)
{
    struct Case
    {
        const char* options;
        int64 channels, bits, format, frameSize;
        double rate;
        const char* info;
    } cases[] = {
        {"-r 44100 -c 2 -b 16 -e signed", 2, 16, 1, 4, 44100, ""},
        {"-r 48000 -c 1 -b 24 -e signed", 1, 24, 1, 3, 48000, "Configuration: Mono"},
        {"-r 22050 -c 1 -b 8 -e unsigned", 1, 8, 0, 1, 22050, ""},
        // Only the extensible form names its configuration; sox writes float as tag 3.
        {"-r 96000 -c 2 -b 32 -e floating-point", 2, 32, 2, 8, 96000, ""},
        {"-r 44100 -c 6 -b 16 -e signed", 6, 16, 1, 12, 44100, "Configuration: 5.1"},
        {"-r 8000 -c 4 -b 32 -e signed", 4, 32, 1, 16, 8000, "Configuration: Quadro"},
    };
    int n = 0;
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.options);
        auto path = sox("f" + std::to_string(n++) + ".wav", c.options, 0.1);
        auto file = openFile(path);
        ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
        EXPECT_EQ(c.channels, file->getChannelCount());
        EXPECT_EQ(c.bits, file->getSampleSize());
        EXPECT_EQ(c.format, file->getSampleFormat());
        EXPECT_EQ(c.frameSize, file->getFrameSize());
        EXPECT_EQ(c.rate, file->getSampleRate());
        EXPECT_EQ(int64(std::llround(c.rate * 0.1)), file->getFrameCount());
        EXPECT_EQ(c.info, textKey(*file, Keys::kInfo));
        EXPECT_EQ("Wave File", textKey(*file, Keys::kFileType));
        EXPECT_TRUE(file->getRepairs().empty());
    }
}

TEST_F(WaveFiles, DeliverTheSamplesSoxReadsInEveryIntegerAndFloatForm)
{
    const char* forms[] = {"-c 2 -b 16 -e signed", "-c 1 -b 24 -e signed", "-c 3 -b 8 -e unsigned",
                           "-c 2 -b 32 -e floating-point", "-c 2 -b 32 -e signed"};
    int n = 0;
    for (const char* form : forms)
    {
        SCOPED_TRACE(form);
        auto path = sox("s" + std::to_string(n) + ".wav", std::string("-r 44100 ") + form, 0.2);
        auto expected = soxFloats(path, temp.file("s" + std::to_string(n++) + ".raw"));
        // sox keeps 25 bits of a 32-bit integer on its way to float, and a float keeps 24;
        // every other form sox converts exactly.
        const bool int32 = std::string(form).find("32 -e signed") != std::string::npos;
        const float tolerance = int32 ? 0x1p-24f : 0.f; // its rounding and ours
        auto file = openFile(path);
        // An odd block size, so reads end inside frames of the block cache and the file.
        auto actual = readAllFloats(*file, 777);
        ASSERT_EQ(expected.size(), actual.size());
        size_t differences = 0;
        for (size_t i = 0; i < expected.size(); ++i)
            differences += std::fabs(expected[i] - actual[i]) > tolerance;
        EXPECT_EQ(0u, differences);
    }
}

TEST_F(WaveFiles, ReadBroadcastMetadataWrittenByLibsndfile)
{
    auto plain = sox("plain.wav", "-r 48000 -c 2 -b 24", 0.1);
    auto path = temp.file("bwf.wav");
    ASSERT_EQ(0, runTool("sndfile-metadata-set --bext-description 'Take 4, room mic'"
                         " --bext-originator 'Field Rec' --bext-orig-ref 'REF0042'"
                         " --bext-orig-date 2024-03-17 --bext-orig-time 14:25:36"
                         " --bext-time-ref 96000 --bext-coding-hist 'A=PCM,F=48000' " +
                         shellQuoted(plain) + " " + shellQuoted(path)));
    auto file = openFile(path);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ("Broadcast Wave File", textKey(*file, Keys::kFileType));
    EXPECT_EQ(1, intKey(*file, Keys::kChunkBroadcast));
    EXPECT_EQ("Take 4, room mic", textKey(*file, Keys::kBWFDescription));
    EXPECT_EQ("Field Rec", textKey(*file, Keys::kAuthor));
    EXPECT_EQ("REF0042", textKey(*file, Keys::kBWFOrigRef));
    EXPECT_EQ(1710685536, intKey(*file, Keys::kRecordDate)); // 2024-03-17 14:25:36 UTC
    double origin = 0;
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kOriginTime, origin));
    EXPECT_DOUBLE_EQ(2.0, origin);
    EXPECT_NE(std::string::npos, textKey(*file, Keys::kBWFCodingHistory).find("A=PCM,F=48000"));
    EXPECT_EQ(4800, file->getFrameCount());
}

TEST_F(WaveFiles, ReadRF64MadeByLibsndfile)
{
    auto plain = sox("plain.wav", "-r 44100 -c 2 -b 16", 0.3);
    auto path = temp.file("big.rf64");
    ASSERT_EQ(0, runTool("sndfile-convert " + shellQuoted(plain) + " " + shellQuoted(path)));
    auto wav = temp.file("big.wav");
    std::filesystem::rename(path, wav);
    auto file = openFile(wav);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ(1, intKey(*file, Keys::kRF64FileFormat));
    EXPECT_EQ("RF64 Wave File", textKey(*file, Keys::kFileType));
    EXPECT_EQ(13230, file->getFrameCount());
    auto original = openFile(plain);
    EXPECT_EQ(readAllFloats(*original), readAllFloats(*file));
}

// ---------------------------------------------------------------------------------------------
// Files other programs get wrong, built byte by byte.

TEST_F(WaveFiles, AnUnfinishedRecordingGivesEveryFrameAndIsRepairedOnDisk)
{
    auto bytes = ChunkBuilder()
                     .tag("RIFF")
                     .u32(0)
                     .tag("WAVE")
                     .fmt(1, 44100, 16)
                     .tag("data")
                     .u32(0)
                     .raw(rampSamples(1000))
                     .bytes;
    auto path = temp.file("unfinished.wav");
    writeBytes(path, bytes);

    auto looked = openFile(path, false);
    EXPECT_EQ(1000, looked->getFrameCount());
    ASSERT_EQ(1u, looked->getRepairs().size());
    EXPECT_NE(std::string::npos, looked->getRepairs()[0].find("unfinished recording"));
    EXPECT_EQ(bytes, readBytes(path)) << "looking only must not write";

    auto repaired = openFile(path, true);
    EXPECT_EQ(1000, repaired->getFrameCount());
    auto fixed = readBytes(path);
    EXPECT_EQ(2000u, ByteIO::le32(fixed.data() + 40));
    EXPECT_EQ(fixed.size() - 8, ByteIO::le32(fixed.data() + 4));
    // The file now says what it holds: another reader takes its word without repairs.
    auto again = openFile(path, false);
    EXPECT_EQ(1000, again->getFrameCount());
    EXPECT_TRUE(again->getRepairs().empty());
}

TEST_F(WaveFiles, ATruncatedFileIsCutToTheFramesPresent)
{
    auto bytes = ChunkBuilder()
                     .tag("RIFF")
                     .u32(0)
                     .tag("WAVE")
                     .fmt(2, 48000, 16)
                     .tag("data")
                     .u32(400000)
                     .raw(rampSamples(1001))
                     .bytes; // 500 whole frames and a half
    auto path = temp.file("cut.wav");
    writeBytes(path, bytes);
    auto file = openFile(path, false);
    EXPECT_EQ(500, file->getFrameCount());
    ASSERT_FALSE(file->getRepairs().empty());
    auto samples = readAllFloats(*file, 64);
    ASSERT_EQ(1000u, samples.size());
    EXPECT_EQ(999.f / 32768, samples[999]);
}

TEST_F(WaveFiles, OddChunksReadRightWhetherPaddedOrNot)
{
    for (bool padded : {true, false})
    {
        SCOPED_TRACE(padded ? "padded" : "not padded");
        ChunkBuilder b;
        b.tag("RIFF").u32(0).tag("WAVE").fmt(1, 44100, 16);
        b.tag("note").u32(3).raw({'a', 'b', 'c'});
        if (padded)
            b.zeros(1);
        b.tag("LIST").u32(5).raw({'I', 'N', 'F', 'O', 'x'});
        if (padded)
            b.zeros(1);
        b.tag("data").u32(20).raw(rampSamples(10, -5));
        auto path = temp.file(padded ? "padded.wav" : "unpadded.wav");
        writeBytes(path, b.done());
        auto file = openFile(path, false);
        ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
        EXPECT_EQ(10, file->getFrameCount());
        EXPECT_EQ(padded ? 1 : -12345, intKey(*file, Keys::kWAVForceAlignment));
        auto samples = readAllFloats(*file);
        ASSERT_EQ(10u, samples.size());
        EXPECT_EQ(-5.f / 32768, samples[0]);
        EXPECT_EQ(4.f / 32768, samples[9]);
    }
}

TEST_F(WaveFiles, ChunksOutOfOrderOrTwiceAreTolerated)
{
    // fmt behind data: the count is taken with the block align of 1 known then (40 frames
    // for 40 bytes); the length check, by the block align read later, cuts it to the 32
    // frames that the bytes from the data to the end of the file can hold.
    auto late = temp.file("late.wav");
    writeBytes(late, ChunkBuilder()
                         .tag("RIFF")
                         .u32(0)
                         .tag("WAVE")
                         .tag("data")
                         .u32(40)
                         .raw(rampSamples(20))
                         .fmt(1, 44100, 16)
                         .done());
    auto file = openFile(late, false);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ(32, intKey(*file, Keys::kFrameCount));
    EXPECT_EQ(1u, file->getRepairs().size());

    // A second fmt and a second data chunk are skipped.
    auto twice = temp.file("twice.wav");
    writeBytes(twice, ChunkBuilder()
                          .tag("RIFF")
                          .u32(0)
                          .tag("WAVE")
                          .fmt(1, 22050, 16)
                          .fmt(2, 96000, 24)
                          .tag("data")
                          .u32(8)
                          .raw(rampSamples(4))
                          .tag("data")
                          .u32(4)
                          .raw(rampSamples(2))
                          .done());
    auto second = openFile(twice, false);
    EXPECT_EQ(22050.0, second->getSampleRate());
    EXPECT_EQ(1, second->getChannelCount());
    EXPECT_EQ(4, second->getFrameCount());
}

TEST_F(WaveFiles, AmbisonicFilesReadAsFourQuadroChannels)
{
    const uint8 ambisonicPCM[16] = {1,    0,    0,    0,    0x21, 7, 0xD3, 0x11,
                                    0x86, 0x44, 0xC8, 0xC1, 0xCA, 0, 0,    0};
    ChunkBuilder b;
    b.tag("RIFF").u32(0).tag("WAVE");
    b.tag("fmt ").u32(40).u16(0xFFFE).u16(4).u32(48000).u32(48000 * 8).u16(8).u16(16).u16(22);
    b.u16(16).u32(0).raw(std::vector<uint8>(ambisonicPCM, ambisonicPCM + 16));
    b.tag("data").u32(16).raw(rampSamples(8));
    auto path = temp.file("field.amb");
    writeBytes(path, b.done());
    auto file = openFile(path, false);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ("B-Format 4 channels", textKey(*file, Keys::kInfo));
    ASpeakerArrangement speakers;
    file->getSpeakerArrangement(speakers);
    ASpeakerArrangement quadro;
    quadro.setFromWaveMask(0x33);
    ASSERT_EQ(4, speakers.count());
    for (int32 i = 0; i < 4; ++i)
        EXPECT_EQ(quadro.idAt(i), speakers.idAt(i));
    EXPECT_EQ(2, file->getFrameCount());

    // Written as .amb, the file says B-format again.
    auto written = temp.file("written.amb");
    {
        auto out = newFile(written, 4, 24, 1, 48000);
        std::unique_ptr<AudioAccessStream> stream(out->createFile());
        ASSERT_TRUE(stream);
        std::vector<uint8> silence(12 * 10);
        EXPECT_EQ(10, stream->write(10, silence.data()));
    }
    auto back = openFile(written, false);
    EXPECT_EQ("B-Format 4 channels", textKey(*back, Keys::kInfo));
    EXPECT_EQ(10, back->getFrameCount());
    EXPECT_EQ(24, back->getSampleSize());
}

TEST_F(WaveFiles, RefuseWhatIsNoWaveFileAtAll)
{
    auto notWave = temp.file("text.wav");
    writeBytes(notWave, {'h', 'e', 'l', 'l', 'o', ' ', 'w', 'o', 'r', 'l', 'd', '!', '!', '!'});
    EXPECT_EQ(AudioFile::kStatusUnreadable, openFile(notWave)->getFileStatus());

    auto avi = temp.file("movie.wav");
    writeBytes(avi, ChunkBuilder().tag("RIFF").u32(0).tag("AVI ").fmt(1, 44100, 16).done());
    EXPECT_EQ(AudioFile::kStatusUnreadable, openFile(avi)->getFileStatus());

    auto noData = temp.file("nodata.wav");
    writeBytes(noData, ChunkBuilder().tag("RIFF").u32(0).tag("WAVE").fmt(1, 44100, 16).done());
    EXPECT_EQ(AudioFile::kStatusUnreadable, openFile(noData)->getFileStatus());

    EXPECT_EQ(AudioFile::kStatusMissing, openFile(temp.file("absent.wav"))->getFileStatus());
}

TEST_F(WaveFiles, AFileWithoutExtensionGetsTheDetectedOne)
{
    auto made = sox("named.wav", "-r 44100 -c 1 -b 16", 0.01);
    auto bare = temp.file("bare");
    std::filesystem::rename(made, bare);
    auto file = openFile(bare);
    EXPECT_EQ(bare + ".wav", file->getPath());
    EXPECT_EQ("Wave File", file->getFileTypeName());
}

TEST_F(WaveFiles, ReadLoopMetadataFromAcidAndStrc)
{
    ChunkBuilder b;
    b.tag("RIFF").u32(0).tag("WAVE").fmt(1, 44100, 16);
    float tempo = 128.f;
    uint32 tempoBits;
    std::memcpy(&tempoBits, &tempo, 4);
    // flags: root note set (2) and tempo valid (4); root 62 is D, 8 beats in 4/4.
    b.tag("acid").u32(24).u32(6).u16(62).u16(0).u32(0).u32(8).u16(4).u16(4).u32(tempoBits);
    b.tag("strc").u32(28 + 3 * 32).u32(0).u32(3).zeros(20);
    for (uint32 entry = 0; entry < 3; ++entry)
        b.u32(entry == 1 ? 1 : 2)
            .u32(0)
            .u32(1000 * entry)
            .u32(0)
            .u32(entry == 2 ? 0 : 500)
            .u32(0)
            .u16(0)
            .u16(0)
            .u32(0);
    b.tag("data").u32(8).raw(rampSamples(4));
    auto path = temp.file("loop.wav");
    writeBytes(path, b.done());
    auto file = openFile(path, false);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_EQ(1, intKey(*file, Keys::kTempoSync));
    EXPECT_EQ(2, intKey(*file, Keys::kRootKey));
    EXPECT_EQ(8, intKey(*file, Keys::kBeats));
    EXPECT_EQ("4/4", textKey(*file, Keys::kSignature));
    double stored = 0;
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kTempo, stored));
    EXPECT_EQ(128.0, stored);
    EXPECT_EQ("ACID: 4/4 - 128 bpm- 2 bars", textKey(*file, Keys::kInfo));
    // Entries of type 1 and of length 0 are no hitpoints.
    FSubList* hits = file->getAttributes().getSubList(Keys::kHitpointList);
    ASSERT_TRUE(hits);
    ASSERT_EQ(1, hits->count());
    int64 start = -1;
    hits->at(0)->getInt(Keys::kMarkerStart, start);
    EXPECT_EQ(0, start);
}

TEST_F(WaveFiles, KeepTheDescriptionOfACodecTheyDoNotDecode)
{
    ChunkBuilder b;
    b.tag("RIFF").u32(0).tag("WAVE");
    b.tag("fmt ").u32(20).u16(0x11).u16(1).u32(8000).u32(4055).u16(256).u16(4).u16(2).u16(505);
    b.tag("data").u32(512).zeros(512);
    auto path = temp.file("adpcm.wav");
    writeBytes(path, b.done());
    auto file = openFile(path, false);
    ASSERT_EQ(AudioFile::kStatusOk, file->getFileStatus());
    EXPECT_TRUE(file->hasState(AudioFile::kCodecData));
    FAttrList* codec = file->getAttributes().getList(Keys::kCodecAttributes);
    ASSERT_TRUE(codec);
    int64 value = 0;
    codec->getInt("FormatTag", value);
    EXPECT_EQ(0x11, value);
    codec->getInt("BytesPerSecond", value);
    EXPECT_EQ(4055, value);
    FAttrBuffer* extra = codec->getBuffer("Extra");
    ASSERT_TRUE(extra);
    EXPECT_EQ((std::vector<uint8>{0xF9, 0x01}), extra->getBytes());
    EXPECT_EQ(2, file->getFrameCount()); // by the block align of the file, 256
}

// ---------------------------------------------------------------------------------------------
// Writing

TEST_F(WaveFiles, WriteFilesThatLibsndfileAndOurReaderAgreeOn)
{
    struct Case
    {
        int32 channels, bits, format;
        const char* sndfileFormat;
    } cases[] = {{2, 16, 1, "WAVE_FORMAT_PCM"},
                 {1, 24, 1, "WAVE_FORMAT_PCM"},
                 {2, 32, 2, "WAVE_FORMAT_IEEE_FLOAT"},
                 {6, 24, 1, "WAVE_FORMAT_EXTENSIBLE"}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.sndfileFormat + std::string(" ") + std::to_string(c.channels));
        auto path =
            temp.file("w" + std::to_string(c.channels) + "_" + std::to_string(c.bits) + ".wav");
        std::vector<float> written;
        {
            auto file = newFile(path, c.channels, c.bits, c.format, 48000);
            AudioAccessStream* stream = file->createFile();
            ASSERT_TRUE(stream);
            AudioAccessor accessor(*file, stream);
            accessor.setSampleFormat(AudioConverter::kFloat);
            accessor.setSampleSize(32);
            for (int32 i = 0; i < 1001 * c.channels; ++i)
                written.push_back(float(std::sin(i * 0.01)) * 0.8f);
            EXPECT_EQ(1001, accessor.write(1001, written.data()));
            accessor.close();
        }
        std::string info;
        ASSERT_EQ(0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info));
        EXPECT_NE(std::string::npos, info.find(c.sndfileFormat)) << info;
        EXPECT_NE(std::string::npos, info.find("Frames      : 1001")) << info;
        EXPECT_NE(std::string::npos, info.find("Sample Rate : 48000")) << info;
        EXPECT_EQ(std::string::npos, info.find("Should")) << info; // libsndfile's complaints

        auto bytes = readBytes(path);
        EXPECT_EQ(0u, (bytes.size() - 1001u * c.channels * (c.bits / 8)) % 4)
            << "sample data starts at a multiple of 4";
        EXPECT_EQ(0, std::memcmp(bytes.data() + 12, "JUNK", 4));

        auto back = openFile(path);
        auto samples = readAllFloats(*back);
        ASSERT_EQ(written.size(), samples.size());
        // 16 bits round half away from zero; 24 bits round at 32-bit scale and then drop the
        // low byte; float is stored as it is.
        for (size_t i = 0; i < samples.size(); ++i)
        {
            float expected = written[i];
            if (c.bits == 16)
                expected = float(std::lround(double(written[i]) * 32768)) / 32768;
            else if (c.bits == 24)
            {
                float x = written[i] * 2147483648.f;
                int32 rounded = x >= 0 ? int32(x + 0.5f) : int32(x - 0.5f);
                expected = float(rounded >> 8) / 8388608;
            }
            ASSERT_EQ(expected, samples[i]) << i;
        }
    }
}

TEST_F(WaveFiles, ThirtyTwoBitIntegersAreWrittenWithTheFloatTag)
{
    auto path = temp.file("int32.wav");
    auto file = newFile(path, 1, 32, AudioConverter::kSigned, 44100);
    std::unique_ptr<AudioAccessStream> stream(file->createFile());
    ASSERT_TRUE(stream);
    stream.reset();
    auto bytes = readBytes(path);
    // RIFF, JUNK, a Fake filler to align the data, then fmt.
    ASSERT_EQ(0, std::memcmp(bytes.data() + 48, "Fake", 4));
    ASSERT_EQ(0, std::memcmp(bytes.data() + 58, "fmt ", 4));
    EXPECT_EQ(3, ByteIO::le16(bytes.data() + 66));
    EXPECT_EQ(0u, (bytes.size()) % 4) << "sample data starts at a multiple of 4";
}

TEST_F(WaveFiles, WriteBroadcastMetadataAndReadItBack)
{
    auto path = temp.file("bwf.wav");
    {
        auto file = newFile(path, 2, 24, 1, 48000);
        FAttributes& a = file->getAttributes();
        a.setInt(Keys::kChunkBroadcast, 1);
        a.setString(Keys::kBWFDescription, "Scene 12, take 3");
        a.setString(Keys::kAuthor, "Quillmark");
        a.setInt(Keys::kRecordDate, 1700000000);
        a.setFloat(Keys::kOriginTime, 1.5);
        a.setFloat(Keys::kBWFLoudnessValue, 0.0);
        std::unique_ptr<AudioAccessStream> stream(file->createFile());
        ASSERT_TRUE(stream);
        std::vector<uint8> silence(6 * 100);
        EXPECT_EQ(100, stream->write(100, silence.data()));
    }
    std::string info;
    ASSERT_EQ(
        0, runTool(std::string(SNDFILE_INFO_PROGRAM) + " --broadcast " + shellQuoted(path), &info));
    EXPECT_NE(std::string::npos, info.find("Scene 12, take 3")) << info;
    EXPECT_NE(std::string::npos, info.find("Quillmark")) << info;

    auto file = openFile(path);
    EXPECT_EQ("Broadcast Wave File", textKey(*file, Keys::kFileType));
    EXPECT_EQ("Scene 12, take 3", textKey(*file, Keys::kBWFDescription));
    EXPECT_EQ("Quillmark", textKey(*file, Keys::kAuthor));
    EXPECT_EQ(1700000000, intKey(*file, Keys::kRecordDate));
    double origin = 0, loudness = -1;
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kOriginTime, origin));
    EXPECT_DOUBLE_EQ(1.5, origin);
    EXPECT_TRUE(file->getAttributes().getFloat(Keys::kBWFLoudnessValue, loudness));
    EXPECT_EQ(0.0, loudness);
    EXPECT_EQ(32u, textKey(*file, Keys::kMUID).size()); // the identifier made on creation
}

// Audio of 4 GB and more needs the 64-bit sizes: the room left by JUNK becomes ds64 when the
// header is brought up to date, without moving a sample. A sparse file keeps the test small.
TEST_F(WaveFiles, SwitchToRF64AtFourGigabytesOfAudio)
{
    for (bool allowed : {true, false})
    {
        SCOPED_TRACE(allowed ? "RF64 allowed" : "noWaveRF64Format");
        auto path = temp.file(allowed ? "huge.wav" : "capped.wav");
        auto file = newFile(path, 2, 16, 1, 48000);
        if (!allowed)
            file->getAttributes().setInt(Keys::kNoWaveRF64Lower, 1);
        std::unique_ptr<AudioAccessStream> stream(file->createFile());
        ASSERT_TRUE(stream);
        const int64 lastFrame = (int64(1) << 30) + 10; // 4 GB + 44 bytes of audio
        ASSERT_EQ(lastFrame, stream->seek(lastFrame));
        const int16 frame[2] = {1234, -1234};
        ASSERT_EQ(1, stream->write(1, frame));
        stream.reset();

        std::ifstream in(path, std::ios::binary);
        uint8 head[100];
        in.read(reinterpret_cast<char*>(head), 100);
        if (allowed)
        {
            EXPECT_EQ(0, std::memcmp(head, "RF64", 4));
            EXPECT_EQ(0xFFFFFFFFu, ByteIO::le32(head + 4));
            EXPECT_EQ(0, std::memcmp(head + 12, "ds64", 4));
            auto again = openFile(path, false);
            EXPECT_EQ(lastFrame + 1, again->getFrameCount());
            EXPECT_EQ("RF64 Wave File", textKey(*again, Keys::kFileType));
            std::string info;
            runTool(std::string(SNDFILE_INFO_PROGRAM) + " " + shellQuoted(path), &info);
            EXPECT_NE(std::string::npos, info.find("Frames      : 1073741835")) << info;
        }
        else
        {
            EXPECT_EQ(0, std::memcmp(head, "RIFF", 4));
            EXPECT_EQ(0, std::memcmp(head + 36, "data", 4));
            EXPECT_EQ(0u, ByteIO::le32(head + 40));
        }
        std::filesystem::remove(path);
    }
}

} // namespace
