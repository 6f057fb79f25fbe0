#include "base/platform/atomicfile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace Quillmark;
namespace fs = std::filesystem;

namespace
{

class AtomicFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern = std::string(base && *base ? base : "/tmp") + "/qel-atomic-XXXXXX";
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder = pattern;
    }
    void TearDown() override { fs::remove_all(folder); }

    static std::string read(const fs::path& path)
    {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }

    std::vector<std::string> names(const fs::path& where) const
    {
        std::vector<std::string> out;
        for (const auto& entry : fs::directory_iterator(where))
            out.push_back(entry.path().filename().string());
        std::sort(out.begin(), out.end());
        return out;
    }

    fs::path folder;
};

} // namespace

TEST_F(AtomicFileTest, WritesCreatesFoldersAndKeepsThePreviousFile)
{
    fs::path path = folder / "deeper" / "still" / "Settings";
    std::string keep = path.string() + ".bak";
    std::string error;
    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "first", 5, &error, keep)) << error;
    EXPECT_EQ(read(path), "first");
    EXPECT_FALSE(fs::exists(keep)); // nothing stood there before

    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "second", 6, &error, keep));
    EXPECT_EQ(read(path), "second");
    EXPECT_EQ(read(keep), "first");
    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "", 0, &error, keep));
    EXPECT_EQ(read(path), "");
    EXPECT_EQ(read(keep), "second");
    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "fourth", 6, &error));
    EXPECT_EQ(read(keep), "second"); // without a name to keep it, the previous file goes
    EXPECT_EQ(names(path.parent_path()), (std::vector<std::string>{"Settings", "Settings.bak"}));
}

TEST_F(AtomicFileTest, KeepsThePermissionsOfTheFileItReplaces)
{
    fs::path path = folder / "private";
    std::string error;
    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "a", 1, &error));
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    ASSERT_TRUE(platform::writeFileAtomically(path.string(), "b", 1, &error));
    struct stat info;
    ASSERT_EQ(::stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
}

TEST_F(AtomicFileTest, FailureChangesNothingAndLeavesNoTemporaryFile)
{
    fs::path blocker = folder / "blocker";
    fs::create_directory(blocker);
    std::string error;
    EXPECT_FALSE(platform::writeFileAtomically(blocker.string(), "x", 1, &error));
    EXPECT_NE(error.find(blocker.string()), std::string::npos) << error;
    EXPECT_TRUE(fs::is_directory(blocker));

    fs::path plainFile = folder / "file";
    ASSERT_TRUE(platform::writeFileAtomically(plainFile.string(), "keep", 4, &error));
    error.clear();
    EXPECT_FALSE(platform::writeFileAtomically((plainFile / "inside").string(), "x", 1, &error));
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(read(plainFile), "keep");
    EXPECT_EQ(names(folder), (std::vector<std::string>{"blocker", "file"}));
    EXPECT_FALSE(platform::writeFileAtomically("", "x", 1, nullptr));
}

TEST_F(AtomicFileTest, AKilledWriterLeavesEitherTheOldOrTheNewFile)
{
    const std::string path = (folder / "Defaults").string();
    const std::string keep = path + ".bak";
    const std::string a(1 << 20, 'a');
    const std::string b(1 << 19, 'b');
    ASSERT_TRUE(platform::writeFileAtomically(path, b.data(), b.size(), nullptr, keep));
    ASSERT_TRUE(platform::writeFileAtomically(path, a.data(), a.size(), nullptr, keep));

    for (int round = 0; round < 12; ++round)
    {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0)
        {
            for (int i = 0;; ++i)
            {
                const std::string& content = (i % 2) ? a : b;
                platform::writeFileAtomically(path, content.data(), content.size(), nullptr, keep);
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1 + round * 3));
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));

        std::string main = read(path);
        EXPECT_TRUE(main == a || main == b) << "round " << round << ": " << main.size();
        std::string kept = read(keep);
        EXPECT_TRUE(kept == a || kept == b) << "round " << round << ": " << kept.size();
        // Only temporary files of the killed writer may stand beside the two.
        for (const std::string& name : names(folder))
            EXPECT_TRUE(name == "Defaults" || name == "Defaults.bak" ||
                        name.find(".tmp-") != std::string::npos)
                << name;
    }
}
