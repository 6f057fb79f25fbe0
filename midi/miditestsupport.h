// Helpers for the tests of the MIDI folder: a private temporary folder, running the
// independent tools that make test files, and building file bytes by hand for what no tool
// writes.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Quillmark::miditest
{

class TempFolder
{
public:
    TempFolder()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/qel-midi-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back(0);
        if (::mkdtemp(name.data()))
            path = name.data();
    }
    ~TempFolder()
    {
        std::error_code ignored;
        if (!path.empty())
            std::filesystem::remove_all(path, ignored);
    }
    std::string file(const std::string& name) const { return (path / name).string(); }
    bool valid() const { return !path.empty(); }

private:
    std::filesystem::path path;
};

inline std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

inline std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

inline void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

/** Runs a Python script with Debian's interpreter, where python3-mido lives; its standard
    output is returned, and `ok` says whether it exited with 0. */
inline std::string runPython(const TempFolder& folder, const std::string& script, bool& ok)
{
    std::string scriptPath = folder.file("script.py");
    std::ofstream(scriptPath) << script;
    std::string outPath = folder.file("python-out.txt");
    std::string command = "/usr/bin/python3 " + quote(scriptPath) + " >" + quote(outPath) + " 2>&1";
    ok = std::system(command.c_str()) == 0;
    return readText(outPath);
}

/** Standard MIDI File bytes, put together chunk by chunk. */
class SmfBuilder
{
public:
    SmfBuilder& header(uint16_t format, uint16_t tracks, uint16_t division, uint32_t size = 6)
    {
        chunkHead("MThd", size);
        word16(format);
        word16(tracks);
        word16(division);
        for (uint32_t i = 6; i < size; ++i)
            bytes.push_back(0xEE);
        return *this;
    }
    SmfBuilder& chunk(const char* tag, const std::vector<uint8_t>& body)
    {
        chunkHead(tag, uint32_t(body.size()));
        bytes.insert(bytes.end(), body.begin(), body.end());
        return *this;
    }
    SmfBuilder& track(const std::vector<uint8_t>& body) { return chunk("MTrk", body); }
    /** A track whose size field says `size` whatever the body holds. */
    SmfBuilder& trackWithSize(uint32_t size, const std::vector<uint8_t>& body)
    {
        chunkHead("MTrk", size);
        bytes.insert(bytes.end(), body.begin(), body.end());
        return *this;
    }
    std::vector<uint8_t> bytes;

private:
    void chunkHead(const char* tag, uint32_t size)
    {
        bytes.insert(bytes.end(), tag, tag + 4);
        for (int shift = 24; shift >= 0; shift -= 8)
            bytes.push_back(uint8_t(size >> shift));
    }
    void word16(uint16_t v)
    {
        bytes.push_back(uint8_t(v >> 8));
        bytes.push_back(uint8_t(v));
    }
};

} // namespace Quillmark::miditest
