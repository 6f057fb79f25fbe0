// The --info mode run as a user runs it: over the fixture with every kind of record, the
// examples, and a module whose class cannot be created.
#include "app/commandline.h"
#include "app/programtestsupport.h"
#include "base/fuid.h"
#include "plugins/common/exampleids.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Quillmark;
using namespace Quillmark::testing;
using namespace Quillmark::Qel::Examples;

namespace
{

class InfoCommand : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        return runProgram(temp, config, arguments);
    }

    /** The lines of one class's page: from its "classId" line to the next one. */
    static std::vector<std::string> page(const std::string& out, const std::string& name)
    {
        std::vector<std::string> lines = splitLines(out), result;
        bool inside = false;
        for (size_t index = 0; index < lines.size(); ++index)
        {
            if (lines[index].rfind("classId\t", 0) == 0)
                inside = index + 1 < lines.size() && lines[index + 1] == "name\t" + name;
            if (inside)
                result.push_back(lines[index]);
        }
        // The blank line that separates pages belongs to none.
        while (!result.empty() && result.back().empty())
            result.pop_back();
        return result;
    }

    static bool has(const std::vector<std::string>& lines, const std::string& line)
    {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

    TempFolder temp;
    std::string config = temp.folder("config");
    std::string modules = temp.folder("modules");
};

} // namespace

TEST_F(InfoCommand, PrintsValuesThenEachTreeWithItsColumnsAndIndentation)
{
    copyInto(fixture(kInfoRecordsModule), modules);
    ProgramRun result = run({"--info", modules, "--class", kInfoRecordsName});
    ASSERT_EQ(result.status, kExitOk) << result.err;
    std::vector<std::string> lines = page(result.out, kInfoRecordsName);
    ASSERT_GE(lines.size(), 12u) << result.out;
    EXPECT_EQ(lines[0], "classId\t" + FUID(kInfoRecordsCid).toRegistryString());
    EXPECT_EQ(lines[3], "editorClass\t" + FUID(kInfoRecordsCid).toRegistryString());
    EXPECT_EQ(lines[11], "folder\t" + std::string(kInfoRecordsModule));
    EXPECT_EQ(lines[12], "");
    EXPECT_EQ(lines[13], "Bus Tree");
    EXPECT_EQ(lines[14], "Name\tIndex\tBus Type\tMedia Type\tNum Channels\tDef Active");
    EXPECT_TRUE(has(lines, "    Side In\t1\tAux\tAudio\t1\tNo"));
    EXPECT_TRUE(has(lines, "Parameter Tree"));
    EXPECT_TRUE(
        has(lines, "          Cutoff\tCut\t0\tFloat\t0.250000\tHz\t10\t4\tYes\tNo\tNo\t0 - 3 - 7"));
    EXPECT_TRUE(has(lines, "NoteChange Tree"));
    EXPECT_TRUE(has(lines, "  Event Bus 2\t\t\t\t\t\t\t\t\t\t\t\t\t"));
    EXPECT_TRUE(has(lines, "keySwitch Tree"));
    EXPECT_TRUE(has(lines, "      Low Keys\tKS\t1\tKeyRange\tC-2 (0) - B-2 (11)\tC3 (60)\t2"));
    // The throwing value text is reported on stderr with the class's name.
    EXPECT_NE(result.err.find(kInfoRecordsName), std::string::npos) << result.err;
    EXPECT_EQ(result.out.find("Generic Editor"), std::string::npos);
}

