#include "presets/presetstore.h"

#include "base/fstreams.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

using namespace Quillmark;

namespace
{

std::string resources()
{
    return (std::filesystem::path(__FILE__).parent_path() / "resources").string();
}

FAttributes* makePreset(const char* name, int64 level)
{
    auto* preset = new FAttributes;
    preset->setString("Name", name);
    preset->setInt("Level", level);
    return preset;
}

} // namespace

TEST(PresetBank, FindByContentAndRemoveLists)
{
    PPresetBank bank("Factory");
    FAttributes probe;
    probe.setString("Name", "B");
    probe.setInt("Level", 2);
    EXPECT_EQ(bank.findPreset(probe), -1);

    FAttributes* a = makePreset("A", 1);
    FAttributes* b = makePreset("B", 2);
    bank.addPreset(a);
    bank.addPreset(b);
    EXPECT_EQ(bank.findPreset(probe), 1);
    // The same keys in another order are another preset.
    FAttributes reordered;
    reordered.setInt("Level", 2);
    reordered.setString("Name", "B");
    EXPECT_EQ(bank.findPreset(reordered), -1);

    EXPECT_TRUE(bank.renamePreset(0, "A2"));
    String name;
    bank.getPreset(0)->getString("Name", name);
    EXPECT_EQ(name, String("A2"));

    FAttributes* stranger = makePreset("C", 3);
    EXPECT_FALSE(bank.removePresets({}));
    EXPECT_FALSE(bank.removePresets({a, stranger})); // a goes, the stranger was never there
    EXPECT_EQ(bank.getPresetCount(), 1);
    EXPECT_TRUE(bank.removePresets({b}));
    EXPECT_EQ(bank.getPresetCount(), 0);
    a->release();
    b->release();
    stranger->release();
}

TEST(PresetBank, PersistedNamesAndTheOlderKey)
{
    PPresetBank bank;
    FAttributes old;
    old.setString("IDString", "Legacy Bank");
    ASSERT_TRUE(bank.restoreAttributes(old));
    FAttributes stored;
    bank.storeAttributes(stored);
    String name;
    ASSERT_TRUE(stored.getString("PresetBankName", name));
    EXPECT_EQ(name, String("Legacy Bank"));
    EXPECT_FALSE(stored.contains("IDString"));
    FAttributes empty;
    EXPECT_FALSE(bank.restoreAttributes(empty));

    PHostPresets host("User");
    host.storageType = 7;
    host.bankID = "com.quillmark.user";
    FMemoryStream* stream = new FMemoryStream;
    ASSERT_TRUE(host.write(stream));
    stream->seek(0, IBStream::kIBSeekSet);
    PHostPresets back;
    ASSERT_TRUE(back.read(stream));
    EXPECT_EQ(back.storageType, 7);
    EXPECT_EQ(back.bankID, String("com.quillmark.user"));

    // A version from the future is refused and changes nothing.
    stream->seek(0, IBStream::kIBSeekSet);
    int32 future = 101;
    stream->write(&future, 4);
    stream->seek(0, IBStream::kIBSeekSet);
    PHostPresets refused;
    EXPECT_FALSE(refused.read(stream));
    EXPECT_EQ(refused.storageType, -1);
    stream->release();
}

TEST(PresetChoice, ThirtyPresetsStillMakeAMenu)
{
    PPresetBank bank;
    for (int i = 0; i < PPresetChoice::kMaxMenuPresets; ++i)
    {
        FAttributes* preset = makePreset(("P" + std::to_string(i)).c_str(), i);
        bank.addPreset(preset);
        preset->release();
    }
    EXPECT_EQ(PPresetChoice::chooseForm(bank), PPresetChoice::Form::kMenu);
    EXPECT_EQ(PPresetChoice::chooseForm(bank, 2), PPresetChoice::Form::kBrowser);
    std::vector<std::string> rows = PPresetChoice::menuRows(bank, 2);
    ASSERT_EQ(rows.size(), 30u);
    EXPECT_EQ(rows[2], "* P2");
    EXPECT_EQ(rows[3], "P3");

    FAttributes* extra = makePreset("Extra", 0);
    bank.addPreset(extra);
    extra->release();
    EXPECT_EQ(PPresetChoice::chooseForm(bank), PPresetChoice::Form::kBrowser);

    PPresetBank small;
    auto* sub = new PPresetBank("Sub");
    FAttributes* deep = makePreset("Deep P1", 0);
    sub->addPreset(deep);
    deep->release();
    ASSERT_TRUE(small.addChild(sub));
    EXPECT_EQ(PPresetChoice::chooseForm(small), PPresetChoice::Form::kBrowser);
    EXPECT_EQ(PPresetChoice::filter(bank, "P1").size(), 11u); // P1, P10..P19
    EXPECT_EQ(PPresetChoice::filter(small, "P1").size(), 1u);
}

