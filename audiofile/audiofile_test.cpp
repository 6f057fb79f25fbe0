#include "audiofile/audioaccessor.h"
#include "audiofile/audioblockbuffers.h"
#include "audiofile/audiobuffer.h"
#include "audiofile/audiofile.h"
#include "audiofile/audiofilekeys.h"
#include "audiofile/audiotestsupport.h"
#include "base/fstreamer.h"
#include "base/fstreams.h"
#include "base/optimaudio/audiokernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <thread>

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

/** A mono 16-bit file whose sample n holds n modulo 65536 as a signed value. */
std::string rampFile(const AudioTempFolder& temp, const std::string& name, size_t frames,
                     uint32 rate = 44100)
{
    auto path = temp.file(name);
    writeBytes(path, ChunkBuilder()
                         .tag("RIFF")
                         .u32(0)
                         .tag("WAVE")
                         .fmt(1, rate, 16)
                         .tag("data")
                         .u32(uint32(frames * 2))
                         .raw(rampSamples(frames))
                         .done());
    return path;
}

class AudioFileModel : public ::testing::Test
{
protected:
    void SetUp() override { installAudioKernels(); }
    Owned<AudioFile> open(const std::string& path)
    {
        auto* file = new AudioFile(path);
        file->setRepairOnRead(false);
        return Owned<AudioFile>(file);
    }
    AudioTempFolder temp;
};

TEST_F(AudioFileModel, CachedReadersShareFourBlocksAndReuseTheOldestLoad)
{
    auto path = rampFile(temp, "long.wav", 1 << 20); // 2 MB: more than five blocks of any size
    auto file = open(path);
    ASSERT_TRUE(file->isValid());
    std::unique_ptr<AudioAccessStream> reader(file->openFile(kAudioModeRead | kAudioModeBuffered));
    std::unique_ptr<AudioAccessStream> other(file->openFile(kAudioModeRead | kAudioModeBuffered));
    ASSERT_TRUE(reader && other);
    AudioBlockBuffers* blocks = AudioBlockBuffers::acquire(file.get(), nullptr);
    const int64 blockFrames = blocks->getBlockSize() / 2;
    const int64 dataOffset = 44;

    auto readFrameAt = [&](AudioAccessStream& stream, int64 frame)
    {
        int16 value = 0;
        EXPECT_EQ(frame, stream.seek(frame));
        EXPECT_EQ(1, stream.read(1, &value));
        EXPECT_EQ(int16(frame), value) << "frame " << frame;
    };
    // The middle of file blocks 0..3: four loads.
    for (int64 block = 0; block < 4; ++block)
        readFrameAt(*reader, block * blockFrames + blockFrames / 2 - dataOffset / 2);
    EXPECT_EQ(4, blocks->getLoadCount());
    // The second reader finds block 0 cached; reading it makes it the most recently used.
    readFrameAt(*other, 10);
    EXPECT_EQ(4, blocks->getLoadCount());
    // A fifth block replaces the oldest load, block 0, although it was just read.
    readFrameAt(*reader, 4 * blockFrames + 100);
    EXPECT_EQ(5, blocks->getLoadCount());
    readFrameAt(*other, 10);
    EXPECT_EQ(6, blocks->getLoadCount());
    // Block 2 survived both replacements (1 went second).
    readFrameAt(*reader, 2 * blockFrames + 5);
    EXPECT_EQ(6, blocks->getLoadCount());
    AudioBlockBuffers::release(blocks);

    // A read across block boundaries gives the same frames as a direct read.
    std::unique_ptr<AudioAccessStream> direct(file->openFile(kAudioModeRead));
    std::vector<int16> viaCache(300000), viaFile(300000);
    reader->seek(12345);
    direct->seek(12345);
    EXPECT_EQ(300000, reader->read(300000, viaCache.data()));
    EXPECT_EQ(300000, direct->read(300000, viaFile.data()));
    EXPECT_EQ(viaFile, viaCache);
}

TEST_F(AudioFileModel, BlockSizesAreStaggeredAndUnusedEntriesPrunedToFour)
{
    std::vector<Owned<AudioFile>> files;
    std::set<int64> sizes;
    std::vector<AudioAccessStream*> streams;
    const size_t before = AudioBlockBuffers::entryCount();
    for (int i = 0; i < 7; ++i)
    {
        files.push_back(open(rampFile(temp, "f" + std::to_string(i) + ".wav", 100)));
        AudioAccessStream* stream = files.back()->openFile(kAudioModeRead | kAudioModeBuffered);
        ASSERT_TRUE(stream);
        streams.push_back(stream);
        AudioBlockBuffers* entry = AudioBlockBuffers::acquire(files.back().get(), nullptr);
        if (i < 5)
            sizes.insert(entry->getBlockSize());
        AudioBlockBuffers::release(entry);
    }
    EXPECT_EQ((std::set<int64>{327680, 317440, 307200, 296960, 286720}), sizes);
    EXPECT_EQ(before + 7, AudioBlockBuffers::entryCount());
    for (auto* stream : streams)
        delete stream;
    EXPECT_LE(AudioBlockBuffers::entryCount(), 4u);
}

