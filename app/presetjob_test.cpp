// Runs the preset modes of the real program over the example plug-ins.
#include "app/programtestsupport.h"
#include "plugins/common/exampleids.h"
#include "presets/presettestsupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Quillmark::testing;
using namespace Quillmark::Qel::Examples;

namespace
{

class PresetCommands : public ::testing::Test
{
protected:
    ProgramRun run(const std::vector<std::string>& arguments)
    {
        return runProgram(temp, config, arguments);
    }

    TempFolder temp;
    std::string config = temp.folder("config");
    std::string modules = std::string(QEL_MODULE_DIR);
};

std::vector<std::string> column(const std::string& text, size_t index)
{
    std::vector<std::string> values;
    for (const std::string& line : splitLines(text))
    {
        std::istringstream in(line);
        std::string field;
        for (size_t i = 0; i <= index && std::getline(in, field, '\t'); ++i)
            ;
        values.push_back(field);
    }
    return values;
}

} // namespace

TEST_F(PresetCommands, GainRoundTripRestoresTheSetValues)
{
    std::string file = temp.file("gain.qelpreset");
    ProgramRun saved = run({"--preset-save", "--class", kQelGainName, modules, "--set", "0=0.25",
                            "--set", "1=1", file});
    ASSERT_EQ(saved.status, 0) << saved.err;

    ProgramRun loaded = run({"--preset-load", "--class", kQelGainName, modules, file});
    ASSERT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(column(loaded.out, 2), (std::vector<std::string>{"0.250000", "1.000000"}));
    EXPECT_EQ(column(loaded.out, 1), (std::vector<std::string>{"Gain", "Bypass"}));

    // A fresh instance without the preset has other values, so the load did the work.
    ProgramRun fresh =
        run({"--preset-save", "--class", kQelGainName, modules, temp.file("default.qelpreset")});
    ASSERT_EQ(fresh.status, 0) << fresh.err;
    ProgramRun defaults =
        run({"--preset-load", "--class", kQelGainName, modules, temp.file("default.qelpreset")});
    EXPECT_NE(column(defaults.out, 2), column(loaded.out, 2));

    ProgramRun info = run({"--preset-info", file});
    ASSERT_EQ(info.status, 0) << info.err;
    std::vector<std::string> lines = splitLines(info.out);
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0], "class\t03613F70028A2E002337D42CBAA5C897");
    EXPECT_EQ(lines[1].rfind("chunk\tComp\t48\t", 0), 0u) << lines[1];
    EXPECT_EQ(lines[2].rfind("chunk\tCont\t", 0), 0u) << lines[2];
    EXPECT_EQ(lines[3].rfind("chunk\tInfo\t", 0), 0u) << lines[3];
    EXPECT_NE(info.out.find("attribute\tPlugInName\tstring\tQel Gain\twriteProtected\n"),
              std::string::npos)
        << info.out;
}

TEST_F(PresetCommands, SynthRoundTripByClassIdentifier)
{
    std::string file = temp.file("synth.qelpreset");
    // A program change sets other parameters too, so it goes first.
    ProgramRun saved = run({"--preset-save", "--class", kQelSynthName, modules, "--set", "6=1",
                            "--set", "0=0.5", "--set", "1=1", file});
    ASSERT_EQ(saved.status, 0) << saved.err;
    ProgramRun loaded =
        run({"--preset-load", "--class", "{808B32C0-AC62-47E5-9C97-2E237EC179A6}", modules, file});
    ASSERT_EQ(loaded.status, 0) << loaded.err;
    std::vector<std::string> values = column(loaded.out, 2);
    ASSERT_EQ(values.size(), size_t(kQelSynthParameterCount));
    EXPECT_EQ(values[kQelSynthVolumeParamId], "0.500000");
    EXPECT_EQ(values[kQelSynthWaveformParamId], "1.000000");
    EXPECT_EQ(values[kQelSynthProgramParamId], "1.000000");
}

