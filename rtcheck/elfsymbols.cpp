#include "rtcheck/elfsymbols.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

namespace Quillmark
{

namespace
{

constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kSectionHeaderSize = 64;
constexpr std::size_t kProgramHeaderSize = 56;
constexpr std::size_t kSymbolSize = 24;
constexpr uint32_t kSymbolTable = 2;   // SHT_SYMTAB
constexpr uint32_t kDynamicTable = 11; // SHT_DYNSYM
constexpr uint32_t kLoadSegment = 1;   // PT_LOAD
constexpr uint8_t kFunction = 2;       // STT_FUNC
// A file larger than this is no module the host would load.
constexpr std::size_t kLargestFile = std::size_t(1) << 31;

template <class T> bool readAt(const uint8_t* bytes, std::size_t size, uint64_t offset, T& value)
{
    if (offset > size || size - offset < sizeof(T))
        return false;
    std::memcpy(&value, bytes + offset, sizeof(T));
    return true;
}

} // namespace

bool ElfSymbols::parse(const uint8_t* bytes, std::size_t size)
{
    symbols.clear();
    loadBase = 0;
    if (size < kHeaderSize ||
        std::memcmp(bytes,
                    "\x7f"
                    "ELF",
                    4) != 0 ||
        bytes[4] != 2 || bytes[5] != 1)
        return false;
    uint64_t programOffset = 0, sectionOffset = 0;
    uint16_t programEntrySize = 0, programCount = 0, sectionEntrySize = 0, sectionCount = 0;
    readAt(bytes, size, 0x20, programOffset);
    readAt(bytes, size, 0x28, sectionOffset);
    readAt(bytes, size, 0x36, programEntrySize);
    readAt(bytes, size, 0x38, programCount);
    readAt(bytes, size, 0x3A, sectionEntrySize);
    readAt(bytes, size, 0x3C, sectionCount);

    bool haveLoad = false;
    if (programEntrySize >= kProgramHeaderSize)
        for (uint16_t i = 0; i < programCount; ++i)
        {
            const uint64_t at = programOffset + uint64_t(i) * programEntrySize;
            uint32_t type = 0;
            uint64_t address = 0, alignment = 0;
            if (!readAt(bytes, size, at, type) || !readAt(bytes, size, at + 16, address) ||
                !readAt(bytes, size, at + 48, alignment))
                break;
            if (type != kLoadSegment)
                continue;
            if (alignment > 1 && (alignment & (alignment - 1)) == 0)
                address &= ~(alignment - 1);
            if (!haveLoad || address < loadBase)
                loadBase = address;
            haveLoad = true;
        }

    if (sectionEntrySize < kSectionHeaderSize)
        return true;
    for (uint16_t i = 0; i < sectionCount; ++i)
    {
        const uint64_t at = sectionOffset + uint64_t(i) * sectionEntrySize;
        uint32_t type = 0, link = 0;
        uint64_t offset = 0, tableSize = 0, entrySize = 0;
        if (!readAt(bytes, size, at + 4, type) || !readAt(bytes, size, at + 24, offset) ||
            !readAt(bytes, size, at + 32, tableSize) || !readAt(bytes, size, at + 40, link) ||
            !readAt(bytes, size, at + 56, entrySize))
            break;
        if ((type != kSymbolTable && type != kDynamicTable) || entrySize < kSymbolSize ||
            link >= sectionCount)
            continue;
        const uint64_t namesAt = sectionOffset + uint64_t(link) * sectionEntrySize;
        uint64_t namesOffset = 0, namesSize = 0;
        if (!readAt(bytes, size, namesAt + 24, namesOffset) ||
            !readAt(bytes, size, namesAt + 32, namesSize) || namesOffset > size ||
            namesSize > size - namesOffset)
            continue;
        if (offset > size || tableSize > size - offset)
            continue;
        const uint64_t entries = tableSize / entrySize;
        for (uint64_t e = 0; e < entries; ++e)
        {
            const uint64_t symbolAt = offset + e * entrySize;
            uint32_t nameOffset = 0;
            uint8_t info = 0;
            uint16_t sectionIndex = 0;
            uint64_t value = 0, symbolSize = 0;
            readAt(bytes, size, symbolAt, nameOffset);
            readAt(bytes, size, symbolAt + 4, info);
            readAt(bytes, size, symbolAt + 6, sectionIndex);
            readAt(bytes, size, symbolAt + 8, value);
            readAt(bytes, size, symbolAt + 16, symbolSize);
            if ((info & 0xF) != kFunction || sectionIndex == 0 || value == 0 ||
                nameOffset >= namesSize)
                continue;
            const char* name = reinterpret_cast<const char*>(bytes + namesOffset + nameOffset);
            const std::size_t length = strnlen(name, std::size_t(namesSize - nameOffset));
            if (length == 0 || length == namesSize - nameOffset)
                continue;
            symbols.push_back({value, symbolSize, std::string(name, length)});
        }
    }
    std::sort(symbols.begin(), symbols.end(),
              [](const Symbol& a, const Symbol& b)
              { return a.start < b.start || (a.start == b.start && a.size > b.size); });
    return true;
}

bool ElfSymbols::load(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        return false;
    file.seekg(0, std::ios::end);
    const std::streamoff length = file.tellg();
    if (length <= 0 || std::size_t(length) > kLargestFile)
        return false;
    file.seekg(0);
    std::vector<uint8_t> bytes(static_cast<std::size_t>(length));
    if (!file.read(reinterpret_cast<char*>(bytes.data()), length))
        return false;
    return parse(bytes.data(), bytes.size());
}

std::string ElfSymbols::find(uint64_t offset) const
{
    const uint64_t address = offset + loadBase;
    auto after =
        std::upper_bound(symbols.begin(), symbols.end(), address,
                         [](uint64_t value, const Symbol& symbol) { return value < symbol.start; });
    // The nearest symbols that start at or before the address; the first that holds it wins.
    for (auto it = after; it != symbols.begin();)
    {
        --it;
        if (address < it->start + std::max<uint64_t>(it->size, 1))
            return it->name;
        if (address - it->start > (uint64_t(1) << 20))
            break;
    }
    return {};
}

} // namespace Quillmark