TEST(AudioBufferPool, ReusesGivenBackBuffersAndFreesTheSmallestAboveTheLimit)
{
    AudioBufferPool& pool = AudioBufferPool::instance();
    pool.releaseAll();
    AudioBuffer* big = pool.take(4096);
    ASSERT_TRUE(big);
    EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(big->data()) % 16);
    EXPECT_EQ(0, big->data()[4095]);
    pool.giveBack(big);
    // A smaller request is served by the larger free buffer.
    AudioBuffer* again = pool.take(100);
    EXPECT_EQ(big, again);
    pool.giveBack(again);

    std::vector<AudioBuffer*> many;
    for (int i = 0; i < 16; ++i)
        many.push_back(pool.take(int64(1000 + i * 10000)));
    AudioBuffer* smallest = many[0];
    for (auto* buffer : many)
        pool.giveBack(buffer);
    EXPECT_EQ(AudioBufferPool::kLimit, pool.freeCount());
    // The 100-byte request finds the last big-enough buffer given back, never the freed one.
    AudioBuffer* taken = pool.take(100);
    EXPECT_NE(smallest, taken);
    EXPECT_EQ(many.back(), taken);
    pool.giveBack(taken);
    pool.releaseAll();
}

TEST_F(AudioFileModel, AccessorsAtDifferentRatesKeepTheirOwnPositions)
{
    auto file = open(rampFile(temp, "ramp.wav", 44100));
    Owned<AudioAccessor> native(file->createAccessor());
    Owned<AudioAccessor> resampled(file->createAccessor());
    ASSERT_TRUE(native && resampled);
    EXPECT_FALSE(native->needsConversion());
    resampled->setSampleRate(88200);
    resampled->setSampleFormat(AudioConverter::kFloat);
    resampled->setSampleSize(32);
    EXPECT_TRUE(resampled->needsConversion());
    EXPECT_EQ(88200, resampled->getFrameCount());
    // Frame 1001 at 88.2 kHz lies between two frames of the file: the frame reached is 1000.
    EXPECT_EQ(1000, resampled->seek(1001));

    std::vector<int16> raw(100);
    std::vector<float> floats(400);
    native->seek(500);
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(100, native->read(100, raw.data()));
        EXPECT_EQ(int16(500 + round * 100), raw[0]);
        EXPECT_GT(resampled->read(400, floats.data()), 0);
    }
    EXPECT_EQ(800, native->tell());
}

TEST_F(AudioFileModel, ChannelAndSizeSettersKeepTheFrameSizeInStep)
{
    auto path = temp.file("wide.wav");
    writeBytes(path, ChunkBuilder()
                         .tag("RIFF")
                         .u32(0)
                         .tag("WAVE")
                         .tag("fmt ")
                         .u32(16)
                         .u16(1)
                         .u16(2)
                         .u32(48000)
                         .u32(384000)
                         .u16(8)
                         .u16(24)
                         .tag("data")
                         .u32(80)
                         .zeros(80)
                         .done());
    auto file = open(path);
    ASSERT_TRUE(file->isValid());
    // A 24-bit sample in a 32-bit container: the file's block align gives the length.
    EXPECT_EQ(10, file->getFrameCount());
    file->getAttributes().setInt(Keys::kFrameSize, 8);
    file->setChannelCount(0);
    EXPECT_EQ(2, file->getChannelCount());
    EXPECT_EQ(8, file->getFrameSize());
    file->setChannelCount(3);
    EXPECT_EQ(9, file->getFrameSize());
    file->setSampleSize(16);
    EXPECT_EQ(6, file->getFrameSize());
    EXPECT_FALSE(file->getAttributes().contains(Keys::kChannelList));

    Owned<AudioAccessor> accessor(file->createAccessor());
    ASSERT_TRUE(accessor);
    accessor->setSampleSize(24);
    accessor->setChannelCount(2);
    EXPECT_EQ(6, accessor->getFrameSize());
}

TEST_F(AudioFileModel, AProjectKeepsWhatItKnewOfAFileThatWentAway)
{
    auto path = rampFile(temp, "kept.wav", 4410, 22050);
    FAttributes tree;
    auto* memory = new FMemoryStream;
    {
        auto file = open(path);
        ASSERT_TRUE(file->isValid());
        file->storeAttributes(tree);
        FStreamer streamer(memory);
        ASSERT_TRUE(file->write(streamer));
    }
    // While the file is there, it speaks for itself, whatever the project says.
    tree.setInt("FrameCount", 1);
    auto present = open(path);
    present->restoreAttributes(tree);
    EXPECT_EQ(4410, present->getFrameCount());
    EXPECT_TRUE(present->hasState(AudioFile::kRestored));

    std::filesystem::remove(path);
    tree.setInt("FrameCount", 4410);
    auto missing = open(path);
    missing->restoreAttributes(tree);
    EXPECT_EQ(4410, missing->getFrameCount());
    EXPECT_EQ(22050.0, missing->getSampleRate());
    EXPECT_EQ(1, missing->getChannelCount());
    EXPECT_EQ(AudioFile::kStatusMissing, missing->getFileStatus());

    memory->seek(0, IBStream::kIBSeekSet);
    FStreamer streamer(memory);
    auto fromBinary = open(temp.file("other.wav"));
    ASSERT_TRUE(fromBinary->read(streamer));
    EXPECT_EQ(path, fromBinary->getPath());
    EXPECT_EQ(4410, fromBinary->getFrameCount());
    EXPECT_EQ(22050.0, fromBinary->getSampleRate());
    EXPECT_EQ(2, fromBinary->getFrameSize());
    memory->release();
}

