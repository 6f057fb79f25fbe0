#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

using namespace Quillmark;

namespace
{

std::string readAll(IBStream* stream)
{
    std::string out;
    char8 buffer[7]; // odd size, so reads meet the end in the middle
    int32 got = 0;
    do
    {
        stream->read(buffer, int32(sizeof(buffer)), &got);
        out.append(buffer, size_t(got));
    } while (got > 0);
    return out;
}

std::filesystem::path makeTempFolder()
{
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/qel-streams-XXXXXX";
    char* made = mkdtemp(pattern.data());
    return made ? std::filesystem::path(made) : std::filesystem::path();
}

} // namespace

TEST(FMemoryStream, AnswersIBStreamAndCountsReferences)
{
    auto* stream = new FMemoryStream;
    void* obj = nullptr;
    ASSERT_EQ(stream->queryInterface(IBStream::iid.bytes, &obj), kResultOk);
    auto* asStream = static_cast<IBStream*>(obj);
    EXPECT_EQ(stream->getRefCount(), 2);
    ASSERT_EQ(asStream->queryInterface(FUnknown::iid.bytes, &obj), kResultOk);
    EXPECT_EQ(stream->getRefCount(), 3);
    static_cast<FUnknown*>(obj)->release();

    // The host object behind the interface is found again by its class.
    EXPECT_EQ(FCast<FMemoryStream>(static_cast<FUnknown*>(asStream)), stream);
    EXPECT_TRUE(stream->isTypeOf("FStreamBase"));
    EXPECT_FALSE(stream->isTypeOf("FStreamBase", false));

    obj = reinterpret_cast<void*>(1);
    const QelUid unknownIid{1, 2, 3, 4};
    EXPECT_EQ(asStream->queryInterface(unknownIid.bytes, &obj), kNoInterface);
    EXPECT_EQ(obj, nullptr);

    EXPECT_EQ(asStream->release(), 1u);
    EXPECT_EQ(stream->release(), 0u);
}

TEST(FMemoryStream, GrowsAndGivesShortReadsAtTheEnd)
{
    FMemoryStream stream;
    int32 count = -1;
    char8 text[] = "hello world";
    EXPECT_EQ(stream.write(text, 11, &count), kResultOk);
    EXPECT_EQ(count, 11);
    EXPECT_EQ(stream.size(), 11);

    int64 position = -1;
    EXPECT_EQ(stream.seek(6, IBStream::kIBSeekSet, &position), kResultOk);
    EXPECT_EQ(position, 6);
    char8 buffer[32] = {};
    EXPECT_EQ(stream.read(buffer, 32, &count), kResultOk);
    EXPECT_EQ(count, 5);
    EXPECT_EQ(std::string(buffer, 5), "world");
    EXPECT_EQ(stream.read(buffer, 1, &count), kResultFalse);
    EXPECT_EQ(count, 0);

    // Overwrite in the middle, then extend past the end.
    stream.seek(-5, IBStream::kIBSeekEnd, &position);
    EXPECT_EQ(position, 6);
    char8 more[] = "there, friend";
    stream.write(more, 13, &count);
    EXPECT_EQ(std::string(stream.data(), size_t(stream.size())), "hello there, friend");

    // Seeks before the start are refused and leave the position; past the end they stop there.
    stream.seek(3, IBStream::kIBSeekSet, nullptr);
    EXPECT_EQ(stream.seek(-4, IBStream::kIBSeekCur, &position), kInvalidArgument);
    EXPECT_EQ(position, 3);
    EXPECT_EQ(stream.seek(1000, IBStream::kIBSeekSet, &position), kResultOk);
    EXPECT_EQ(position, stream.size());
    EXPECT_EQ(stream.seek(0, 17, &position), kInvalidArgument);
    EXPECT_EQ(stream.read(nullptr, 4, &count), kInvalidArgument);
    EXPECT_EQ(stream.write(text, -1, &count), kInvalidArgument);

    EXPECT_TRUE(stream.setSize(5));
    stream.tell(&position);
    EXPECT_EQ(position, 5);
    stream.seek(0, IBStream::kIBSeekSet);
    EXPECT_EQ(readAll(&stream), "hello");
}

TEST(FMemoryStream, CopiesOrWrapsACallersBuffer)
{
    char8 memory[8] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    FMemoryStream copy(memory, 8);
    memory[0] = 'X';
    EXPECT_EQ(readAll(&copy), "abcdefgh");

    FMemoryStream wrapped(memory, 4, FMemoryStream::Mode::kWrap);
    char8 text[] = "123456";
    int32 count = 0;
    wrapped.seek(2, IBStream::kIBSeekSet);
    wrapped.write(text, 6, &count);
    EXPECT_EQ(count, 2); // the caller's memory does not grow
    EXPECT_EQ(std::string(memory, 8), "Xb12efgh");
    EXPECT_EQ(wrapped.data(), memory);
}

TEST(FBufferStream, FixedBufferStopsAtItsEnd)
{
    char8 memory[4] = {};
    FBufferStream stream(memory, 4, true);
    char8 text[] = "abcdef";
    int32 count = 0;
    EXPECT_EQ(stream.write(text, 3, &count), kResultOk);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(stream.write(text + 3, 3, &count), kResultOk);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(stream.write(text, 1, &count), kResultFalse);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(std::string(memory, 4), "abcd");
    EXPECT_EQ(stream.bytesWritten(), 4);

    const char8 constant[] = "xyz";
    FBufferStream readOnly(constant, 3);
    EXPECT_FALSE(readOnly.isWritable());
    EXPECT_EQ(readOnly.write(text, 1, &count), kResultFalse);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(readAll(&readOnly), "xyz");
    int64 position = 0;
    EXPECT_EQ(readOnly.seek(10, IBStream::kIBSeekCur, &position), kResultOk);
    EXPECT_EQ(position, 3);
}

TEST(FFileStream, WritesReadsAndSeeksARealFile)
{
    std::filesystem::path folder = makeTempFolder();
    ASSERT_FALSE(folder.empty());
    std::string path = (folder / "stream.bin").string();

    EXPECT_EQ(FFileStream::open(path.c_str(), "rb"), nullptr);
    EXPECT_EQ(FFileStream::open(nullptr, "rb"), nullptr);

    FFileStream* out = FFileStream::open(path.c_str(), "wb");
    ASSERT_NE(out, nullptr);
    char8 text[] = "0123456789";
    int32 count = 0;
    EXPECT_EQ(out->write(text, 10, &count), kResultOk);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(out->size(), 10);
    out->release();

    FFileStream* io = FFileStream::open(path.c_str(), "r+b");
    ASSERT_NE(io, nullptr);
    int64 position = 0;
    EXPECT_EQ(io->seek(-3, IBStream::kIBSeekEnd, &position), kResultOk);
    EXPECT_EQ(position, 7);
    char8 buffer[16];
    EXPECT_EQ(io->read(buffer, 16, &count), kResultOk);
    EXPECT_EQ(std::string(buffer, size_t(count)), "789");
    EXPECT_EQ(io->seek(-1, IBStream::kIBSeekSet, &position), kInvalidArgument);
    // Reading and then writing without a seek between must work on a C stream.
    io->seek(2, IBStream::kIBSeekSet);
    io->read(buffer, 2, &count);
    char8 patch[] = "ab";
    io->write(patch, 2, &count);
    io->tell(&position);
    EXPECT_EQ(position, 6);
    io->seek(0, IBStream::kIBSeekSet);
    EXPECT_EQ(readAll(io), "0123ab6789");
    io->release();
    std::filesystem::remove_all(folder);
}
