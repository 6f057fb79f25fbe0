// The function symbols of an ELF64 file: from its full symbol table where it still has one, and
// from its dynamic one, so that an address inside a module can be named even when the module
// exports nothing but its entry point. Made by the stack symbolizer, one per file; a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Quillmark
{

class ElfSymbols
{
public:
    /** Reads the symbols of an image in memory; false when it is no little-endian ELF64
        file. Damaged tables are skipped where they can be, never read past the end. */
    bool parse(const uint8_t* bytes, std::size_t size);
    /** Reads the file; false when it cannot be read or is no ELF64 file. */
    bool load(const std::string& path);

    /** The (mangled) name of the function holding `offset`, counted from where the file is
        loaded; empty when no symbol holds it. */
    std::string find(uint64_t offset) const;
    std::size_t count() const { return symbols.size(); }

private:
    struct Symbol
    {
        uint64_t start = 0;
        uint64_t size = 0;
        std::string name;
    };
    std::vector<Symbol> symbols; // by start
    uint64_t loadBase = 0;       // the address the lowest loaded segment asks for
};

} // namespace Quillmark
