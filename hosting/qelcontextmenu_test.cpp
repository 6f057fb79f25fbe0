#include "hosting/qelcontextmenu.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** A plug-in's menu target: it records the tags it is told. */
class PlugTarget : public IContextMenuTarget
{
public:
    tresult executeMenuItem(int32 tag) override
    {
        tags.push_back(tag);
        return kResultOk;
    }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        *obj = nullptr;
        if (!iidEqual(iid, IContextMenuTarget::iid.bytes) && !iidEqual(iid, FUnknown::iid.bytes))
            return kNoInterface;
        *obj = this;
        addRef();
        return kResultOk;
    }
    uint32 addRef() override { return uint32(++refs); }
    uint32 release() override { return uint32(--refs); }

    int32 refs = 1;
    std::vector<int32> tags;
};

/** Stands for the user interface: moves the point by a fixed offset and picks one entry. */
class FakePresenter : public IContextMenuPresenter
{
public:
    bool viewToScreen(IPlugView* view, int32& x, int32& y) override
    {
        seenView = view;
        x += 100;
        y += 200;
        return viewShown;
    }
    int32 showMenu(const std::vector<ContextMenuEntry>& entries, int32 x, int32 y) override
    {
        shown = entries;
        shownAt = {x, y};
        ++showCount;
        return choice;
    }

    bool viewShown = true;
    int32 choice = -1;
    IPlugView* seenView = nullptr;
    std::vector<ContextMenuEntry> shown;
    std::pair<int32, int32> shownAt{0, 0};
    int32 showCount = 0;
};

ContextMenuItem item(const std::u16string& name, int32 tag, int32 flags = 0)
{
    ContextMenuItem result{};
    name.copy(result.name, 127);
    result.tag = tag;
    result.flags = flags;
    return result;
}

/** A view pointer that is only passed around, never called. */
IPlugView* fakeView()
{
    static int placeholder = 0;
    return reinterpret_cast<IPlugView*>(&placeholder);
}

TEST(QelContextMenu, FirstPluginItemComesAfterASeparator)
{
    auto* menu = new QelContextMenu;
    PlugTarget target;
    EXPECT_EQ(menu->getItemCount(), 0);
    ASSERT_EQ(menu->addItem(item(u"Learn MIDI CC", 11), &target), kResultOk);
    ASSERT_EQ(menu->addItem(item(u"Reset", 12), &target), kResultOk);
    ASSERT_EQ(menu->getItemCount(), 3);

    ContextMenuItem read = item(u"stale", 99, 99);
    IContextMenuTarget* readTarget = &target;
    ASSERT_EQ(menu->getItem(0, read, &readTarget), kResultOk);
    EXPECT_EQ(read.tag, 0);
    EXPECT_EQ(read.flags, ContextMenuItem::kIsSeparator | ContextMenuItem::kIsGroupEnd);
    EXPECT_EQ(read.name[0], 0);
    EXPECT_EQ(readTarget, nullptr);

    ASSERT_EQ(menu->getItem(2, read, &readTarget), kResultOk);
    EXPECT_EQ(std::u16string(read.name), u"Reset");
    EXPECT_EQ(read.tag, 12);
    EXPECT_EQ(read.flags, 0);
    EXPECT_EQ(readTarget, &target);

    EXPECT_EQ(menu->getItem(3, read, nullptr), kResultFalse);
    EXPECT_EQ(menu->getItem(-1, read, nullptr), kResultFalse);
    menu->release();
}

TEST(QelContextMenu, HostItemsStayBeforeThePluginsItems)
{
    QelContextMenu menu;
    PlugTarget host;
    PlugTarget plug;
    menu.addHostItem(item(u"Host A", 1), &host);
    menu.addItem(item(u"Plug", 5), &plug);
    menu.addHostItem(item(u"Host B", 2), &host);

    std::vector<ContextMenuEntry> entries = menu.getEntries();
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0].title, String("Host A"));
    EXPECT_EQ(entries[1].title, String("Host B"));
    EXPECT_TRUE(entries[2].separator);
    EXPECT_EQ(entries[3].title, String("Plug"));

    // A host item is no plug-in item: removing it through the plug-in's call fails.
    EXPECT_EQ(menu.removeItem(item(u"Host A", 1), &host), kResultFalse);
    EXPECT_EQ(menu.getItemCount(), 4);
}

