// The information page over the fixture module with every kind of record: the values, each
// tree's shape, and the text of each column as a user reads it.
#include "app/info/infopage.h"
#include "app/info/infotestsupport.h"
#include "app/info/recordtext.h"
#include "base/values/ustringvalue.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;
using namespace Quillmark::Qel::Examples;

namespace
{

using Cells = std::vector<std::string>;

/** The page of an instance, released at the end of the scope. */
struct Page
{
    explicit Page(PlugProvider& provider)
        : page(new InfoPage(provider.getComponentWrapper(), provider.getControllerWrapper()))
    {
    }
    ~Page() { page->release(); }
    InfoPage* operator->() const { return page; }

    /** The node at the names of `path`, from the root of `tree`; null when one is missing. */
    FNode* node(const char8* tree, std::initializer_list<const char8*> path) const
    {
        InfoPage::TreeView view;
        if (!page->getTreeView(tree, view))
            return nullptr;
        view.informer->release();
        FNode* at = view.root;
        for (const char8* name : path)
            if (!(at = at ? at->findChild(name) : nullptr))
                return nullptr;
        return at;
    }

    /** Every cell of a row of `tree`, from column 1 on. */
    Cells cells(const char8* tree, std::initializer_list<const char8*> path) const
    {
        Cells result;
        InfoPage::TreeView view;
        FNode* row = node(tree, path);
        if (!row || !page->getTreeView(tree, view))
            return result;
        for (int32 column = 1; column < view.informer->countColumns(); ++column)
            result.push_back(view.informer->getCellText(row, column).toUtf8());
        view.informer->release();
        return result;
    }

    std::vector<std::string> childNames(FNode* parent) const
    {
        std::vector<std::string> names;
        for (int32 index = 0; parent && index < parent->countChildren(); ++index)
            names.push_back(parent->getChild(index)->getName().toUtf8());
        return names;
    }

    std::string value(const char8* name) const
    {
        String text;
        if (UValue* found = page->findValue(name))
            found->getText(text);
        return text.toUtf8();
    }

    InfoPage* page;
};

/** The 128 letters the fixture fills a whole text field with. */
std::string fullText()
{
    std::string text;
    for (int index = 0; index < 128; ++index)
        text += char('A' + index % 26);
    return text;
}

using InfoPageTest = Quillmark::testing::InfoRecordsModule;

} // namespace

TEST_F(InfoPageTest, ValuesComeInTheirOrderWithTheClassAndModuleFacts)
{
    Page page(open(kInfoRecordsCid));
    const UValueContainer& values = page->getValues();
    std::vector<std::string> names;
    for (int32 index = 0; index < values.countValues(); ++index)
        names.push_back(values.nameAt(index).toUtf8());
    EXPECT_EQ(names, (std::vector<std::string>{"classId", "name", "subCategories", "editorClass",
                                               "vendor", "vendorUrl", "vendorContact", "filename",
                                               "fullpath", "sdkVersion", "version", "folder"}));
    std::string cid = FUID(kInfoRecordsCid).toRegistryString();
    EXPECT_EQ(page.value("classId"), cid);
    EXPECT_EQ(page.value("name"), kInfoRecordsName);
    EXPECT_EQ(page.value("subCategories"), "Instrument|Fixture");
    // One object is component and controller: the editor class is the class itself.
    EXPECT_EQ(page.value("editorClass"), cid);
    EXPECT_EQ(page.value("vendor"), kFixtureVendor);
    EXPECT_EQ(page.value("vendorUrl"), "https://quillmark.example/qel3/fixtures");
    EXPECT_EQ(page.value("vendorContact"), "fixtures@quillmark.example");
    EXPECT_EQ(page.value("filename"), kInfoRecordsModule);
    EXPECT_EQ(page.value("fullpath"), temp.folder("modules") + "/" + kInfoRecordsModule);
    EXPECT_EQ(page.value("sdkVersion"), "Qel 3.0.0");
    EXPECT_EQ(page.value("version"), "1.2.3");
    EXPECT_EQ(page.value("folder"), kInfoRecordsModule);
    for (int32 index = 0; index < values.countValues(); ++index)
        EXPECT_TRUE(FCast<UStringValue>(values.valueAt(index))) << names[size_t(index)];
}

