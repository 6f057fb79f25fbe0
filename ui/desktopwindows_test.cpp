// The editing windows under a real X server, driven by real keys and clicks: the generic editor
// moves Qel Gain's gain as far as its processor, the preset editor saves and loads the plug-in
// and writes meta information, the preferences reach the application, and the main window's
// menus carry the command table with its keys.
#include "app/consoleuiservices.h"
#include "app/editedplugin.h"
#include "app/info/genericeditor.h"
#include "app/tapplication.h"
#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/platform/files.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "presets/qelpreseteditor.h"
#include "ui/genericeditorview.h"
#include "ui/keycommandswindow.h"
#include "ui/mainwindow.h"
#include "ui/pluginwindow.h"
#include "ui/preferenceswindow.h"
#include "ui/preseteditorwindow.h"
#include "ui/qtuiservices.h"
#include "ui/uitestsupport.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QPushButton>
#include <QSlider>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

using namespace Quillmark;
using Quillmark::testing::qtApplication;
using namespace Quillmark::Qel::Examples;

namespace
{

/** The gain in dB in Qel Gain's processor state: after tag and version, a little-endian
    double. */
double storedGainDb(const std::string& state)
{
    double gain = -1000.0;
    if (state.size() >= 16)
        std::memcpy(&gain, state.data() + 8, sizeof gain);
    return gain;
}

class EditorWindows : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        registry = new FComponentRegistry;
        registry->setCacheFolder(temp.folder("cache"));
        ASSERT_GT(registry->scanFolder(QEL_MODULE_DIR), 0);
        std::string problem;
        plugin = EditedPlugin::create(*registry, FUID(kQelGainCid), problem);
        ASSERT_NE(plugin, nullptr) << problem;
        QString error;
        window =
            PluginWindow::create(*plugin->getEditor(), plugin, plugin, "Qel Gain", skins, &error);
        ASSERT_NE(window, nullptr) << error.toStdString();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    }
    void TearDown() override
    {
        delete presets;
        delete window;
        if (plugin)
            plugin->release();
        registry->close();
        registry->release();
    }

    template <class Widget> Widget* find(QWidget* in, const char* name)
    {
        auto* widget = in->findChild<Widget*>(name);
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }

    double plainGain() const
    {
        Qel::IEditController* controller = plugin->getController();
        return controller->normalizedParamToPlain(
            kQelGainGainParamId, controller->getParamNormalized(kQelGainGainParamId));
    }

    void openPresetEditor()
    {
        QString error;
        presets = PresetEditorWindow::create(plugin, plugin, registry, skins, &error);
        ASSERT_NE(presets, nullptr) << error.toStdString();
        presets->setAttribute(Qt::WA_DeleteOnClose, false);
        presets->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(presets));
    }

    void typeInto(QLineEdit* edit, const QString& text)
    {
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
    }

    Quillmark::testing::TempFolder temp;
    SkinLoader skins{{QEL_SKIN_DIR}};
    FComponentRegistry* registry = nullptr;
    EditedPlugin* plugin = nullptr;
    PluginWindow* window = nullptr;
    PresetEditorWindow* presets = nullptr;
};

} // namespace

