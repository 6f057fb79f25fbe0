#include "presets/fxpconverter.h"

#include "hosting/testsupport.h"
#include "presets/presetfile.h"
#include "presets/presettestsupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kClassText = "808B32C0AC6247E59C972E237EC179A6";

std::string convertBytes(const std::string& preset, FxpConverter::Form form, int32 uid,
                         const std::string& name, bool* ok = nullptr)
{
    FMemoryStream* source = streamOf(preset);
    PresetFile file(source);
    source->release();
    file.readChunkList();
    FMemoryStream* out = new FMemoryStream;
    bool converted = FxpConverter::convert(file, out, form, uid, name);
    if (ok)
        *ok = converted;
    std::string bytes = contentOf(out);
    out->release();
    return bytes;
}

} // namespace

TEST(FxpConversion, UniqueIdTakesTheFirstCharacterAsTopByte)
{
    EXPECT_EQ(uint32(FxpConverter::makeUniqueId("ABCD")), 0x41424344u);
    EXPECT_EQ(uint32(FxpConverter::makeUniqueId("AB")), 0x41420000u);
    EXPECT_EQ(uint32(FxpConverter::makeUniqueId("ABCDEF")), 0x41424344u);
    EXPECT_EQ(FxpConverter::makeUniqueId(""), 0);
}

TEST(FxpConversion, ProgramLayoutFieldByField)
{
    std::string preset =
        handPreset(kClassText, {{"Comp", "COMPONENT"}, {"Cont", "CTRL"}, {"Info", "<MetaInfo/>"}});
    bool ok = false;
    std::string fxp = convertBytes(preset, FxpConverter::Form::kProgram, 0x51534E54,
                                   "A name longer than twenty-seven characters", &ok);
    ASSERT_TRUE(ok);
    // 7 x 4 header bytes, 28 of name, 4 of data size, 2 x 8 sizes, 9 + 4 of data.
    ASSERT_EQ(fxp.size(), 28u + 28u + 4u + 16u + 13u);
    EXPECT_EQ(fxp.substr(0, 4), "CcnK");
    EXPECT_EQ(getBE32(fxp, 4), fxp.size() - 8);
    EXPECT_EQ(fxp.substr(8, 4), "FPCh");
    EXPECT_EQ(getBE32(fxp, 12), 1u);
    EXPECT_EQ(getBE32(fxp, 16), 0x51534E54u);
    EXPECT_EQ(getBE32(fxp, 20), 1u);
    EXPECT_EQ(getBE32(fxp, 24), 1u);
    EXPECT_EQ(fxp.substr(28, 28), std::string("A name longer than twenty-s") + '\0');
    EXPECT_EQ(getBE32(fxp, 56), 9u + 4u + 16u);
    EXPECT_EQ(getLE64(fxp, 60), 9u);
    EXPECT_EQ(getLE64(fxp, 68), 4u);
    EXPECT_EQ(fxp.substr(76), "COMPONENTCTRL");
}

TEST(FxpConversion, BankLayoutAndAMissingControllerState)
{
    std::string preset = handPreset(kClassText, {{"Comp", "STATE"}});
    bool ok = false;
    std::string fxb = convertBytes(preset, FxpConverter::Form::kBank, 0x41424344, "ignored", &ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(fxb.size(), 28u + 128u + 4u + 16u + 5u);
    EXPECT_EQ(fxb.substr(8, 4), "FBCh");
    EXPECT_EQ(getBE32(fxb, 4), fxb.size() - 8);
    EXPECT_EQ(fxb.substr(28, 128), std::string(128, '\0'));
    EXPECT_EQ(getBE32(fxb, 156), 5u + 16u);
    EXPECT_EQ(getLE64(fxb, 160), 5u);
    EXPECT_EQ(getLE64(fxb, 168), 0u);
    EXPECT_EQ(fxb.substr(176), "STATE");
}

TEST(FxpConversion, NothingToConvertWithoutComponentState)
{
    bool ok = true;
    EXPECT_TRUE(convertBytes(handPreset(kClassText, {{"Cont", "x"}}), FxpConverter::Form::kProgram,
                             1, "n", &ok)
                    .empty());
    EXPECT_FALSE(ok);
    EXPECT_TRUE(
        convertBytes(handPreset(kClassText, {{"Comp", ""}}), FxpConverter::Form::kBank, 1, "n", &ok)
            .empty());
    EXPECT_FALSE(ok);
    // A chunk that claims more bytes than the file has is not converted into a cut-off state.
    std::string lying = handPreset(kClassText, {{"Comp", "abc"}});
    lying.replace(lying.size() - 8, 8, std::string("\x40\x00\x00\x00\x00\x00\x00\x00", 8));
    EXPECT_TRUE(convertBytes(lying, FxpConverter::Form::kBank, 1, "n", &ok).empty());
    EXPECT_FALSE(ok);
}

TEST(FxpConversion, AFolderConvertsItsPresetsAndLeavesOtherFilesAlone)
{
    TempFolder temp;
    std::string source = temp.folder("source");
    std::string dest = temp.folder("dest");
    writeFile(source + "/Warm Pad.qelpreset", handPreset(kClassText, {{"Comp", "ONE"}}));
    writeFile(source + "/Bright.qelpreset", handPreset(kClassText, {{"Comp", "TWO"}}));
    writeFile(source + "/Broken.qelpreset", "QEL3 but nothing else");
    writeFile(source + "/notes.txt", handPreset(kClassText, {{"Comp", "TXT"}}));
    writeFile(dest + "/Broken.fxp", "keep me");

    std::string problems;
    int count = FxpConverter::convertFolder(source, dest, FxpConverter::Form::kProgram,
                                            FxpConverter::makeUniqueId("QSyn"), &problems);
    EXPECT_EQ(count, 2);
    EXPECT_NE(problems.find("Broken.qelpreset"), std::string::npos) << problems;
    std::string warm = readFile(dest + "/Warm Pad.fxp");
    ASSERT_EQ(warm.size(), 28u + 28u + 4u + 16u + 3u);
    EXPECT_EQ(warm.substr(28, 9), std::string("Warm Pad") + '\0');
    EXPECT_EQ(warm.substr(76), "ONE");
    EXPECT_EQ(readFile(dest + "/Bright.fxp").substr(76), "TWO");
    EXPECT_FALSE(std::filesystem::exists(dest + "/notes.fxp"));
    // A damaged source never costs the file that already stood at its destination.
    EXPECT_EQ(readFile(dest + "/Broken.fxp"), "keep me");
}

TEST(FxpConversion, AFileWhoseChunksClaimGigabytesIsRefused)
{
    // Found by fuzzing: a 731-byte file whose list gives its state chunk about 2 GB.
    std::string bytes = readFile(
        (std::filesystem::path(__FILE__).parent_path() / "testdata/huge-chunk-size.qelpreset")
            .string());
    ASSERT_EQ(bytes.size(), 731u);
    FMemoryStream* source = streamOf(bytes);
    PresetFile file(source);
    source->release();
    file.readChunkList();
    ASSERT_NE(file.getEntry(kComponentState), nullptr);
    EXPECT_FALSE(file.isInside(*file.getEntry(kComponentState)));
    FMemoryStream* out = new FMemoryStream;
    EXPECT_FALSE(FxpConverter::convert(file, out, FxpConverter::Form::kBank, 1, "n"));
    EXPECT_EQ(out->size(), 0);
    out->release();
}