TEST_F(AudioFileModel, HeadersOfManyFilesReadFromManyThreadsAgree)
{
    std::vector<std::string> paths;
    for (int i = 0; i < 8; ++i)
        paths.push_back(rampFile(temp, "t" + std::to_string(i) + ".wav", size_t(1000 + i),
                                 uint32(8000 * (i + 1))));
    std::vector<Owned<AudioFile>> files;
    for (auto& path : paths)
        files.push_back(open(path));
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            [&]
            {
                for (int i = 0; i < 8; ++i)
                {
                    if (files[size_t(i)]->getFrameCount() != 1000 + i ||
                        files[size_t(i)]->getSampleRate() != 8000.0 * (i + 1))
                        ++wrong;
                }
            });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong.load());
}

} // namespace

namespace
{

// Inputs the fuzz targets found: each once crashed or hung a reader. Opened as the program
// opens a file (repairs written back, on a copy) and read to the end, each must now give a
// clear verdict quickly.
TEST(FuzzFindings, OpenAndReadWithoutHarm)
{
    installAudioKernels();
    AudioTempFolder temp;
    const std::string folder = std::string(QEL_AUDIOFILE_TESTDATA) + "/fuzzfound";
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
    {
        SCOPED_TRACE(entry.path().filename().string());
        const std::string copy = temp.file(entry.path().filename().string());
        std::filesystem::copy_file(entry.path(), copy);
        ++files;
        auto started = std::chrono::steady_clock::now();
        auto* file = new AudioFile(copy);
        if (file->ensureHeader())
        {
            if (AudioAccessor* accessor = file->createAccessor())
            {
                accessor->setSampleFormat(AudioConverter::kFloat);
                accessor->setSampleSize(32);
                std::vector<float> block(size_t(256 * std::max(1, accessor->getChannelCount())));
                for (int i = 0; i < 100 && accessor->read(256, block.data()) > 0; ++i)
                {
                }
                accessor->release();
            }
        }
        file->release();
        EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(2));
    }
    EXPECT_GE(files, 2);
}

} // namespace

TEST_F(AudioFileModel, CachedReadsConvertStraightFromTheBlocksAndAcrossTheirEdges)
{
    // Three channels of 24 bits: nine-byte frames, which no block size divides, so frames lie
    // across block edges. Each sample holds its own index, spread over the whole range.
    constexpr size_t kFrames = 150000;
    std::vector<uint8> data(kFrames * 9);
    for (size_t i = 0; i < kFrames * 3; ++i)
    {
        const uint32 value = uint32(i * 2654435761u) >> 8;
        data[3 * i] = uint8(value);
        data[3 * i + 1] = uint8(value >> 8);
        data[3 * i + 2] = uint8(value >> 16);
    }
    auto path = temp.file("three.wav");
    writeBytes(path, ChunkBuilder()
                         .tag("RIFF")
                         .u32(0)
                         .tag("WAVE")
                         .fmt(3, 48000, 24)
                         .tag("data")
                         .u32(uint32(data.size()))
                         .raw(data)
                         .done());
    auto file = open(path);
    Owned<AudioAccessor> cached(file->createAccessor(kAudioModeRead | kAudioModeBuffered));
    ASSERT_TRUE(cached);
    cached->setSampleFormat(AudioConverter::kFloat);
    cached->setSampleSize(32);

    std::vector<float> all;
    std::vector<float> block(777 * 3, -9.f);
    for (int64 got; (got = cached->read(777, block.data())) > 0;)
        all.insert(all.end(), block.begin(), block.begin() + got * 3);
    EXPECT_EQ(int64(kFrames), cached->tell());
    ASSERT_EQ(kFrames * 3, all.size());
    size_t wrong = 0;
    for (size_t i = 0; i < kFrames * 3 && wrong < 5; ++i)
    {
        const int32 value = int32(uint32(i * 2654435761u) >> 8 << 8) >> 8;
        if (all[i] != float(value) * 0x1p-23f)
        {
            ADD_FAILURE() << "sample " << i << ": " << all[i];
            ++wrong;
        }
    }
    // A seek into the middle of a frame run that crosses a block edge reads on from there.
    ASSERT_EQ(36409, cached->seek(36409));
    ASSERT_EQ(10, cached->read(10, block.data()));
    EXPECT_EQ(0, std::memcmp(block.data(), all.data() + 36409 * 3, 30 * sizeof(float)));
}