TEST_F(EditorWindows, TheGenericEditorMovesQelGainsGainIntoTheProcessor)
{
    // One row: the bypass parameter has no place on the editor.
    auto* slider = find<QSlider>(window, "param0");
    ASSERT_NE(slider, nullptr);
    EXPECT_EQ(window->findChild<QWidget*>("param1"), nullptr);
    EXPECT_EQ(find<QLabel>(window, "title0")->text(), "Gain");
    EXPECT_EQ(find<QLabel>(window, "unit0")->text(), "dB");
    auto* text = find<QLineEdit>(window, "param0Text");

    // Keys on the slider: the controller has the value at once, the processor after a block.
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_Home);
    EXPECT_DOUBLE_EQ(plainGain(), -60.0);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), -60.0, 1e-4);
    QTest::keyClick(slider, Qt::Key_End);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), 12.0, 1e-4);
    EXPECT_EQ(text->text().toDouble(), 12.0) << text->text().toStdString();

    // A click into the groove left of the handle pages down.
    const int before = slider->value();
    QTest::mouseClick(slider, Qt::LeftButton, {}, QPoint(4, slider->height() / 2));
    EXPECT_LT(slider->value(), before);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), plainGain(), 1e-4);
    EXPECT_LT(plainGain(), 12.0);

    // Typed text goes through the plug-in's own reading of it.
    typeInto(text, "-12");
    EXPECT_NEAR(plainGain(), -12.0, 1e-3);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), -12.0, 1e-3);
    EXPECT_EQ(slider->value(), 667); // (-12 + 60) / 72 of the way

    // A change from the plug-in's side moves the slider.
    plugin->getEditor()->setParamValue(kQelGainGainParamId, 0.5);
    EXPECT_EQ(slider->value(), 500);

    // The edits reached the host's handler as edits of parameter 0, and a mouse gesture on the
    // handle is framed by begin and end.
    const std::vector<std::string>& log = plugin->getEditLog();
    EXPECT_TRUE(std::all_of(log.begin(), log.end(),
                            [](const std::string& line)
                            { return line.find(" 0") != std::string::npos; }));
    EXPECT_GE(log.size(), 4u);
}

TEST_F(EditorWindows, ThePresetEditorSavesAndLoadsThePluginAndWritesMetaInformation)
{
    openPresetEditor();
    auto* path = find<QLineEdit>(presets, "presetPath");
    auto* save = find<QPushButton>(presets, "savePreset");
    auto* load = find<QPushButton>(presets, "loadPreset");
    ASSERT_TRUE(path && save && load);
    EXPECT_TRUE(save->isEnabled());

    auto* slider = find<QSlider>(window, "param0");
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_End);
    ASSERT_TRUE(plugin->processBlock());
    const QString file = QString::fromStdString(temp.folder("presets") + "/loud.qelpreset");
    typeInto(path, file);
    QTest::mouseClick(save, Qt::LeftButton);
    ASSERT_TRUE(platform::fileInfo(file.toStdString()).isFile)
        << presets->getStatus().toStdString();
    EXPECT_EQ(find<QLabel>(presets, "path")->text(), file);
    EXPECT_EQ(find<QLabel>(presets, "classID")->text().toStdString(), FUID(kQelGainCid).toString());

    // Quiet again, then the file brings the gain back into the controller and the processor.
    QTest::keyClick(slider, Qt::Key_Home);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), -60.0, 1e-4);
    QTest::mouseClick(load, Qt::LeftButton);
    EXPECT_TRUE(presets->getStatus().startsWith("Loaded")) << presets->getStatus().toStdString();
    EXPECT_NEAR(storedGainDb(plugin->componentState()), 12.0, 1e-4);
    EXPECT_DOUBLE_EQ(plainGain(), 12.0);
    EXPECT_EQ(slider->value(), 1000);

    // Meta information: a name typed and a style picked from the menu are written on commit.
    typeInto(find<QLineEdit>(presets, "plugname"), "Loud Gain");
    auto* styleMenu = find<QToolButton>(presets, "styleMenu");
    ASSERT_NE(styleMenu->menu(), nullptr);
    QAction* firstStyle = nullptr;
    for (QAction* action : styleMenu->menu()->actions())
        if (action->menu() && !action->menu()->actions().isEmpty())
        {
            firstStyle = action->menu()->actions().front();
            break;
        }
    ASSERT_NE(firstStyle, nullptr);
    firstStyle->trigger();
    EXPECT_FALSE(find<QLineEdit>(presets, "style")->text().isEmpty());
    const QString style = find<QLineEdit>(presets, "style")->text();
    QTest::mouseClick(find<QPushButton>(presets, "commitChanges"), Qt::LeftButton);
    EXPECT_EQ(presets->getStatus(), "The meta information was written.");
    Qel::QelPresetMedium reread(file.toStdString());
    ASSERT_TRUE(reread.scan(registry));
    EXPECT_EQ(reread.getAttributes().getString("PlugInName"), "Loud Gain");

    // A file that is no preset: the reason shows, and the plug-in keeps its state.
    const std::string state = plugin->componentState();
    const std::string junk = temp.folder("presets") + "/junk.qelpreset";
    Quillmark::testing::writeFile(junk, "no preset at all");
    typeInto(path, QString::fromStdString(junk));
    QTest::mouseClick(load, Qt::LeftButton);
    EXPECT_TRUE(presets->getStatus().contains("not a preset file"))
        << presets->getStatus().toStdString();
    EXPECT_EQ(plugin->componentState(), state);
    EXPECT_EQ(find<QLineEdit>(presets, "style")->text(), style) << "the fields stay";
}

