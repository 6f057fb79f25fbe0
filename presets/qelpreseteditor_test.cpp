#include "presets/qelpreseteditor.h"

#include "base/values/uintvalues.h"
#include "base/values/ustringvalue.h"
#include "hosting/testsupport.h"
#include "presets/presettestsupport.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::testing;

namespace
{

const std::string kClassText = "03613F70028A2E002337D42CBAA5C897";

class Editor : public ::testing::Test
{
protected:
    std::string resources = (std::filesystem::path(__FILE__).parent_path() / "resources").string();
    FXmlTree types{"typelist", resources};
    FXmlTree styles{"stylelist", resources};
    FXmlTree characters{"characterlist", resources};
    QelPresetEditor* editor = new QelPresetEditor(&types, &styles, &characters);
    TempFolder temp;

    ~Editor() override { editor->release(); }

    std::string field(const char* name)
    {
        auto* value = FCast<UStringValue>(editor->findValue(name));
        return value ? value->getValue().toUtf8() : "<none>";
    }
    void setField(const char* name, const std::string& text)
    {
        FCast<UStringValue>(editor->findValue(name))->setValue(text.c_str());
    }
    void press(const char* name) { FCast<UIntValue>(editor->findValue(name))->setValue(1); }
    void pick(const char* menuName, const std::string& title)
    {
        auto* menu = FCast<UMenuValue>(editor->findValue(menuName));
        for (int32 i = 0; i < menu->countItems(); ++i)
            if (menu->getItem(i)->getTitle().toUtf8() == title)
            {
                menu->setIndex(i);
                return;
            }
        FAIL() << title << " is not in " << menuName;
    }
    std::string presetFile()
    {
        std::string path = temp.file("Pad.qelpreset");
        writeFile(path, handPreset(kClassText,
                                   {{"Comp", "STATE"},
                                    {"Info", "<MetaInfo><Attribute id=\"PlugInName\" value=\"Qel "
                                             "Gain\" flags=\"writeProtected\"/></MetaInfo>"}}));
        return path;
    }
};

} // namespace

TEST_F(Editor, WithoutAMediumTheButtonsAreOff)
{
    EXPECT_EQ(field("classID"), "00000000000000000000000000000000");
    EXPECT_FALSE(editor->findValue("commitChanges")->isEnabled());
    EXPECT_FALSE(editor->findValue("reset")->isEnabled());
    auto* typeMenu = FCast<UMenuValue>(editor->findValue("plugtypeMenu"));
    ASSERT_EQ(typeMenu->countItems(), 24);
    EXPECT_EQ(typeMenu->getItem(11)->getTitle().toUtf8(), "Fx|Reverb");
    EXPECT_EQ(typeMenu->getItem(12)->getTitle().toUtf8(), "Fx|Restoration");
}

TEST_F(Editor, APathLoadsTheMediumAndMenusFillTheFields)
{
    setField("path", presetFile());
    ASSERT_NE(editor->getMedium(), nullptr);
    EXPECT_EQ(field("classID"), kClassText);
    EXPECT_EQ(field("plugname"), "Qel Gain");
    EXPECT_TRUE(editor->findValue("commitChanges")->isEnabled());

    pick("classMenu", "Timpani");
    EXPECT_EQ(field("class"), "Chromatic Perc|Timpani");
    pick("styleMenu", "Grunge");
    EXPECT_EQ(field("style"), "Grunge");
    pick("characterMenu", "Warm");
    EXPECT_EQ(field("character"), "Warm");
    pick("plugtypeMenu", "Fx|Dynamics");
    EXPECT_EQ(field("plugtype"), "Fx|Dynamics");

    setField("path", "");
    EXPECT_EQ(editor->getMedium(), nullptr);
    EXPECT_EQ(field("plugname"), "");
}

TEST_F(Editor, CommitWritesTheFileAndResetRestoresTheFields)
{
    std::string path = presetFile();
    setField("path", path);
    setField("plugname", "Renamed Gain");
    setField("style", "Jazz");
    press("commitChanges");
    EXPECT_EQ(editor->getLastError(), "");
    EXPECT_EQ(FCast<UIntValue>(editor->findValue("commitChanges"))->getValue(), 0);

    QelPresetMedium reread(path);
    ASSERT_TRUE(reread.scan(nullptr));
    EXPECT_EQ(reread.getAttributes().getString("PlugInName"), "Renamed Gain");
    EXPECT_EQ(reread.getAttributes().find("PlugInName")->flags,
              MediaAttributeList::kWriteProtected);
    EXPECT_EQ(reread.getAttributes().getString("MusicalStyle"), "Jazz");
    EXPECT_EQ(readFile(path).substr(48, 5), "STATE");

    setField("style", "Not committed");
    press("reset");
    EXPECT_EQ(field("style"), "Jazz");
}
