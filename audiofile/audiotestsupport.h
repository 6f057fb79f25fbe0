// For the audio file tests: a temporary folder, files made by the independent tools (sox,
// libsndfile's programs) and Wave files built byte by byte for what those tools never write.
#pragma once

#include "audiofile/bytestreamio.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace Quillmark::testing
{

class AudioTempFolder
{
public:
    AudioTempFolder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "qelaudioXXXXXX").string();
        root = mkdtemp(pattern.data());
    }
    ~AudioTempFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    std::string file(const std::string& name) const { return (root / name).string(); }

private:
    std::filesystem::path root;
};

inline std::string shellQuoted(const std::string& text)
{
    std::string result = "'";
    for (char c : text)
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

/** Runs a shell command; answers its exit status and, in `output`, what it printed. */
inline int runTool(const std::string& command, std::string* output = nullptr)
{
    std::string capture =
        std::filesystem::temp_directory_path() / ("qeltool" + std::to_string(::getpid()) + ".txt");
    int status = std::system((command + " >" + shellQuoted(capture) + " 2>&1").c_str());
    if (output)
    {
        std::ifstream in(capture, std::ios::binary);
        output->assign(std::istreambuf_iterator<char>(in), {});
    }
    std::remove(capture.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

inline std::vector<uint8> readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8>(std::istreambuf_iterator<char>(in), {});
}

inline void writeBytes(const std::string& path, const std::vector<uint8>& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

/** Chunks appended one after the other, sizes as given, for hand-made damaged files. */
class ChunkBuilder
{
public:
    ChunkBuilder& tag(const char* fourLetters)
    {
        bytes.insert(bytes.end(), fourLetters, fourLetters + 4);
        return *this;
    }
    ChunkBuilder& u32(uint32 value)
    {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(uint8(value >> (8 * i)));
        return *this;
    }
    ChunkBuilder& u16(uint32 value)
    {
        bytes.push_back(uint8(value));
        bytes.push_back(uint8(value >> 8));
        return *this;
    }
    ChunkBuilder& raw(const std::vector<uint8>& more)
    {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    ChunkBuilder& zeros(size_t count)
    {
        bytes.insert(bytes.end(), count, 0);
        return *this;
    }
    /** A PCM fmt chunk of 16 bytes. */
    ChunkBuilder& fmt(uint16 channels, uint32 rate, uint16 bits, uint16 tagValue = 1)
    {
        const uint16 align = uint16(channels * ((bits + 7) / 8));
        return tag("fmt ")
            .u32(16)
            .u16(tagValue)
            .u16(channels)
            .u32(rate)
            .u32(rate * align)
            .u16(align)
            .u16(bits);
    }
    /** Patches the RIFF size to the length so far less 8. */
    std::vector<uint8> done()
    {
        std::vector<uint8> result = bytes;
        if (result.size() >= 8)
            ByteIO::putLE32(result.data() + 4, uint32(result.size() - 8));
        return result;
    }
    std::vector<uint8> bytes;
};

/** Sixteen-bit little-endian samples counting up from `first`. */
inline std::vector<uint8> rampSamples(size_t count, int first = 0)
{
    std::vector<uint8> out;
    for (size_t i = 0; i < count; ++i)
    {
        int16_t v = int16_t(first + int(i));
        out.push_back(uint8(v));
        out.push_back(uint8(uint16_t(v) >> 8));
    }
    return out;
}

} // namespace Quillmark::testing