TEST_F(EditorWindows, ThePluginWindowKeepsItsPluginAliveUntilItCloses)
{
    // The window holds a reference: the test's own can go first.
    EditedPlugin* held = plugin;
    plugin = nullptr;
    held->release();
    auto* slider = find<QSlider>(window, "param0");
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_End);
    EXPECT_EQ(slider->value(), 1000);
    delete window;
    window = nullptr;
}

TEST_F(EditorWindows, AListParameterIsAListOfThePluginsOwnNames)
{
    std::string problem;
    EditedPlugin* synth = EditedPlugin::create(*registry, FUID(kQelSynthCid), problem);
    ASSERT_NE(synth, nullptr) << problem;
    QString error;
    PluginWindow* editor =
        PluginWindow::create(*synth->getEditor(), synth, synth, "Qel Synth", skins, &error);
    synth->release(); // the window keeps it
    ASSERT_NE(editor, nullptr) << error.toStdString();
    editor->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(editor));

    QComboBox* list = nullptr;
    int number = 0;
    for (; number < synth->getEditor()->getParamCount(); ++number)
        if ((list = editor->findChild<QComboBox*>(QString("param%1").arg(number))))
            break;
    ASSERT_NE(list, nullptr) << "Qel Synth's waveform is a list";
    ParamValueProxy* proxy = synth->getEditor()->getProxy(number);
    const int steps = proxy->getStepCount();
    ASSERT_EQ(list->count(), steps + 1);
    auto* text = editor->findChild<QLineEdit*>(QString("param%1Text").arg(number));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text->text(), list->currentText());

    // A key picks the next entry; the controller and the text follow.
    const int before = list->currentIndex();
    ASSERT_LT(before, steps);
    list->setFocus();
    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_EQ(list->currentIndex(), before + 1);
    EXPECT_NEAR(synth->getController()->getParamNormalized(proxy->getParamId()),
                double(before + 1) / steps, 1e-6);
    EXPECT_EQ(text->text(), list->itemText(before + 1));

    // The plug-in's side moves the list back.
    synth->getEditor()->setParamValue(proxy->getParamId(), 0.0);
    EXPECT_EQ(list->currentIndex(), 0);
    delete editor;
}

TEST(DesktopQuestions, ATextQuestionKeepsToItsLengthAndACancelAnswersNothing)
{
    qtApplication();
    QtUIServices services{SkinLoader({QEL_SKIN_DIR})};
    // The dialog is modal: keys reach it from the event loop it runs.
    auto answer = [](const QString& keys, int key)
    {
        QTimer::singleShot(50,
                           [keys, key]
                           {
                               QWidget* dialog = QApplication::activeModalWidget();
                               auto* field = dialog ? dialog->findChild<QLineEdit*>() : nullptr;
                               if (!field)
                                   return;
                               field->selectAll();
                               QTest::keyClicks(field, keys);
                               QTest::keyClick(field, Qt::Key(key));
                           });
    };
    TextRequest uid;
    uid.id = "QEL2_UID";
    uid.title = "Enter QEL 2 UID (4 characters)";
    uid.initial = "AB";
    uid.maxLength = 4;
    std::string text;
    answer("WXYZ12", Qt::Key_Return);
    ASSERT_TRUE(services.askText(uid, text));
    EXPECT_EQ(text, "WXYZ");
    TextRequest name;
    name.title = "Enter the new Name";
    answer("ignored", Qt::Key_Escape);
    EXPECT_FALSE(services.askText(name, text));
    EXPECT_EQ(text, "WXYZ");
}

