// The windows under a real X server, driven by real clicks and keys: widgets and values follow
// each other both ways, and the test window runs a class, shows its results and stops when
// asked.
#include "base/updatehandler.h"
#include "base/values/ufloatvalues.h"
#include "base/values/uintvalues.h"
#include "base/values/umenuvalue.h"
#include "base/values/ustringlistvalue.h"
#include "base/values/ustringvalue.h"
#include "conformity/funittestingdialogcontroller.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"
#include "ui/skinloader.h"
#include "ui/testtreemodel.h"
#include "ui/uitestsupport.h"
#include "ui/unittestingwindow.h"
#include "ui/valuebinder.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QVBoxLayout>

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::qtApplication;

namespace
{

/** A value released when the test ends. */
template <class Value> struct Held
{
    template <class... Args> explicit Held(Args&&... args) : value(new Value(args...)) {}
    ~Held() { value->release(); }
    Value* operator->() const { return value; }
    Value* value;
};

TEST(ValueBinder, WidgetsAndValuesFollowEachOtherByName)
{
    qtApplication();
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setObjectName("gain");
    auto* toggle = new QCheckBox("Bypass");
    toggle->setObjectName("bypass");
    auto* press = new QPushButton("Run");
    press->setObjectName("run");
    auto* edit = new QLineEdit;
    edit->setObjectName("title");
    auto* label = new QLabel;
    label->setObjectName("gainText");
    auto* list = new QListWidget;
    list->setObjectName("lines");
    auto* stranger = new QLabel("no value");
    stranger->setObjectName("nothingHere");
    for (QWidget* widget : {(QWidget*)slider, (QWidget*)toggle, (QWidget*)press, (QWidget*)edit,
                            (QWidget*)label, (QWidget*)list, (QWidget*)stranger})
        layout->addWidget(widget);
    window.resize(400, 300);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

    Held<UFloatValue> gain("gain", 0, -60.0, 0.0, -6.0);
    Held<UIntValue> bypass("bypass", 0, 0, 1, 0);
    Held<UIntValue> run("run", 7, 0, 1, 0);
    Held<UStringValue> title("title", 0, String("First"));
    Held<UStringListValue> lines("lines");
    lines->addString(String("one"));
    lines->addString(String("two"));
    ValueBinder binder;
    const int bound = binder.bind(&window,
                                  [&](const std::string& name) -> UValue*
                                  {
                                      if (name == "gain" || name == "gainText")
                                          return gain.value;
                                      if (name == "bypass")
                                          return bypass.value;
                                      if (name == "run")
                                          return run.value;
                                      if (name == "title")
                                          return title.value;
                                      if (name == "lines")
                                          return lines.value;
                                      return nullptr;
                                  });
    EXPECT_EQ(bound, 6);

    // The widgets show the values as they are.
    EXPECT_EQ(slider->value(), 900); // -6 dB is nine tenths of -60..0
    EXPECT_EQ(label->text(), "-6.00");
    EXPECT_EQ(edit->text(), "First");
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(1)->text(), "two");
    EXPECT_EQ(stranger->text(), "no value");

    // A key on the slider moves the value; the value moves the slider and the label.
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_End);
    EXPECT_DOUBLE_EQ(gain->getValue(), 0.0);
    EXPECT_EQ(label->text(), "0.00");
    gain->setValue(-30.0);
    EXPECT_EQ(slider->value(), 500);
    EXPECT_EQ(label->text(), "-30.00");

    // A click on a check box sets 1, on a button presses it once.
    QTest::mouseClick(toggle, Qt::LeftButton, {}, QPoint(8, toggle->height() / 2)); // the box
    EXPECT_EQ(bypass->getValue(), 1);
    bypass->setValue(0);
    EXPECT_FALSE(toggle->isChecked());
    QTest::mouseClick(press, Qt::LeftButton);
    EXPECT_EQ(run->getValue(), 1);

    // Typed text reaches the value at the end of the edit.
    edit->setFocus();
    edit->selectAll();
    QTest::keyClicks(edit, "Second");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_EQ(title->getValue().toUtf8(), "Second");

    // A list that changes is shown anew; a value switched off switches its widget off.
    lines->addString(String("three"));
    EXPECT_EQ(list->count(), 3);
    gain->setEnabled(false);
    EXPECT_FALSE(slider->isEnabled());

    // After unbinding, neither side reaches the other.
    binder.unbindAll();
    gain->setEnabled(true);
    gain->setValue(-60.0);
    EXPECT_EQ(slider->value(), 500);
}