TEST_F(InfoPageTest, WithoutDescriptionOrControllerThePageIsShort)
{
    PlugProvider& plain = open(kInfoNoControllerCid);
    ASSERT_EQ(plain.getControllerWrapper(), nullptr);
    {
        Page page(plain);
        EXPECT_EQ(page.value("editorClass"), InfoPage::kNoEditorText);
        EXPECT_EQ(page->getValues().countValues(), 12);
        // The bus tree alone: a class without controller has no other tree.
        InfoPage::TreeView view;
        for (const char8* name : {"parameterTree", "noteChangeTree", "keySwitchTree"})
            EXPECT_FALSE(page->getTreeView(name, view)) << name;
        ASSERT_TRUE(page->getTreeView("busTree", view));
        view.informer->release();
    }
    auto* bare = new InfoPage(nullptr, nullptr);
    const UValueContainer& values = bare->getValues();
    ASSERT_EQ(values.countValues(), 4);
    for (int32 index = 0; index < 3; ++index)
    {
        String text("x");
        values.valueAt(index)->getText(text);
        EXPECT_TRUE(text.isEmpty());
    }
    EXPECT_EQ(values.nameAt(3).toUtf8(), "editorClass");
    EXPECT_EQ(bare->findValue("vendor"), nullptr);
    bare->release();
}

TEST_F(InfoPageTest, BussesGoIntoTheirDirectionsWithTheirArrangements)
{
    Page page(open(kInfoRecordsCid));
    EXPECT_EQ(page->getEventBusCount(), 2);
    EXPECT_EQ(page.childNames(page.node("busTree", {})),
              (std::vector<std::string>{"Inputs", "Outputs"}));
    // Audio first, then events, each in index order.
    EXPECT_EQ(page.childNames(page.node("busTree", {"Inputs"})),
              (std::vector<std::string>{"Main In", "Side In", "Notes", "Keys"}));
    EXPECT_EQ(page.childNames(page.node("busTree", {"Outputs"})),
              (std::vector<std::string>{"Main Out", "Echo"}));
    EXPECT_EQ(page.cells("busTree", {"Inputs", "Main In"}),
              (Cells{"0", "Main", "Audio", "2", "Yes"}));
    EXPECT_EQ(page.cells("busTree", {"Inputs", "Side In"}),
              (Cells{"1", "Aux", "Audio", "1", "No"}));
    EXPECT_EQ(page.cells("busTree", {"Inputs", "Keys"}), (Cells{"1", "Aux", "Midi", "1", "Yes"}));
    EXPECT_EQ(page.cells("busTree", {"Outputs", "Echo"}), (Cells{"0", "Aux", "Midi", "1", "No"}));
    auto* side = FCast<QelAudioBusDisplayData>(page.node("busTree", {"Inputs", "Side In"}));
    ASSERT_TRUE(side);
    EXPECT_EQ(side->getArrangement(), 0x80000u);
    EXPECT_FALSE(FCast<QelAudioBusDisplayData>(page.node("busTree", {"Inputs", "Notes"})));
    // A folder shows its name and nothing else.
    EXPECT_EQ(page.cells("busTree", {"Inputs"}), (Cells{"", "", "", "", ""}));
}

TEST_F(InfoPageTest, BussesWithoutAudioProcessorAndEmptyFolders)
{
    Page plain(open(kInfoNoControllerCid));
    auto* out = FCast<QelAudioBusDisplayData>(plain.node("busTree", {"Outputs", "Out"}));
    ASSERT_TRUE(out);
    EXPECT_EQ(out->getArrangement(), 0u);
    EXPECT_EQ(out->getInfo().channelCount, 2);

    // A plug-in without busses keeps the root, and neither folder is attached.
    Page empty(open(kInfoEmptyCid));
    FNode* root = empty.node("busTree", {});
    ASSERT_TRUE(root);
    EXPECT_EQ(root->countChildren(), 0);
    // A controller with no parameters and no entries: the parameter root stays, the event
    // trees have no view.
    ASSERT_TRUE(empty->getParameterRoot());
    EXPECT_EQ(empty->getParameterRoot()->countChildren(), 0);
    EXPECT_EQ(empty->getNoteChangeRoot(), nullptr);
    EXPECT_EQ(empty->getKeySwitchRoot(), nullptr);
}

