// For fuzz targets: one scratch folder per process, and a file in it that holds the input, so a
// target feeds the bytes through the same path the program reads from.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace Quillmark::fuzzing
{

inline const std::string& scratchFolder()
{
    static const std::string folder = []
    {
        const char* tmp = std::getenv("TMPDIR");
        std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/qel-fuzz-XXXXXX";
        return std::string(mkdtemp(pattern.data()) ? pattern : "/tmp");
    }();
    return folder;
}

/** Writes `data` to `name` in the scratch folder; answers the path. */
inline std::string writeInput(const std::string& name, const uint8_t* data, size_t size)
{
    std::string path = scratchFolder() + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    return path;
}

} // namespace Quillmark::fuzzing
