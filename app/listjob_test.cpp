// Runs the real program as a user would, and reads what it prints and what it leaves on disk.
#include "app/commandline.h"
#include "base/fdefaults.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "qel3/ipluginfactory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <sys/wait.h>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using Quillmark::testing::copyInto;
using Quillmark::testing::readFile;
namespace fs = std::filesystem;

namespace
{

struct ProgramRun
{
    int status = -1;
    std::string out;
    std::string err;
};

std::string quote(const std::string& text)
{
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

class ListCommand : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        std::string command = quote(QEL_PROGRAM) + " --config-dir " + quote(config);
        for (const std::string& argument : arguments)
            command += " " + quote(argument);
        std::string out = temp.file("out.txt"), err = temp.file("err.txt");
        command += " </dev/null >" + quote(out) + " 2>" + quote(err);
        ProgramRun result;
        int raw = std::system(command.c_str());
        result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        result.out = readFile(out);
        result.err = readFile(err);
        return result;
    }

    static std::vector<std::string> lines(const std::string& text)
    {
        std::vector<std::string> result;
        std::istringstream in(text);
        for (std::string line; std::getline(in, line);)
            result.push_back(line);
        return result;
    }

    static std::vector<std::string> fields(const std::string& line)
    {
        std::vector<std::string> result;
        std::istringstream in(line);
        for (std::string field; std::getline(in, field, '\t');)
            result.push_back(field);
        return result;
    }

    Quillmark::testing::TempFolder temp;
    std::string config = temp.folder("config");
    std::string modules = temp.folder("modules");
};

} // namespace

TEST_F(ListCommand, PrintsOneLinePerClassWithEveryField)
{
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    copyInto(Quillmark::testing::exampleModule(kQelToneModule), modules);
    ProgramRun result = run({"--list", modules});
    ASSERT_EQ(result.status, 0) << result.err;
    std::vector<std::string> out = lines(result.out);
    ASSERT_EQ(out.size(), 4u) << result.out;
    std::vector<std::string> gain = fields(out[0]);
    ASSERT_EQ(gain.size(), 7u) << out[0];
    EXPECT_EQ(gain[0], kAudioModuleClass);
    EXPECT_EQ(gain[1], kQelGainName);
    EXPECT_EQ(gain[2], FUID(kQelGainCid).toRegistryString());
    EXPECT_EQ(gain[3], kExampleVendor);
    EXPECT_EQ(gain[4], "1.0.0");
    EXPECT_EQ(gain[5], "Fx|Dynamics");
    EXPECT_EQ(gain[6], modules + "/QelGain.qel3/Contents/x86_64-linux/QelGain.so");
    EXPECT_EQ(fields(out[1])[1], kQelToneName);
    EXPECT_EQ(fields(out[2])[0], kComponentControllerClass);
    // Nothing but results on stdout; without --verbose and a terminal, nothing on stderr.
    EXPECT_EQ(result.err, "");
}

TEST_F(ListCommand, VerboseTellsCacheFromLoadAndWhySomethingWasSkipped)
{
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    copyInto(Quillmark::testing::fixture(kNoEntryModule), modules);
    ProgramRun first = run({"--list", "--verbose", modules});
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_NE(first.err.find("loaded   " + modules + "/" + kQelGainModule), std::string::npos)
        << first.err;
    EXPECT_NE(first.err.find("skipped  " + modules + "/" + kNoEntryModule), std::string::npos)
        << first.err;

    ProgramRun second = run({"--list", "--verbose", modules});
    ASSERT_EQ(second.status, 0);
    EXPECT_NE(second.err.find("cached   " + modules + "/" + kQelGainModule), std::string::npos)
        << second.err;
    EXPECT_EQ(second.err.find("loaded"), std::string::npos) << second.err;
    EXPECT_EQ(second.out, first.out);
}

TEST_F(ListCommand, ExitStatusAndUsageErrors)
{
    ProgramRun nothing = run({"--list", temp.folder("empty")});
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.out, "");
    EXPECT_NE(nothing.err.find("no class found"), std::string::npos);

    ProgramRun unknown = run({"--list", "--frobnicate"});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("--frobnicate"), std::string::npos);

    ProgramRun noJob = run({modules});
    EXPECT_EQ(noJob.status, 2);

    ProgramRun help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("--list"), std::string::npos);
}

TEST_F(ListCommand, DamagedFilesAreReportedAndTheirGoodEntriesKept)
{
    copyInto(Quillmark::testing::exampleModule(kQelGainModule), modules);
    for (int i = 0; i < 4; ++i)
        copyInto(Quillmark::testing::fixture(kSelfNamedModule), modules,
                 "self" + std::to_string(i) + ".so");
    ASSERT_EQ(run({"--list", modules}).status, 0);

    // Preferences with a group early in the file, then damage the end of both files.
    std::string defaults = config + "/Defaults";
    {
        auto* pool = new FDefaultPool(defaults);
        pool->load();
        pool->lookup("Alpha", 1, true)->setInt("kept", 42);
        for (int i = 0; i < 20; ++i)
            pool->lookup(("Filler " + std::to_string(i)).c_str(), 1, true)->setInt("n", i);
        ASSERT_TRUE(pool->save());
        pool->release();
    }
    for (const std::string& file : {defaults, config + "/Module Cache"})
    {
        std::string text = readFile(file);
        Quillmark::testing::writeFile(file, text.substr(0, text.size() * 2 / 3));
        fs::remove(file + ".bak");
    }

    ProgramRun damaged = run({"--list", "--verbose", modules});
    EXPECT_EQ(damaged.status, 0) << damaged.err;
    EXPECT_NE(damaged.err.find("Defaults"), std::string::npos) << damaged.err;
    EXPECT_NE(damaged.err.find("Module Cache"), std::string::npos) << damaged.err;
    EXPECT_NE(damaged.err.find("cached"), std::string::npos) << damaged.err;
    EXPECT_EQ(lines(damaged.out).size(), 7u);

    auto* pool = new FDefaultPool(defaults);
    EXPECT_TRUE(pool->load());
    FDefaults* alpha = pool->lookup("Alpha", 1, false);
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->getInt("kept", 0), 42);
    pool->release();

    // The cache is whole again afterwards.
    ProgramRun after = run({"--list", "--verbose", modules});
    EXPECT_EQ(after.status, 0);
    EXPECT_EQ(after.err.find("loaded"), std::string::npos) << after.err;
    EXPECT_EQ(after.err.find("Module Cache"), std::string::npos) << after.err;
}

TEST(CommandLineParse, ReadsJobsFoldersAndOptions)
{
    const char* argv[] = {"prog", "--list", "/a", "--verbose", "/b", "--config-dir", "/c"};
    CommandLine parsed = CommandLine::parse(7, argv);
    EXPECT_TRUE(parsed.error.empty());
    EXPECT_EQ(parsed.job, CommandLine::Job::kList);
    EXPECT_EQ(parsed.folders, (std::vector<std::string>{"/a", "/b"}));
    EXPECT_TRUE(parsed.verbose);
    EXPECT_EQ(parsed.configFolder, "/c");

    const char* missing[] = {"prog", "--list", "--config-dir"};
    EXPECT_NE(CommandLine::parse(3, missing).error.find("--config-dir"), std::string::npos);
    const char* two[] = {"prog", "--list", "--help"};
    EXPECT_FALSE(CommandLine::parse(3, two).error.empty());
}