TEST_F(InfoPageTest, ParametersHangInTheirUnitsMadeParentFirst)
{
    Page page(open(kInfoRecordsCid));
    FNode* deep = page.node("parameterTree", {"Synth", "Osc", "Shape", "Deep"});
    ASSERT_TRUE(deep);
    EXPECT_EQ(FCast<QelNodeFolder>(deep)->getId(), 4);
    EXPECT_EQ(page.childNames(deep), (std::vector<std::string>{"Cutoff"}));
    EXPECT_EQ(page.childNames(page.node("parameterTree", {"Synth", "Osc"})),
              (std::vector<std::string>{"Shape", "Mode", "Table"}));
    // The root unit is the tree's root, not a folder of its own; a unit of 128 units of text
    // keeps all of them, and a parameter of an unknown unit is left out.
    std::vector<std::string> top = page.childNames(page.node("parameterTree", {}));
    EXPECT_EQ(
        top, (std::vector<std::string>{"Synth", "Long", "Power", "Bypass", "Program", "Gestures"}));
    FNode* full = page.node("parameterTree", {"Long"});
    ASSERT_TRUE(full);
    ASSERT_EQ(full->countChildren(), 1);
    EXPECT_EQ(full->getChild(0)->getName().toUtf8(), fullText());
    auto* row = FCast<QelParameterDisplayData>(full->getChild(0));
    ASSERT_TRUE(row);
    EXPECT_EQ(recordText(row->getInfo().units).toUtf8(), fullText());
    EXPECT_EQ(row->getIndex(), 9);

    // Without unit info every parameter sits under the root, whatever unit it names.
    Page single(open(kInfoSingleBusCid));
    EXPECT_EQ(single.childNames(single.node("parameterTree", {})),
              (std::vector<std::string>{"Gain"}));
}

TEST_F(InfoPageTest, ParameterColumnsAndTheAssignmentThatCounts)
{
    Page page(open(kInfoRecordsCid));
    // Controller 7 on channels 1 and 3 and controller 74 on channel 1: the last channel wins.
    EXPECT_EQ(
        page.cells("parameterTree", {"Synth", "Osc", "Shape", "Deep", "Cutoff"}),
        (Cells{"Cut", "0", "Float", "0.250000", "Hz", "10", "4", "Yes", "No", "No", "0 - 3 - 7"}));
    // Within a channel the lowest controller.
    EXPECT_EQ(page.cells("parameterTree", {"Synth", "Osc", "Shape", "Short List"}),
              (Cells{"SL", "4", "Discrete List : 6", "0.000000", "", "14", "3", "Yes", "No", "No",
                     "0 - 0 - 3"}));
    EXPECT_EQ(page.cells("parameterTree", {"Synth", "Osc", "Table"}),
              (Cells{"Tab", "3", "Discrete List : 21", "0.500000", "", "13", "2", "Yes", "No", "No",
                     "1 - 0 - 1"}));
    EXPECT_EQ(page.cells("parameterTree", {"Power"}),
              (Cells{"Pwr", "1", "Toggle", "0.500000", "", "11", "0", "Yes", "No", "No", "-"}));
    EXPECT_EQ(
        page.cells("parameterTree", {"Synth", "Wrap"}),
        (Cells{"Wrp", "10", "Discrete : 8", "1.000000", "", "20", "1", "Yes", "No", "No", "-"}));
    EXPECT_EQ(page.cells("parameterTree", {"Program"}),
              (Cells{"Prg", "6", "Discrete List : 4", "0.000000", "", "16", "0", "No", "No", "Yes",
                     "-"}));
    // Channel 17 lies outside the table: "Mode" shows no assignment.
    EXPECT_EQ(page.cells("parameterTree", {"Synth", "Osc", "Mode"}).back(), "-");
    EXPECT_EQ(page.cells("parameterTree", {"Gestures"})[8], "Yes");

    InfoPage::TreeView view;
    ASSERT_TRUE(page->getTreeView("parameterTree", view));
    EXPECT_EQ(view.title.toUtf8(), "Parameter Tree");
    EXPECT_EQ(view.informer->countColumns(), 12);
    EXPECT_EQ(view.informer->getColumnTitle(11).toUtf8(), "MidiCC (Bus/Ch./CC)");
    EXPECT_TRUE(view.informer->getColumnTitle(12).isEmpty());
    FNode* bypass = page.node("parameterTree", {"Bypass"});
    FNode* power = page.node("parameterTree", {"Power"});
    for (int32 column = 0; column < 12; ++column)
    {
        EXPECT_EQ(view.informer->getCellStyle(bypass, column),
                  column == 2 ? GTreeInformer::kNormalStyle : GTreeInformer::kSecondStyle);
        EXPECT_EQ(view.informer->getCellStyle(power, column), GTreeInformer::kNormalStyle);
    }
    view.informer->release();
}

