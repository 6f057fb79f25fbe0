// Symbol tables read from module files: the hidden functions of a real module are named, and
// damaged files are refused or read in part, never past their end.
#include "rtcheck/elfsymbols.h"

#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <vector>

namespace Quillmark
{
namespace
{

using testing::fixture;
using testing::readFile;

std::vector<uint8_t> bytesOf(const std::string& path)
{
    const std::string text = readFile(path);
    return std::vector<uint8_t>(text.begin(), text.end());
}

TEST(ElfSymbols, NamesTheExportedEntryOfALoadedModuleAndItsHiddenFunctions)
{
    const std::string path = fixture(Qel::Examples::kRealtimeFaultsModule);
    ElfSymbols symbols;
    ASSERT_TRUE(symbols.load(path));
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(module, nullptr);
    void* entry = dlsym(module, "GetPluginFactory");
    ASSERT_NE(entry, nullptr);
    Dl_info info{};
    ASSERT_NE(dladdr(entry, &info), 0);
    const uint64_t offset =
        reinterpret_cast<uintptr_t>(entry) - reinterpret_cast<uintptr_t>(info.dli_fbase);
    EXPECT_EQ(symbols.find(offset), "GetPluginFactory");
    EXPECT_EQ(symbols.find(offset + 1), "GetPluginFactory"); // inside, not only at the start
    dlclose(module);
    // The module exports one function, yet its full table holds its classes' functions.
    EXPECT_GT(symbols.count(), 50u);
}

TEST(ElfSymbols, RefusesWhatIsNoElf64FileAndReadsAHeaderAlone)
{
    ElfSymbols symbols;
    const uint8_t text[] = "just some text, long enough to be a header if it were one.........";
    EXPECT_FALSE(symbols.parse(text, sizeof text));
    EXPECT_FALSE(symbols.parse(text, 0));
    std::vector<uint8_t> module = bytesOf(fixture(Qel::Examples::kRealtimeFaultsModule));
    ASSERT_GT(module.size(), 64u);
    std::vector<uint8_t> header(module.begin(), module.begin() + 64);
    EXPECT_TRUE(symbols.parse(header.data(), header.size()));
    EXPECT_EQ(symbols.count(), 0u);
    EXPECT_EQ(symbols.find(0x1000), "");
    header[4] = 1; // 32-bit class
    EXPECT_FALSE(symbols.parse(header.data(), header.size()));
    EXPECT_FALSE(symbols.load("/nonexistent/module.so"));
}

TEST(ElfSymbols, SurvivesTruncationAndDamagedTables)
{
    std::vector<uint8_t> module = bytesOf(fixture(Qel::Examples::kRealtimeFaultsModule));
    ASSERT_GT(module.size(), 4096u);
    ElfSymbols whole;
    ASSERT_TRUE(whole.parse(module.data(), module.size()));
    // Cut anywhere: the tables beyond the end are skipped.
    for (std::size_t length = 64; length < module.size(); length += module.size() / 37)
    {
        ElfSymbols part;
        EXPECT_TRUE(part.parse(module.data(), length));
        EXPECT_LE(part.count(), whole.count());
    }
    // Section offsets and sizes bent to point far away.
    uint64_t sectionOffset = 0;
    std::memcpy(&sectionOffset, module.data() + 0x28, 8);
    uint16_t sections = 0;
    std::memcpy(&sections, module.data() + 0x3C, 2);
    for (uint16_t i = 0; i < sections; ++i)
    {
        std::vector<uint8_t> bent = module;
        const std::size_t at = std::size_t(sectionOffset) + i * 64u;
        if (at + 64 > bent.size())
            break;
        const uint64_t huge = ~uint64_t(0) - 7;
        std::memcpy(bent.data() + at + 24, &huge, 8); // offset
        std::memcpy(bent.data() + at + 32, &huge, 8); // size
        ElfSymbols damaged;
        EXPECT_TRUE(damaged.parse(bent.data(), bent.size()));
        damaged.find(0x1000);
    }
}

} // namespace
} // namespace Quillmark