TEST(ValueBinder, ListsAndMenuButtonsChooseItemsOfAMenuValue)
{
    qtApplication();
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* list = new QComboBox;
    list->setObjectName("rate");
    auto* button = new QToolButton;
    button->setObjectName("style");
    auto* steps = new QComboBox;
    steps->setObjectName("steps");
    for (QWidget* widget : {(QWidget*)list, (QWidget*)button, (QWidget*)steps})
        layout->addWidget(widget);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));

    Held<UMenuValue> rate("rate");
    for (const char* title : {"44100", "48000", "96000"})
        rate->addEntry(title);
    rate->entriesChanged();
    Held<UMenuValue> style("style");
    UMenuEntry* rock = style->addEntry("Rock");
    rock->addEntry("Hard Rock");
    rock->addEntry("Punk");
    style->addEntry("Jazz");
    style->entriesChanged();
    Held<UIntValue> count("steps", 0, 2, 5, 3);
    ValueBinder binder;
    EXPECT_EQ(binder.bind(&window,
                          [&](const std::string& name) -> UValue*
                          {
                              if (name == "rate")
                                  return rate.value;
                              if (name == "style")
                                  return style.value;
                              return name == "steps" ? count.value : nullptr;
                          }),
              3);

    // The list shows the items of the menu and picks one by key.
    ASSERT_EQ(list->count(), 3);
    EXPECT_EQ(list->itemText(2), "96000");
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_EQ(rate->getIndex(), 1);
    rate->setIndex(2);
    EXPECT_EQ(list->currentIndex(), 2);

    // The button's menu is the tree; a leaf sets the item's depth-first number, and picking
    // the chosen item again still tells the value's dependents.
    ASSERT_NE(button->menu(), nullptr);
    QList<QAction*> top = button->menu()->actions();
    ASSERT_EQ(top.size(), 2);
    ASSERT_NE(top[0]->menu(), nullptr);
    top[0]->menu()->actions().at(1)->trigger(); // Rock > Punk
    EXPECT_EQ(style->getIndex(), 1);
    EXPECT_EQ(button->toolTip(), "Punk");
    struct Counter : CmObject
    {
        using CmObject::update;
        void update(FUnknown*, int32 message) override { heard += message == kChanged ? 1 : 0; }
        int heard = 0;
    };
    auto* counter = new Counter;
    UpdateHandler::instance()->addDependent(static_cast<FObject*>(style.value), counter);
    top[0]->menu()->actions().at(1)->trigger();
    EXPECT_EQ(counter->heard, 1);
    UpdateHandler::instance()->removeDependent(static_cast<FObject*>(style.value), counter);
    counter->release();
    top[1]->trigger(); // Jazz
    EXPECT_EQ(style->getIndex(), 2);

    // An integer in a list: its range numbered, the minimum first.
    ASSERT_EQ(steps->count(), 4);
    EXPECT_EQ(steps->currentText(), "3");
    steps->setFocus();
    QTest::keyClick(steps, Qt::Key_Down);
    EXPECT_EQ(count->getValue(), 4);
}

