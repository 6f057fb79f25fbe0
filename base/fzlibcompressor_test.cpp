// The compression engine over real data: round trips of sizes around its chunk, data that
// follows a compressed stream, and damaged or cut input refused without harm.
#include "base/fstreams.h"
#include "base/fzlibcompressor.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

using namespace Quillmark;

namespace
{

std::string content(const FMemoryStream& stream)
{
    return std::string(stream.data(), size_t(stream.size()));
}

std::string sample(size_t size)
{
    std::mt19937 random(size);
    std::string text;
    // Half repetitive, half noise: both paths of the deflater are taken.
    for (size_t index = 0; index < size; ++index)
        text += index % 2 ? char('a' + index % 7) : char(random());
    return text;
}

class ZlibCompressor : public ::testing::Test
{
protected:
    std::string roundTrip(const std::string& text, int32 level)
    {
        FMemoryStream source(text.data(), int64(text.size()));
        FMemoryStream packed;
        EXPECT_EQ(engine->compress(&source, &packed, level), kResultOk);
        packed.seek(0, IBStream::kIBSeekSet);
        FMemoryStream unpacked;
        EXPECT_EQ(engine->decompress(&packed, &unpacked), kResultOk);
        return content(unpacked);
    }

    void TearDown() override { engine->release(); }

    FZlibCompressor* engine = new FZlibCompressor;
};

TEST_F(ZlibCompressor, RoundTripsAnySizeAtEveryLevel)
{
    for (size_t size :
         {size_t(0), size_t(1), size_t(16383), size_t(16384), size_t(16385), size_t(100000)})
        for (int32 level : {-1, 0, 1, 9})
            EXPECT_EQ(roundTrip(sample(size), level), sample(size)) << size << " " << level;
}

TEST_F(ZlibCompressor, LeavesTheSourceRightBehindTheStream)
{
    std::string text = sample(5000);
    FMemoryStream source(text.data(), int64(text.size()));
    FMemoryStream packed;
    ASSERT_EQ(engine->compress(&source, &packed, 6), kResultOk);
    std::string trailer = "TRAILER";
    packed.write(trailer.data(), int32(trailer.size()));
    packed.seek(0, IBStream::kIBSeekSet);
    FMemoryStream unpacked;
    ASSERT_EQ(engine->decompress(&packed, &unpacked), kResultOk);
    char rest[16] = {};
    int32 read = 0;
    packed.read(rest, sizeof(rest), &read);
    EXPECT_EQ(std::string(rest, size_t(read)), trailer);
}

TEST_F(ZlibCompressor, RefusesDamagedAndTruncatedData)
{
    std::string text = sample(40000);
    FMemoryStream source(text.data(), int64(text.size()));
    FMemoryStream packed;
    ASSERT_EQ(engine->compress(&source, &packed, 9), kResultOk);
    std::string bytes = content(packed);

    std::string cut = bytes.substr(0, bytes.size() / 2);
    FMemoryStream truncated(cut.data(), int64(cut.size()));
    FMemoryStream out1;
    EXPECT_EQ(engine->decompress(&truncated, &out1), kResultFalse);
    EXPECT_LT(out1.size(), int64(text.size()));

    std::string damaged = bytes;
    damaged[1] ^= 0x55; // the header's check bits no longer hold
    FMemoryStream broken(damaged.data(), int64(damaged.size()));
    FMemoryStream out2;
    EXPECT_EQ(engine->decompress(&broken, &out2), kResultFalse);

    FMemoryStream empty;
    FMemoryStream out3;
    EXPECT_EQ(engine->decompress(&empty, &out3), kResultFalse);
    EXPECT_EQ(engine->compress(nullptr, &out3, 1), kInvalidArgument);
    EXPECT_EQ(engine->compress(&empty, &out3, 10), kInvalidArgument);
}

TEST(ZlibCompressorClass, IsReachedThroughItsInterface)
{
    FUnknown* created = FZlibCompressor::create(nullptr);
    void* answer = nullptr;
    ASSERT_EQ(created->queryInterface(ICompressionEngine::iid.bytes, &answer), kResultOk);
    auto* engine = static_cast<ICompressionEngine*>(answer);
    std::string text = sample(300);
    FMemoryStream source(text.data(), int64(text.size()));
    FMemoryStream packed;
    EXPECT_EQ(engine->compress(&source, &packed, 1), kResultOk);
    EXPECT_GT(packed.size(), 0);
    engine->release();
    EXPECT_EQ(created->release(), 0u);
}

} // namespace