namespace
{

class DesktopWindows : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        app = Quillmark::testing::startApplication(ui, temp.folder("data"), {QEL_MODULE_DIR});
        ASSERT_NE(app, nullptr);
        ui.addWindowCommands();
        ui.setMenuBar(app->createMenuBar());
        ui.openMainWindow();
        ASSERT_NE(ui.getMainWindow(), nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(ui.getMainWindow()));
        FMainLoop::instance()->setCommandHandler(&app->getCommandTable());
    }
    void TearDown() override
    {
        FMainLoop::instance()->setCommandHandler(nullptr);
        ui.closeWindows();
        ui.setApplication(nullptr);
        if (app)
            app->release();
    }

    QAction* action(const QString& menuTitle, const QString& text)
    {
        for (QAction* menu : ui.getMainWindow()->menuBar()->actions())
            if (menu->text() == menuTitle && menu->menu())
                for (QAction* item : menu->menu()->actions())
                    if (item->text() == text)
                        return item;
        return nullptr;
    }

    Quillmark::testing::TempFolder temp;
    QtUIServices ui{SkinLoader({QEL_SKIN_DIR})};
    TApplication* app = nullptr;
};

} // namespace

TEST_F(DesktopWindows, TheMenusCarryTheCommandTableWithItsKeys)
{
    QAction* close = action("File", "Close");
    ASSERT_NE(close, nullptr);
    EXPECT_EQ(close->shortcut(), QKeySequence("Ctrl+W"));
    EXPECT_TRUE(close->isEnabled());
    // The windows this program has are on; the player's and the rack's are off.
    for (auto [menu, text] :
         {std::pair{"File", "Global Preferences..."}, std::pair{"File", "Key Commands..."},
          std::pair{"View", "Open Preset Editor"},
          std::pair{"View", "Open Plug-In Information Window"},
          std::pair{"View", "Open Plug-In Unit Tests Window"}})
    {
        QAction* item = action(menu, text);
        ASSERT_NE(item, nullptr) << text;
        EXPECT_TRUE(item->isEnabled()) << text;
    }
    for (auto [menu, text] :
         {std::pair{"File", "Load Preset"}, std::pair{"File", "Load MIDI File"},
          std::pair{"File", "Plug-In Preferences..."}, std::pair{"Transport", "Play"},
          std::pair{"Transport", "Return to Zero"}})
    {
        QAction* item = action(menu, text);
        ASSERT_NE(item, nullptr) << text;
        EXPECT_FALSE(item->isEnabled()) << text;
    }
    EXPECT_EQ(action("Transport", "Play")->shortcut(), QKeySequence("F5"));

    // The key of the preferences opens them through the command queue.
    QWidget* main = ui.getMainWindow();
    main->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(main));
    QTest::keyClick(main, Qt::Key_Comma, Qt::ControlModifier);
    FMainLoop::instance()->runIdlePass();
    PreferencesWindow* preferences = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* found = qobject_cast<PreferencesWindow*>(window))
            preferences = found;
    ASSERT_NE(preferences, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(preferences));

    // Its pages in order, and a click reaches the application and the store.
    auto* tabs = preferences->findChild<QTabWidget*>("pages");
    ASSERT_NE(tabs, nullptr);
    QStringList titles;
    for (int index = 0; index < tabs->count(); ++index)
        titles << tabs->tabText(index);
    EXPECT_EQ(titles, (QStringList{"General", "TARN", "Location", "Tests"}));
    auto* dontAsk = preferences->findChild<QCheckBox*>("DontAskForQuit");
    ASSERT_NE(dontAsk, nullptr);
    EXPECT_FALSE(app->getDontAskForQuit());
    QTest::mouseClick(dontAsk, Qt::LeftButton, {}, QPoint(8, dontAsk->height() / 2));
    EXPECT_TRUE(app->getDontAskForQuit());
    tabs->setCurrentIndex(2);
    auto* shared = preferences->findChild<QLineEdit*>("SharedComponentsPath");
    ASSERT_NE(shared, nullptr);
    shared->setFocus();
    shared->selectAll();
    QTest::keyClicks(shared, "/srv/shared");
    QTest::keyClick(shared, Qt::Key_Return);
    String stored;
    ASSERT_TRUE(
        app->getPreferences().lookup("Location")->getString("Shared Components Path", stored));
    EXPECT_EQ(stored.toUtf8(), "/srv/shared");
}