TEST_F(InfoPageTest, NoteExpressionsFolderByBusAndChannel)
{
    PlugProvider& provider = open(kInfoRecordsCid);
    Page page(provider);
    FNode* root = page.node("noteChangeTree", {});
    ASSERT_TRUE(root);
    EXPECT_EQ(root->getName().toUtf8(), "NoteChangeRoot");
    EXPECT_EQ(page.childNames(root), (std::vector<std::string>{"Event Bus 1", "Event Bus 2"}));
    // Only the channel with entries gets a folder; the fourth entry could not be read.
    EXPECT_EQ(page.childNames(page.node("noteChangeTree", {"Event Bus 1"})),
              (std::vector<std::string>{"Channel 3"}));
    EXPECT_EQ(page.childNames(page.node("noteChangeTree", {"Event Bus 1", "Channel 3"})),
              (std::vector<std::string>{"Volume", "Growl", fullText()}));
    // A bus of one channel holds its entries itself.
    EXPECT_EQ(page.childNames(page.node("noteChangeTree", {"Event Bus 2"})),
              (std::vector<std::string>{"Pan"}));

    EXPECT_EQ(page.cells("noteChangeTree", {"Event Bus 1", "Channel 3", "Volume"}),
              (Cells{"Vol", "0", "Volume (0)", "Ramp", "0.2500 \"25 dB\"", "0.0000 \"0 dB\"",
                     "1.0000 \"100 dB\"", "dB", "0", "-", "", "Yes", "No"}));
    EXPECT_EQ(page.cells("noteChangeTree", {"Event Bus 1", "Channel 3", "Growl"}),
              (Cells{"Grl", "1", "Custom (100001)", "Ramp", "0.000000", "0.000000", "0.500000", "",
                     "4", "10", "", "No", "Yes"}));
    EXPECT_EQ(page.cells("noteChangeTree", {"Event Bus 1", "Channel 3", fullText().c_str()}),
              (Cells{"Bri", "2", "(5)", "Discrete : 4", "0.000000", "0.000000", "1.000000", "", "0",
                     "-", "", "No", "No"}));
    EXPECT_EQ(page.cells("noteChangeTree", {"Event Bus 2", "Pan"}),
              (Cells{"Pan", "0", "Pan (1)", "Toggle", "0.500000", "0.000000", "1.000000", "", "0",
                     "-", "", "Yes", "No"}));

    // The plug-in that throws from a value text is named, and the page goes on.
    auto* growl = FCast<QelNoteExpressionDisplayData>(
        page.node("noteChangeTree", {"Event Bus 1", "Channel 3", "Growl"}));
    ASSERT_TRUE(growl);
    EXPECT_NE(growl->getLastProblem().find(kInfoRecordsName), std::string::npos)
        << growl->getLastProblem();
    EXPECT_EQ(growl->getBus(), 0);
    EXPECT_EQ(growl->getChannel(), 2);

    InfoPage::TreeView view;
    ASSERT_TRUE(page->getTreeView("noteChangeTree", view));
    EXPECT_EQ(view.title.toUtf8(), "NoteChange Tree");
    std::vector<std::string> headings;
    for (int32 column = 0; column < view.informer->countColumns(); ++column)
        headings.push_back(view.informer->getColumnTitle(column).toUtf8());
    EXPECT_EQ(headings,
              (std::vector<std::string>{"Name", "Short Name", "Index", "ID", "Type", "Init Value",
                                        "Min", "Max", "Units", "UnitId", "AssoId", "Is Bipolar",
                                        "Is One Shot", "Is Absolute"}));
    view.informer->release();
}

