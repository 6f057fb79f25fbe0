#include "presets/qelpresetmedium.h"

#include "hosting/testsupport.h"
#include "presets/presetfile.h"
#include "presets/presettestsupport.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kClassText = "808B32C0AC6247E59C972E237EC179A6";

const std::string kInfo =
    "<MetaInfo>"
    "<Attribute id=\"MusicalStyle\" value=\"Pop\" type=\"string\" flags=\"\"/>"
    "<Attribute id=\"Rating\" value=\"3\" type=\"int\" flags=\"hidden\"/>"
    "</MetaInfo>";

} // namespace

TEST(PresetMedium, ScanDescribesTheFileAndReadsItsMetaInformation)
{
    TempFolder temp;
    std::string path = temp.file("Lead.qelpreset");
    std::string prog;
    putLE32(prog, 0);
    writeFile(path, handPreset(kClassText, {{"Comp", "c"}, {"Prog", prog}, {"Info", kInfo}}));

    QelPresetMedium medium(path);
    ASSERT_TRUE(medium.scan(nullptr));
    const MediaAttributeList& list = medium.getAttributes();
    EXPECT_EQ(list.getString("MediaType"), "QelPreset");
    EXPECT_EQ(list.find("MediaType")->flags, MediaAttributeList::kWriteProtected);
    EXPECT_EQ(list.getString("FilePath"), path);
    EXPECT_EQ(list.find("FilePath")->flags, 2 | 8);
    EXPECT_EQ(list.getString("QEL3UnitTypePath"), "program");
    EXPECT_EQ(list.getString("QEL3UniqueID"), kClassText);
    EXPECT_EQ(list.find("QEL3UniqueID")->flags, 3);
    EXPECT_EQ(list.getString("FileName"), "Lead.qelpreset");
    EXPECT_EQ(list.getString("MusicalStyle"), "Pop");
    ASSERT_NE(list.find("Rating"), nullptr);
    EXPECT_EQ(list.find("Rating")->intValue, 3);
    EXPECT_EQ(list.find("Rating")->flags, MediaAttributeList::kHidden);
    // Without a registry nothing is known about the class.
    EXPECT_EQ(list.find("PlugInName"), nullptr);
}

TEST(PresetMedium, ForeignFilesAreRefused)
{
    TempFolder temp;
    std::string path = temp.file("song.qelpreset");
    writeFile(path, "RIFF\x10\0\0\0WAVEfmt ");
    QelPresetMedium medium(path);
    EXPECT_FALSE(medium.scan(nullptr));
    QelPresetMedium missing(temp.file("absent.qelpreset"));
    EXPECT_FALSE(missing.scan(nullptr));
}

TEST(PresetMedium, CommitReplacesTheMetaInformationAndKeepsTheState)
{
    TempFolder temp;
    std::string path = temp.file("Pad.qelpreset");
    writeFile(path, handPreset(kClassText, {{"Comp", "STATE"}, {"Cont", "CTL"}, {"Info", kInfo}}));

    QelPresetMedium medium(path);
    ASSERT_TRUE(medium.scan(nullptr));
    medium.getAttributes().setString("MusicalStyle", "Britpop");
    medium.getAttributes().setString("PlugInName", "Renamed", MediaAttributeList::kWriteProtected);
    std::string error;
    ASSERT_TRUE(medium.commit(error)) << error;

    std::string bytes = readFile(path);
    EXPECT_EQ(bytes.substr(48, 8), "STATECTL");
    EXPECT_EQ(bytes.find("FilePath"), std::string::npos); // transient
    QelPresetMedium again(path);
    ASSERT_TRUE(again.scan(nullptr));
    EXPECT_EQ(again.getAttributes().getString("MusicalStyle"), "Britpop");
    EXPECT_EQ(again.getAttributes().getString("PlugInName"), "Renamed");

    // The file ends with its list: nothing of the longer old text stays behind.
    FMemoryStream* stream = streamOf(bytes);
    PresetFile file(stream);
    stream->release();
    ASSERT_TRUE(file.readChunkList());
    EXPECT_EQ(getLE64(bytes, 40) + 8 + 20 * 3, bytes.size());
}

TEST(PresetMedium, CommitRefusesAFileWhoseInfoIsNotLastAndLeavesItAsItWas)
{
    TempFolder temp;
    std::string path = temp.file("Odd.qelpreset");
    std::string original = handPreset(kClassText, {{"Info", kInfo}, {"Comp", "STATE"}});
    writeFile(path, original);
    QelPresetMedium medium(path);
    ASSERT_TRUE(medium.scan(nullptr));
    medium.getAttributes().setString("MusicalStyle", "Jazz");
    std::string error;
    EXPECT_FALSE(medium.commit(error));
    EXPECT_NE(error.find("not the last chunk"), std::string::npos) << error;
    EXPECT_EQ(readFile(path), original);
}