TEST_F(PresetCommands, DamagedAndForeignFilesFailWithAReason)
{
    std::string file = temp.file("gain.qelpreset");
    ASSERT_EQ(run({"--preset-save", "--class", kQelGainName, modules, file}).status, 0);
    std::string good = readFile(file);

    std::string foreign = temp.file("foreign.qelpreset");
    writeFile(foreign, "RIFF" + good.substr(4));
    ProgramRun info = run({"--preset-info", foreign});
    EXPECT_EQ(info.status, 1);
    EXPECT_NE(info.err.find("not a preset file"), std::string::npos) << info.err;

    std::string truncated = temp.file("truncated.qelpreset");
    writeFile(truncated, good.substr(0, 60));
    info = run({"--preset-info", truncated});
    EXPECT_EQ(info.status, 1);
    EXPECT_NE(info.err.find("chunk list is damaged"), std::string::npos) << info.err;

    // A chunk that reaches past the end never reaches the plug-in.
    std::string outside = temp.file("outside.qelpreset");
    std::string damaged = good;
    // The top byte of the first entry's size, behind "List", the count and id and offset.
    damaged[size_t(getLE64(good, 40)) + 8 + 12 + 7] = '\x7f';
    writeFile(outside, damaged);
    ProgramRun load = run({"--preset-load", "--class", kQelGainName, modules, outside});
    EXPECT_EQ(load.status, 1);
    EXPECT_NE(load.err.find("lies outside the file"), std::string::npos) << load.err;
    EXPECT_TRUE(load.out.empty());

    // The preset of one class is not loaded into another.
    load = run({"--preset-load", "--class", kQelSynthName, modules, file});
    EXPECT_EQ(load.status, 1);
    EXPECT_NE(load.err.find("made by class"), std::string::npos) << load.err;
}