TEST_F(InfoPageTest, OneEventBusOfOneChannelHoldsItsEntriesAtTheRoot)
{
    Page page(open(kInfoSingleBusCid));
    EXPECT_EQ(page.childNames(page.node("noteChangeTree", {})),
              (std::vector<std::string>{"Tuning"}));
    EXPECT_EQ(page.cells("noteChangeTree", {"Tuning"})[2], "Tuning (2)");
    // No key switch interface: no tree and no view.
    EXPECT_EQ(page->getKeySwitchRoot(), nullptr);
    InfoPage::TreeView view;
    EXPECT_FALSE(page->getTreeView("keySwitchTree", view));
    EXPECT_FALSE(page->getTreeView("unknownTree", view));
}

TEST_F(InfoPageTest, KeySwitchesShowTheirKeysByName)
{
    Page page(open(kInfoRecordsCid));
    FNode* channel = page.node("keySwitchTree", {"Event Bus 1", "Channel 1"});
    ASSERT_TRUE(channel);
    EXPECT_EQ(page.node("keySwitchTree", {})->getName().toUtf8(), "KeySwitchRoot");
    EXPECT_EQ(page.childNames(channel),
              (std::vector<std::string>{"Sustain", "Low Keys", fullText()}));
    EXPECT_EQ(page.cells("keySwitchTree", {"Event Bus 1", "Channel 1", "Sustain"}),
              (Cells{"KS", "0", "NoteOn", "C (24)", "", "0"}));
    EXPECT_EQ(page.cells("keySwitchTree", {"Event Bus 1", "Channel 1", "Low Keys"}),
              (Cells{"KS", "1", "KeyRange", "C-2 (0) - B-2 (11)", "C3 (60)", "2"}));
    EXPECT_EQ(page.cells("keySwitchTree", {"Event Bus 1", "Channel 1", fullText().c_str()}),
              (Cells{"Full", "2", "7", "G8 (127)", "C-2 (0)", "0"}));
    InfoPage::TreeView view;
    ASSERT_TRUE(page->getTreeView("keySwitchTree", view));
    EXPECT_EQ(view.title.toUtf8(), "keySwitch Tree");
    EXPECT_EQ(view.informer->countColumns(), 7);
    view.informer->release();
}

TEST(PitchText, OctavesCountFromMinusTwoAndOctaveZeroHasNoNumber)
{
    EXPECT_EQ(pitchText(60).toUtf8(), "C3");
    EXPECT_EQ(pitchText(24).toUtf8(), "C");
    EXPECT_EQ(pitchText(35).toUtf8(), "B");
    EXPECT_EQ(pitchText(36).toUtf8(), "C1");
    EXPECT_EQ(pitchText(0).toUtf8(), "C-2");
    EXPECT_EQ(pitchText(13).toUtf8(), "C#-1");
    EXPECT_EQ(pitchText(127).toUtf8(), "G8");
    // A key below 0 from a plug-in that lies: the division truncates toward zero.
    EXPECT_EQ(pitchText(-1).toUtf8(), "B-2");
}

TEST(RecordText, StopsAtTheTerminatorOrTheEndOfTheField)
{
    Qel::String128 field{};
    EXPECT_TRUE(recordText(field).isEmpty());
    field[0] = u'A';
    field[1] = u'b';
    EXPECT_EQ(recordText(field).toUtf8(), "Ab");
    for (auto& unit : field)
        unit = u'\u00e9';
    String full = recordText(field);
    EXPECT_EQ(full.length(), 128u);
    EXPECT_EQ(full.toUtf8().size(), 256u);
}