TEST_F(InfoCommand, GenericAddsTheShownParametersAndEveryClassIsShown)
{
    copyInto(fixture(kInfoRecordsModule), modules);
    ProgramRun result = run({"--info", "--generic", modules});
    ASSERT_EQ(result.status, kExitOk) << result.err;
    for (const char* name :
         {kInfoRecordsName, kInfoNoControllerName, kInfoSingleBusName, kInfoEmptyName})
        EXPECT_FALSE(page(result.out, name).empty()) << name;
    std::vector<std::string> records = page(result.out, kInfoRecordsName);
    auto header = std::find(records.begin(), records.end(),
                            "Number\tID\tTitle\tUnit\tStyle\tDefault\tValue\tText");
    ASSERT_NE(header, records.end());
    ASSERT_GE(records.end() - header, 10);
    EXPECT_EQ(header[1], "0\t10\tCutoff\tHz\tfloat\t0.250000\t0.250000\t25 %");
    EXPECT_EQ(header[2], "1\t11\tPower\t\ttoggle\t0\t1\tstep 1");
    EXPECT_EQ(header[3], "2\t12\tMode\t\tlist\t3\t3\tstep 3");
    EXPECT_EQ(header[4], "3\t13\tTable\t\tdiscrete\t10\t10\tstep 10");
    EXPECT_EQ(header[9], "8\t20\tWrap\t\tlist\t7\t7\tstep 7");
    EXPECT_EQ(records.end() - header, 10); // nine shown parameters
    std::vector<std::string> plain = page(result.out, kInfoNoControllerName);
    EXPECT_TRUE(has(plain, "editorClass\tNo Editor"));
    EXPECT_FALSE(has(plain, "Parameter Tree"));
}

TEST_F(InfoCommand, AClassThatCannotBeCreatedIsNamedAndTheOthersAreShown)
{
    copyInto(fixture(kThrowingModule), modules);
    copyInto(fixture(kInfoRecordsModule), modules);
    ProgramRun result = run({"--info", modules});
    EXPECT_EQ(result.status, kExitFailure);
    EXPECT_NE(result.err.find(std::string("\"") + kThrowingName + "\""), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("could not be created"), std::string::npos);
    EXPECT_FALSE(page(result.out, kInfoEmptyName).empty());
    EXPECT_FALSE(page(result.out, kInfoRecordsName).empty());

    ProgramRun none = run({"--info", modules, "--class", "{00000000-0000-0000-0000-000000000001}"});
    EXPECT_EQ(none.status, kExitFailure);
    EXPECT_TRUE(none.out.empty());
    EXPECT_NE(none.err.find("no class found"), std::string::npos);
}

TEST_F(InfoCommand, TheExamplesHaveEveryTree)
{
    copyInto(exampleModule(kQelSynthModule), modules);
    ProgramRun result = run({"--info", modules, "--class", FUID(kQelSynthCid).toRegistryString()});
    ASSERT_EQ(result.status, kExitOk) << result.err;
    std::vector<std::string> synth = page(result.out, kQelSynthName);
    for (const char* title : {"Bus Tree", "Parameter Tree", "NoteChange Tree", "keySwitch Tree"})
        EXPECT_TRUE(has(synth, title)) << title;
    EXPECT_TRUE(has(synth, "    Sustain\tSus\t0\tNoteOn\tC (24)\t\t0"));
}

TEST(InfoCommandLine, OptionsBelongToTheirJob)
{
    auto parse = [](std::vector<const char*> arguments)
    {
        arguments.insert(arguments.begin(), "Qel3PluginTestHost");
        return CommandLine::parse(int(arguments.size()), arguments.data());
    };
    CommandLine info = parse({"--info", "a.so", "--class", "Qel Synth", "--generic"});
    EXPECT_TRUE(info.error.empty()) << info.error;
    EXPECT_EQ(info.job, CommandLine::Job::kInfo);
    EXPECT_TRUE(info.generic);
    EXPECT_EQ(info.testClass, "Qel Synth");
    EXPECT_EQ(info.folders, std::vector<std::string>{"a.so"});
    EXPECT_EQ(parse({"--list", "--generic"}).error, "--generic belongs to --info");
    EXPECT_EQ(parse({"--info", "--select", "x"}).error,
              "--select belongs to --test or --list-tests");
    EXPECT_EQ(parse({"--info", "--class", "x", "--select", "y"}).error,
              "--select belongs to --test or --list-tests");
    EXPECT_EQ(parse({"--info", "--list"}).error, "only one job at a time: --list");
}