TEST(QelContextMenu, FlagsComeBackAsTheMenuShowsThem)
{
    QelContextMenu menu;
    PlugTarget target;
    menu.addItem(item(u"Disabled", 1, ContextMenuItem::kIsDisabled), &target);
    menu.addItem(item(u"Checked", 2, ContextMenuItem::kIsChecked), &target);
    menu.addItem(item(u"Named separator", 3, ContextMenuItem::kIsSeparator), &target);
    menu.addItem(item(u"Group", 4, ContextMenuItem::kIsGroupStart), &target);
    menu.addItem(item(u"", 5, ContextMenuItem::kIsGroupEnd), &target);

    struct Expected
    {
        std::u16string name;
        int32 tag;
        int32 flags;
    };
    const Expected expected[] = {
        {u"Disabled", 1, ContextMenuItem::kIsDisabled},
        {u"Checked", 2, ContextMenuItem::kIsChecked},
        {u"", 3, ContextMenuItem::kIsSeparator},
        {u"Group", 4, ContextMenuItem::kIsDisabled},
        {u"", 5, ContextMenuItem::kIsSeparator},
    };
    ASSERT_EQ(menu.getItemCount(), 6);
    for (int32 i = 0; i < 5; ++i)
    {
        ContextMenuItem read{};
        ASSERT_EQ(menu.getItem(i + 1, read, nullptr), kResultOk);
        EXPECT_EQ(std::u16string(read.name), expected[i].name) << i;
        EXPECT_EQ(read.tag, expected[i].tag) << i;
        EXPECT_EQ(read.flags, expected[i].flags) << i;
    }
    std::vector<ContextMenuEntry> entries = menu.getEntries();
    EXPECT_TRUE(entries[4].groupStart);
    EXPECT_TRUE(entries[5].groupEnd);
}

TEST(QelContextMenu, UnterminatedNameIsCutAtItsEnd)
{
    QelContextMenu menu;
    ContextMenuItem full{};
    for (TChar& unit : full.name)
        unit = u'n';
    full.tag = 1;
    menu.addItem(full, nullptr);
    ContextMenuItem read{};
    ASSERT_EQ(menu.getItem(1, read, nullptr), kResultOk);
    EXPECT_EQ(std::u16string(read.name), std::u16string(127, u'n'));
}

TEST(QelContextMenu, ChosenEntryCallsItsTargetWithTheTag)
{
    PlugTarget target;
    {
        QelContextMenu menu;
        menu.addItem(item(u"First", 21), &target);
        menu.addItem(item(u"Off", 22, ContextMenuItem::kIsDisabled), &target);
        menu.addItem(item(u"Second", 23, ContextMenuItem::kIsChecked), &target);
        EXPECT_EQ(target.refs, 4) << "every record holds the target";

        EXPECT_TRUE(menu.select(3));
        EXPECT_TRUE(menu.select(1));
        EXPECT_FALSE(menu.select(2)) << "a disabled entry cannot be chosen";
        EXPECT_FALSE(menu.select(0)) << "nor can the separator";
        EXPECT_FALSE(menu.select(4));
        EXPECT_EQ(target.tags, (std::vector<int32>{23, 21}));

        EXPECT_EQ(menu.removeItem(item(u"", 21), &target), kResultOk);
        EXPECT_EQ(target.refs, 3);
        EXPECT_EQ(menu.removeItem(item(u"", 21), &target), kResultFalse);
        PlugTarget other;
        EXPECT_EQ(menu.removeItem(item(u"", 23), &other), kResultFalse);
        EXPECT_EQ(menu.getItemCount(), 3);
    }
    EXPECT_EQ(target.refs, 1) << "the menu releases its targets";
}

TEST(QelContextMenu, PopupNeedsAViewAndAPresenter)
{
    FakePresenter presenter;
    PlugTarget target;
    QelContextMenu noView(nullptr, &presenter);
    noView.addItem(item(u"Item", 1), &target);
    EXPECT_EQ(noView.popup(1, 1), kResultFalse);

    QelContextMenu noPresenter(fakeView(), nullptr);
    noPresenter.addItem(item(u"Item", 1), &target);
    EXPECT_EQ(noPresenter.popup(1, 1), kResultFalse);
    EXPECT_EQ(presenter.showCount, 0);

    presenter.viewShown = false;
    QelContextMenu hidden(fakeView(), &presenter);
    EXPECT_EQ(hidden.popup(1, 1), kResultFalse);
    EXPECT_EQ(presenter.showCount, 0);
    EXPECT_TRUE(target.tags.empty());
}

TEST(QelContextMenu, PopupShowsAtTheScreenPointAndRunsTheChoice)
{
    FakePresenter presenter;
    PlugTarget target;
    auto* menu = new QelContextMenu(fakeView(), &presenter);
    menu->addItem(item(u"One", 31), &target);
    menu->addItem(item(u"Two", 32), &target);

    presenter.choice = 2;
    EXPECT_EQ(menu->popup(5, 7), kResultOk);
    EXPECT_EQ(presenter.seenView, fakeView());
    EXPECT_EQ(presenter.shownAt, (std::pair<int32, int32>{105, 207}));
    ASSERT_EQ(presenter.shown.size(), 3u);
    EXPECT_EQ(presenter.shown[2].title, String("Two"));
    EXPECT_EQ(target.tags, (std::vector<int32>{32}));

    presenter.choice = -1;
    EXPECT_EQ(menu->popup(5, 7), kResultFalse);
    EXPECT_EQ(target.tags.size(), 1u);

    void* answer = nullptr;
    ASSERT_EQ(menu->queryInterface(IContextMenu::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IContextMenu*>(menu));
    static_cast<IContextMenu*>(answer)->release();
    menu->release();
    EXPECT_EQ(target.refs, 1);
}

} // namespace