class TestWindow : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        registry = new FComponentRegistry;
        registry->setCacheFolder(temp.folder("cache"));
        registry->scanFolder(QEL_MODULE_DIR);
        FTester::instance()->setSettingsPath(temp.file("TestSettings.bin"));
        QString error;
        window = UnitTestingWindow::create(*registry, temp.file("AutotestLog.txt"),
                                           SkinLoader({QEL_SKIN_DIR}), &error);
        ASSERT_NE(window, nullptr) << error.toStdString();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    }
    void TearDown() override
    {
        delete window;
        registry->release();
        FTester::instance()->setSettingsPath({});
    }

    template <class Widget> Widget* find(const char* name)
    {
        auto* widget = window->findChild<Widget*>(name);
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }

    Quillmark::testing::TempFolder temp;
    FComponentRegistry* registry = nullptr;
    UnitTestingWindow* window = nullptr;
};

TEST_F(TestWindow, RunsTheSelectedGroupAndShowsItsResults)
{
    const std::string group = "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General";
    ASSERT_TRUE(window->selectPath(group));
    auto* numTests = find<QLabel>("numTests");
    EXPECT_EQ(numTests->text(), "4473"); // four examples with 1118 tests each, and Qel Gain's own

    QTest::mouseClick(find<QPushButton>("runSelected"), Qt::LeftButton);
    EXPECT_FALSE(window->isRunning());
    EXPECT_FALSE(find<QPushButton>("cancel")->isEnabled());

    TestTreeModel& model = window->getModel();
    FTestNode* node = window->getController().getService().findNode(group);
    ASSERT_NE(node, nullptr);
    const QModelIndex groupIndex = model.indexOf(node);
    ASSERT_EQ(model.rowCount(groupIndex), 5);
    for (int row = 0; row < 5; ++row)
        EXPECT_EQ(model.index(row, TestTreeModel::kStatusColumn, groupIndex).data().toString(),
                  "Passed")
            << row;
    // The selected group shows what its tests said; nothing went wrong.
    EXPECT_GT(find<QListWidget>("messageList")->count(), 5);
    EXPECT_EQ(find<QListWidget>("errorList")->count(), 0);
    EXPECT_NE(Quillmark::testing::readFile(temp.file("AutotestLog.txt"))
                  .find("Test: Passed: Root/" + group + "/Scan Parameters\r\n"),
              std::string::npos);

    // The check box switches a node off, and the next run leaves it out.
    const QModelIndex first = model.index(0, TestTreeModel::kNameColumn, groupIndex);
    QTreeView* tree = window->getTree();
    tree->scrollTo(first);
    const QRect box = tree->visualRect(first);
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {},
                      QPoint(box.left() + tree->indentation() / 2 + 2, box.center().y()));
    if (model.nodeOf(first)->isEnabled()) // the box sits a little further in on some styles
        model.setData(first, Qt::Unchecked, Qt::CheckStateRole);
    EXPECT_FALSE(model.nodeOf(first)->isEnabled());
    QTest::mouseClick(find<QPushButton>("runSelected"), Qt::LeftButton);
    EXPECT_EQ(
        Quillmark::testing::readFile(temp.file("AutotestLog.txt")).find("Scan Editor Classes"),
        std::string::npos);
}

TEST_F(TestWindow, StopEndsARunBetweenTwoTests)
{
    ASSERT_TRUE(window->selectPath("Local Instances/Qel Gain"));
    auto* cancel = find<QPushButton>("cancel");
    int finished = 0;
    window->getController().setTestListener(
        [&](const FTestNode&)
        {
            // A few tests in, the user presses stop while the run goes on.
            if (++finished == 3)
                QTimer::singleShot(0, cancel,
                                   [cancel] { QTest::mouseClick(cancel, Qt::LeftButton); });
        });
    QTest::mouseClick(find<QPushButton>("runSelected"), Qt::LeftButton);
    EXPECT_FALSE(window->isRunning());
    EXPECT_GE(finished, 3);
    EXPECT_LT(finished, 20) << "the run went on after stop";
}

} // namespace