TEST_F(PresetCommands, ConversionNeedsItsAnswersUpFrontAndCountsWhatItConverted)
{
    std::string source = temp.folder("presets");
    std::string dest = temp.folder("old");
    ASSERT_EQ(run({"--preset-save", "--class", kQelGainName, modules, source + "/Quiet.qelpreset"})
                  .status,
              0);

    ProgramRun missing = run({"--convert-presets", source, dest, "--bank"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("--uid"), std::string::npos) << missing.err;
    missing = run({"--convert-presets", source, dest, "--uid", "QGAN"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_NE(missing.err.find("--bank or --program"), std::string::npos) << missing.err;

    ProgramRun converted = run({"--convert-presets", source, dest, "--uid", "QGANX", "--program"});
    ASSERT_EQ(converted.status, 0) << converted.err;
    EXPECT_EQ(converted.out, "1 Presets were converted.\n");
    std::string fxp = readFile(dest + "/Quiet.fxp");
    ASSERT_GT(fxp.size(), 76u);
    EXPECT_EQ(fxp.substr(0, 4), "CcnK");
    EXPECT_EQ(fxp.substr(16, 4), "QGAN");
    EXPECT_EQ(fxp.substr(28, 6), std::string("Quiet") + '\0');
}

TEST_F(PresetCommands, UsageErrorsNameTheOption)
{
    ProgramRun noClass = run({"--preset-save", modules, temp.file("x.qelpreset")});
    EXPECT_EQ(noClass.status, 1);
    EXPECT_NE(noClass.err.find("--class"), std::string::npos) << noClass.err;
    ProgramRun badSet =
        run({"--preset-save", "--class", kQelGainName, "--set", "0=2", temp.file("x.qelpreset")});
    EXPECT_EQ(badSet.status, 2);
    EXPECT_NE(badSet.err.find("--set"), std::string::npos) << badSet.err;
    EXPECT_FALSE(std::filesystem::exists(temp.file("x.qelpreset")));
}

TEST_F(PresetCommands, ParameterStructureOfQelSynth)
{
    ProgramRun run1 = run({"--param-structure", modules + "/QelSynth.qel3"});
    ASSERT_EQ(run1.status, 0) << run1.err;
    std::vector<std::string> lines = splitLines(run1.out);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0], "category\t240");
    EXPECT_NE(run1.out.find("group\tSound/Envelope\n"), std::string::npos) << run1.out;
    EXPECT_NE(run1.out.find("param\t3\tSound/Envelope\tRelease\t"), std::string::npos) << run1.out;
    EXPECT_NE(run1.out.find("param\t6\tPerformance\tProgram\tProg, P\tPrograms\t4\t"),
              std::string::npos)
        << run1.out;

    std::string broken = temp.file("broken.qelxml");
    writeFile(broken, "<QELParametersStructure><Param id=\"1\">");
    ProgramRun failed = run({"--param-structure", broken});
    EXPECT_EQ(failed.status, 1);
    EXPECT_NE(failed.err.find("Failed to parse QEL Parameters Structure"), std::string::npos)
        << failed.err;
    ProgramRun missing = run({"--param-structure", modules + "/QelGain.qel3"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.err.find("no parameter structure file"), std::string::npos) << missing.err;
}

TEST_F(PresetCommands, RepresentationOfQelGain)
{
    std::string document = (std::filesystem::path(__FILE__).parent_path().parent_path() /
                            "plugins/examples/QelGain/QelGain.representation.xml")
                               .string();
    ProgramRun shown = run({"--representation", document});
    ASSERT_EQ(shown.status, 0) << shown.err;
    std::vector<std::string> lines = splitLines(shown.out);
    ASSERT_EQ(lines.size(), 11u) << shown.out;
    EXPECT_EQ(lines[2], "page\tMain\tunit 0");
    EXPECT_EQ(lines[9], "\t\tlayer\tLayer\tLinked to BypassSwitch");
    EXPECT_EQ(lines[10], "\tcell\tCell 3\tEmpty");

    std::string cut = temp.file("cut.xml");
    writeFile(cut, readFile(document).substr(0, 1400));
    ProgramRun damaged = run({"--representation", cut});
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.err.find("damaged"), std::string::npos) << damaged.err;
    std::string foreign = temp.file("foreign.xml");
    writeFile(foreign, "<svg/>");
    EXPECT_EQ(run({"--representation", foreign}).status, 1);
}

TEST_F(PresetCommands, OverwritePluginNameChangesOnlyTheMetaInformation)
{
    std::string folder = temp.folder("rename");
    std::string file = folder + "/One.qelpreset";
    ASSERT_EQ(
        run({"--preset-save", "--class", kQelGainName, modules, "--set", "0=0.25", file}).status,
        0);
    std::string before = readFile(file);
    writeFile(folder + "/Two.qelpreset", "not a preset");

    ProgramRun noName = run({"--overwrite-plugin-name", folder});
    EXPECT_EQ(noName.status, 2);
    EXPECT_NE(noName.err.find("--name"), std::string::npos) << noName.err;

    ProgramRun renamed = run({"--overwrite-plugin-name", folder, "--name", "Gain Deluxe"});
    EXPECT_EQ(renamed.status, 1); // Two.qelpreset is no preset
    EXPECT_EQ(renamed.out, "1 Presets were converted.\n");
    EXPECT_NE(renamed.err.find("Two.qelpreset"), std::string::npos) << renamed.err;
    EXPECT_EQ(readFile(folder + "/Two.qelpreset"), "not a preset");

    ProgramRun info = run({"--preset-info", file});
    EXPECT_NE(info.out.find("attribute\tPlugInName\tstring\tGain Deluxe\twriteProtected\n"),
              std::string::npos)
        << info.out;
    // The state chunks kept their bytes and places.
    std::string after = readFile(file);
    EXPECT_EQ(after.substr(0, 40), before.substr(0, 40));
    ProgramRun loaded = run({"--preset-load", "--class", kQelGainName, modules, file});
    EXPECT_EQ(column(loaded.out, 2).front(), "0.250000");
}

TEST_F(PresetCommands, SynthCarriesOneProgramOfItsFactoryList)
{
    std::string pluck = temp.file("pluck.qelpreset");
    std::string soft = temp.file("soft.qelpreset");
    ASSERT_EQ(
        run({"--preset-save", "--class", kQelSynthName, modules, "--program-index", "3", pluck})
            .status,
        0);
    ASSERT_EQ(run({"--preset-save", "--class", kQelSynthName, modules, soft}).status, 0);

    ProgramRun info = run({"--preset-info", pluck});
    // The list id (4 bytes), then tag, version, count and four pairs of id and value.
    EXPECT_NE(info.out.find("chunk\tProg\t240\t" + std::to_string(4 + 12 + 4 * 12) + "\n"),
              std::string::npos)
        << info.out;
    EXPECT_NE(info.out.find("attribute\tQEL3UnitTypePath\tstring\tprogram\thidden|writeProtected"),
              std::string::npos)
        << info.out;

    ProgramRun loadedPluck = run({"--preset-load", "--class", kQelSynthName, modules, pluck});
    ProgramRun loadedSoft = run({"--preset-load", "--class", kQelSynthName, modules, soft});
    ASSERT_EQ(loadedPluck.status, 0) << loadedPluck.err;
    std::vector<std::string> texts = column(loadedPluck.out, 3);
    ASSERT_EQ(texts.size(), size_t(kQelSynthParameterCount));
    EXPECT_EQ(texts[kQelSynthWaveformParamId], "Saw");
    EXPECT_NE(column(loadedSoft.out, 3)[kQelSynthWaveformParamId], "Saw");

    ProgramRun beyond =
        run({"--preset-save", "--class", kQelSynthName, modules, "--program-index", "4", soft});
    EXPECT_EQ(beyond.status, 1);
    EXPECT_NE(beyond.err.find("beyond the 4 programs"), std::string::npos) << beyond.err;
}