TEST_F(DesktopWindows, EditOpensThePluginWindowOfTheSelectedClass)
{
    MainWindow* main = ui.getMainWindow();
    QTreeWidget* classes = main->getClassList();
    ASSERT_NE(classes, nullptr);
    const auto found = classes->findItems("Qel Gain", Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1);
    classes->setCurrentItem(found.front());
    auto* edit = main->findChild<QPushButton*>("editClass");
    ASSERT_NE(edit, nullptr);
    QTest::mouseClick(edit, Qt::LeftButton);
    PluginWindow* editor = main->getLastEditor();
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(editor));
    EXPECT_EQ(editor->windowTitle(), "Qel Gain");
    EXPECT_NE(editor->findChild<QSlider*>("param0"), nullptr);

    // Its "Presets..." button opens the preset editor over the same plug-in.
    auto* presetsButton = editor->findChild<QPushButton*>("openPresetEditor");
    ASSERT_NE(presetsButton, nullptr);
    EXPECT_TRUE(presetsButton->isEnabled());
    QTest::mouseClick(presetsButton, Qt::LeftButton);
    PresetEditorWindow* presets = nullptr;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (auto* candidate = qobject_cast<PresetEditorWindow*>(window))
            presets = candidate;
    ASSERT_NE(presets, nullptr);
    EXPECT_EQ(presets->getTarget(), editor->getPresetTarget());
    EXPECT_EQ(presets->windowTitle(), "Preset Editor: Qel Gain");

    // Closing the editor leaves the preset editor working on the plug-in it keeps.
    editor->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(main->getLastEditor(), nullptr);
    const QString file = QString::fromStdString(temp.folder("presets") + "/kept.qelpreset");
    EXPECT_TRUE(presets->saveTo(file)) << presets->getStatus().toStdString();
}

TEST_F(DesktopWindows, KeyCommandsListTheTableAndCloseClosesTheFrontWindow)
{
    auto* keys = qobject_cast<KeyCommandsWindow*>(ui.openKeyCommands());
    ASSERT_NE(keys, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(keys));
    QTreeWidget* list = keys->getList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->topLevelItemCount(), app->getCommandTable().count());
    auto row = [list](const QString& category, const QString& name) -> QTreeWidgetItem*
    {
        for (int index = 0; index < list->topLevelItemCount(); ++index)
        {
            QTreeWidgetItem* item = list->topLevelItem(index);
            if (item->text(0) == category && item->text(1) == name)
                return item;
        }
        return nullptr;
    };
    QTreeWidgetItem* close = row("File", "Close");
    ASSERT_NE(close, nullptr);
    EXPECT_EQ(QKeySequence(close->text(3), QKeySequence::NativeText), QKeySequence("Ctrl+W"));
    EXPECT_EQ(close->text(4), "yes");
    QTreeWidgetItem* play = row("Transport", "Play");
    ASSERT_NE(play, nullptr);
    EXPECT_EQ(play->text(4), "not yet");
    // Asking again brings the same window forward.
    EXPECT_EQ(ui.openKeyCommands(), keys);

    // Ctrl+W closes the window in front, which is the key command window, not the main window.
    QPointer<QWidget> watched(keys);
    keys->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(keys));
    QTest::keyClick(keys->getList(), Qt::Key_W, Qt::ControlModifier);
    FMainLoop::instance()->runIdlePass();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(watched.isNull());
    EXPECT_TRUE(ui.getMainWindow()->isVisible());
    EXPECT_FALSE(app->isPlatformQuit());
}