TEST(ResourceTrees, ShippedListsHaveTheirShape)
{
    FXmlTree types("typelist", resources());
    const FXmlTreeNode& root = types.getRoot();
    EXPECT_EQ(root.name, "root");
    ASSERT_EQ(root.children.size(), 19u);
    size_t typeCount = 0;
    for (const auto& category : root.children)
    {
        EXPECT_EQ(category->className, "CategoryNode");
        typeCount += category->children.size();
    }
    EXPECT_EQ(typeCount, 97u);
    const FXmlTreeNode* perc = root.findChild("Chromatic Perc");
    ASSERT_NE(perc, nullptr);
    EXPECT_EQ(perc->field("ColorIndex", -1), 8);
    EXPECT_EQ(perc->findChild("Timpani")->field("gmPrg"), 47);
    const FXmlTreeNode* drums = root.findChild("Drum&Perc"); // "&amp;" in the file
    ASSERT_NE(drums, nullptr);
    EXPECT_EQ(drums->findChild("Drumset GM")->field("transposeLock"), 1);
    EXPECT_EQ(drums->findChild("Drumset GM")->className, "TypeNode");

    FXmlTree characters("characterlist", resources());
    EXPECT_EQ(characters.getRoot().children.size(), 54u);
    FXmlTree styles("stylelist", resources());
    size_t styleCount = 0;
    for (const auto& style : styles.getRoot().children)
        styleCount += 1 + style->children.size();
    EXPECT_EQ(styleCount, 110u);
    ASSERT_NE(styles.getRoot().findChild("Alternative/Indie"), nullptr);
    EXPECT_NE(styles.getRoot().findChild("Alternative/Indie")->findChild("Britpop"), nullptr);

    FXmlTree missing("nosuchlist", resources());
    EXPECT_TRUE(missing.getRoot().children.empty());
    EXPECT_EQ(missing.getRoot().name, "root");
}

TEST(ResourceTrees, MenusTranslateTitlesAndKeepTheStoredText)
{
    FXmlTree styles("stylelist", resources());
    std::vector<FXmlTree::MenuItem> leaves;
    FXmlTree::fillMenu(leaves, styles.getRoot(), true,
                       [](const std::string& text) { return text == "Pop" ? "Popmusik" : text; });
    ASSERT_EQ(leaves.size(), 15u); // one sub-menu per style group
    auto pop =
        std::find_if(leaves.begin(), leaves.end(),
                     [](const FXmlTree::MenuItem& item) { return item.title == "Popmusik"; });
    ASSERT_NE(pop, leaves.end());
    EXPECT_EQ(pop->subMenu.size(), 6u);
    EXPECT_NE(styles.getRoot().findChild("Pop"), nullptr);

    std::vector<FXmlTree::MenuItem> all;
    FXmlTree::fillMenu(all, styles.getRoot(), false);
    EXPECT_EQ(all.size(), 30u); // each group as an item and as a sub-menu
}

TEST(HostPresets, StorageFillsTheBankAndItsSubBanks)
{
    Quillmark::testing::TempFolder temp;
    std::string root = temp.folder("banks");
    std::filesystem::create_directories(root + "/user/Leads");
    auto writePreset = [](const std::string& path, const char* name)
    {
        FAttributes preset;
        preset.setString("Name", name);
        FMemoryStream* stream = new FMemoryStream;
        preset.writeXml(stream);
        Quillmark::testing::writeFile(path, std::string(stream->data(), size_t(stream->size())));
        stream->release();
    };
    writePreset(root + "/user/b.preset", "Second");
    writePreset(root + "/user/a.preset", "First");
    writePreset(root + "/user/Leads/x.preset", "Lead");
    Quillmark::testing::writeFile(root + "/user/notes.txt", "not a preset");

    PresetManager manager(root);
    PHostPresets bank("User");
    bank.bankID = "user";
    bank.storageType = 3;
    ASSERT_TRUE(bank.openStorage(manager));
    ASSERT_EQ(bank.getPresetCount(), 2);
    String name;
    bank.getPreset(0)->getString("Name", name);
    EXPECT_EQ(name, String("First"));
    ASSERT_EQ(bank.countChildren(), 1);
    auto* leads = FCast<PHostPresets>(bank.getChild(0));
    ASSERT_NE(leads, nullptr);
    EXPECT_EQ(leads->getName(), String("Leads"));
    EXPECT_EQ(leads->storageType, 3);
    EXPECT_EQ(leads->bankID, String("user"));
    EXPECT_EQ(leads->getPresetCount(), 1);
    EXPECT_EQ(PPresetChoice::chooseForm(bank), PPresetChoice::Form::kBrowser);

    FAttributes loaded;
    ASSERT_TRUE(bank.loadPreset(loaded, 1));
    loaded.getString("Name", name);
    EXPECT_EQ(name, String("Second"));
    EXPECT_FALSE(bank.loadPreset(loaded, 2));

    // A second open reads afresh instead of adding the same presets again.
    ASSERT_TRUE(bank.openStorage(manager));
    EXPECT_EQ(bank.getPresetCount(), 2);
    EXPECT_EQ(bank.countChildren(), 1);

    PHostPresets escaping;
    escaping.bankID = "../banks";
    EXPECT_FALSE(escaping.openStorage(manager));
    EXPECT_EQ(escaping.getPresetCount(), 0);
    FAttributes nothing;
    EXPECT_FALSE(escaping.loadPreset(nothing, 0));
}
