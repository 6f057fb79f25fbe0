// For tests: preset files built byte by byte, so a reader is checked against the layout itself
// rather than against the writer of the same library.
#pragma once

#include "base/fstreams.h"

#include <cstdint>
#include <string>

namespace Quillmark::testing
{

inline void putLE32(std::string& out, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out += char(uint8_t(value >> (8 * i)));
}

inline void putLE64(std::string& out, uint64_t value)
{
    for (int i = 0; i < 8; ++i)
        out += char(uint8_t(value >> (8 * i)));
}

inline uint32_t getBE32(const std::string& bytes, size_t at)
{
    return uint32_t(uint8_t(bytes[at])) << 24 | uint32_t(uint8_t(bytes[at + 1])) << 16 |
           uint32_t(uint8_t(bytes[at + 2])) << 8 | uint32_t(uint8_t(bytes[at + 3]));
}

inline uint64_t getLE64(const std::string& bytes, size_t at)
{
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i)
        value = value << 8 | uint8_t(bytes[at + size_t(i)]);
    return value;
}

inline uint32_t getLE32(const std::string& bytes, size_t at)
{
    return uint32_t(getLE64(bytes + std::string(8, '\0'), at));
}

struct HandChunk
{
    std::string id;
    std::string data;
};

/** A preset file: header with `classText`, the chunks in order, then the list. With
    `listCount` >= 0 the list claims that many entries whatever follows. */
inline std::string handPreset(const std::string& classText, const std::vector<HandChunk>& chunks,
                              int32_t listCount = -1)
{
    std::string bytes = "QEL3";
    putLE32(bytes, 1);
    bytes += classText;
    std::string body;
    std::string list = "List";
    putLE32(list, uint32_t(listCount >= 0 ? listCount : int32_t(chunks.size())));
    for (const HandChunk& chunk : chunks)
    {
        list += chunk.id;
        putLE64(list, 48 + body.size());
        putLE64(list, chunk.data.size());
        body += chunk.data;
    }
    putLE64(bytes, 48 + body.size());
    return bytes + body + list;
}

/** An owned memory stream with `bytes`; the caller releases it. */
inline FMemoryStream* streamOf(const std::string& bytes)
{
    return new FMemoryStream(bytes.data(), int64(bytes.size()));
}

inline std::string contentOf(FMemoryStream* stream)
{
    return std::string(stream->data(), size_t(stream->size()));
}

} // namespace Quillmark::testing
