#include "ui/qtuiservices.h"

#include "app/audioengine.h"
#include "app/presettarget.h"
#include "app/tapplication.h"
#include "devices/audio/audiosystemcontroller.h"
#include "devices/audio/pbaiosmanager.h"
#include "engine/qelplayer.h"
#include "midi/eventeditor.h"
#include "ui/eventeditorwindow.h"
#include "ui/keycommandswindow.h"
#include "ui/mainloopbridge.h"
#include "ui/mainwindow.h"
#include "ui/plugininfowindow.h"
#include "ui/pluginwindow.h"
#include "ui/preferenceswindow.h"
#include "ui/preseteditorwindow.h"
#include "ui/unittestingwindow.h"
#include "ui/unpluggeddevicedialog.h"

#include <QApplication>

#include <QEventLoop>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSplashScreen>
#include <QTimer>
#include <algorithm>
#include <cstdio>

namespace Quillmark
{

QtUIServices::QtUIServices(SkinLoader skins) : skins(std::move(skins)) {}

QtUIServices::~QtUIServices()
{
    closeWindows();
}

namespace
{

/** The audio system of the application's engine, or null. */
PBaiosManager* audioSystemOf(TApplication* application)
{
    AudioEngine* engine = application ? application->getAudioEngine() : nullptr;
    return engine ? engine->getManager() : nullptr;
}

} // namespace

void QtUIServices::closeWindows()
{
    // The question would open a dialog over windows that are gone, and it borrows these
    // services, which may go before the engine.
    if (PBaiosManager* manager = audioSystemOf(application))
        manager->setUnplugQuestion(nullptr);
    // Every window, the editors with their plug-ins included, goes before the application
    // whose registry holds the modules they run on.
    std::vector<QPointer<QWidget>> windows;
    for (QWidget* window : QApplication::topLevelWidgets())
        if (qobject_cast<PluginWindow*>(window) || qobject_cast<PresetEditorWindow*>(window) ||
            qobject_cast<PreferencesWindow*>(window) || qobject_cast<KeyCommandsWindow*>(window) ||
            qobject_cast<EventEditorWindow*>(window) || qobject_cast<PluginInfoWindow*>(window) ||
            qobject_cast<UnitTestingWindow*>(window))
            windows.emplace_back(window);
    // The preset editors first: they keep plug-ins alive that editor windows also hold.
    std::stable_partition(windows.begin(), windows.end(),
                          [](const QPointer<QWidget>& window)
                          { return qobject_cast<PresetEditorWindow*>(window.data()) != nullptr; });
    for (QPointer<QWidget>& window : windows)
        delete window.data();
    delete mainWindow.data();
    splash.reset();
}

void QtUIServices::showSplash()
{
    QPixmap picture(480, 200);
    picture.fill(QColor(38, 50, 56));
    QPainter painter(&picture);
    painter.setPen(Qt::white);
    QFont font = painter.font();
    font.setPointSize(20);
    painter.setFont(font);
    painter.drawText(picture.rect().adjusted(0, 0, 0, -60), Qt::AlignCenter,
                     application ? QString::fromStdString(application->getApplicationName())
                                 : QString("Qel3PluginTestHost"));
    painter.end();
    splash = std::make_unique<QSplashScreen>(picture);
    splash->show();
    QCoreApplication::processEvents();
}

void QtUIServices::closeSplash()
{
    splash.reset();
}

bool QtUIServices::isSplashOpen() const
{
    return splash != nullptr;
}

bool QtUIServices::hasPendingInput() const
{
    return false;
}

void QtUIServices::setBootText(const std::string& text)
{
    if (!splash)
        return;
    splash->showMessage(QString::fromStdString(text), Qt::AlignBottom | Qt::AlignHCenter,
                        Qt::lightGray);
    QCoreApplication::processEvents();
}

void QtUIServices::setMenuBar(const std::vector<Menu>& newMenus)
{
    menus = newMenus;
    if (mainWindow)
        mainWindow->setMenus(menus);
}

void QtUIServices::showMessage(const std::string& text)
{
    QMessageBox::information(mainWindow,
                             QString::fromStdString(application ? application->getApplicationName()
                                                                : "Qel3PluginTestHost"),
                             QString::fromStdString(text));
}

int QtUIServices::ask(const Question& question)
{
    QMessageBox box(mainWindow);
    box.setText(QString::fromStdString(question.text));
    std::vector<QPushButton*> buttons;
    for (const std::string& title : question.buttons)
        buttons.push_back(box.addButton(QString::fromStdString(title), QMessageBox::ActionRole));
    if (question.defaultButton >= 0 && size_t(question.defaultButton) < buttons.size())
        box.setDefaultButton(buttons[size_t(question.defaultButton)]);
    box.exec();
    for (size_t index = 0; index < buttons.size(); ++index)
        if (box.clickedButton() == buttons[index])
            return int(index);
    return question.defaultButton;
}

bool QtUIServices::askText(const TextRequest& request, std::string& answer)
{
    const QString title = QString::fromStdString(request.title);
    const QString initial = QString::fromStdString(request.initial);
    const QString filter =
        request.extension.empty()
            ? QString()
            : QString::fromStdString("*." + request.extension + " (*." + request.extension + ")");
    QString chosen;
    switch (request.kind)
    {
    case TextRequest::kFolder:
        chosen = QFileDialog::getExistingDirectory(mainWindow, title, initial);
        break;
    case TextRequest::kOpenFile:
        chosen = QFileDialog::getOpenFileName(mainWindow, title, initial, filter);
        break;
    case TextRequest::kSaveFile:
        chosen = QFileDialog::getSaveFileName(mainWindow, title, initial, filter);
        break;
    case TextRequest::kText:
    {
        QInputDialog dialog(mainWindow);
        dialog.setWindowTitle(QString::fromStdString(application ? application->getApplicationName()
                                                                 : "Qel3PluginTestHost"));
        dialog.setLabelText(title);
        dialog.setTextValue(initial);
        dialog.resize(230, dialog.sizeHint().height());
        if (auto* field = dialog.findChild<QLineEdit*>(); field && request.maxLength > 0)
            field->setMaxLength(request.maxLength);
        if (dialog.exec() != QDialog::Accepted)
            return false;
        answer = dialog.textValue().toStdString();
        return true;
    }
    }
    if (chosen.isEmpty())
        return false;
    answer = chosen.toStdString();
    return true;
}

int QtUIServices::getModifierKeys() const
{
    const Qt::KeyboardModifiers held = QGuiApplication::queryKeyboardModifiers();
    return (held & Qt::ControlModifier ? 1 : 0) | (held & Qt::ShiftModifier ? 2 : 0) |
           (held & Qt::AltModifier ? 4 : 0);
}

void QtUIServices::openMainWindow()
{
    if (!application || mainWindow)
        return;
    QString error;
    mainWindow = MainWindow::create(
        *application, skins, [this] { return openTestWindow(); }, &error);
    if (!mainWindow)
    {
        QMessageBox::critical(nullptr, "Qel3PluginTestHost", error);
        application->requestQuit();
        return;
    }
    mainWindow->setMenus(menus);
    mainWindow->setPresetEditorOpener([this](PluginWindow& editor) { openPresetEditor(&editor); });
    // The application's engine is open by now: the transport and the rack show its player.
    mainWindow->setPlayer(application->getPlayer());
    // A device that goes away from now on is asked about over the main window.
    if (PBaiosManager* manager = audioSystemOf(application))
        manager->setUnplugQuestion(
            [this](const String& text, const std::vector<std::string>& drivers, int32 attempt)
            { return answerUnplug(text.toUtf8(), drivers, attempt); });
    mainWindow->show();
}

QWidget* QtUIServices::openTestWindow()
{
    if (testWindow)
    {
        testWindow->raise();
        testWindow->activateWindow();
        return testWindow;
    }
    if (!application)
        return nullptr;
    QString error;
    const std::string log = application->getDataFolder() + "/AutotestLog.txt";
    testWindow = UnitTestingWindow::create(application->getRegistry(), log, skins, &error);
    if (!testWindow)
    {
        QMessageBox::warning(mainWindow, "Qel3PluginTestHost", error);
        return nullptr;
    }
    testWindow->show();
    return testWindow;
}

namespace
{

QWidget* raise(QWidget* window)
{
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

} // namespace

void QtUIServices::addWindowCommands()
{
    if (!application)
        return;
    CommandTable& commands = application->getCommandTable();
    auto text = [](const char* menuText) { return [menuText] { return std::string(menuText); }; };
    commands.add({"File", "Close", text("Close"), false, [this] { return closeFrontWindow(); }});
    commands.add({"File", "Key Commands", text("Key Commands..."), false,
                  [this] { return openKeyCommands() != nullptr; }});
    commands.add({"File", "Preferences", text("Global Preferences..."), false,
                  [this] { return openPreferences() != nullptr; }});
    commands.add(
        {"View", "Plugin Information", text("Open Plug-In Information Window"), false, [this] {
             return mainWindow &&
                    mainWindow->showInformation(mainWindow->selectedClass()) != nullptr;
         }});
    commands.add({"View", "Plugin Unit Tests", text("Open Plug-In Unit Tests Window"), false,
                  [this] { return openTestWindow() != nullptr; }});
    commands.add({"View", "Step Pattern", text("Open Step Pattern Editor"), false,
                  [this] { return openEventEditor() != nullptr; },
                  [this] { return application && application->getPlayer(); }});
    commands.add({"View", "Preset Editor", text("Open Preset Editor"), false,
                  [this] { return openPresetEditor() != nullptr; }});
}

QWidget* QtUIServices::openPreferences()
{
    if (preferences)
        return raise(preferences);
    if (!application)
        return nullptr;
    QString error;
    PreferencesWindow* window = PreferencesWindow::create(*application, skins, &error);
    if (!window)
    {
        QMessageBox::warning(mainWindow, "Qel3PluginTestHost", error);
        return nullptr;
    }
    preferences = window;
    // The audio system's page speaks for the engine that plays now; the window keeps the
    // controller for as long as it is open.
    AudioEngine* engine = application->getAudioEngine();
    if (engine && engine->getManager())
    {
        auto* audioSystem =
            new AudioSystemController(engine->getManager(), &application->getPreferences());
        audioSystem->setQuestion(
            [this](const std::string& text, const std::vector<std::string>& buttons)
            {
                Question question;
                question.id = "audio-system";
                question.text = text;
                question.buttons = buttons;
                return int32(ask(question));
            });
        audioSystem->setNotice([this](const std::string& text) { showMessage(text); });
        audioSystem->setStopTransport(
            [this]
            {
                if (MiniEngine::QelPlayer* player =
                        application ? application->getPlayer() : nullptr)
                    player->press(MiniEngine::QelPlayer::kStop);
            });
        window->setAudioSystem(audioSystem);
        audioSystem->release();
    }
    return raise(preferences);
}

QWidget* QtUIServices::openEventEditor()
{
    if (eventEditor)
        return raise(eventEditor);
    MiniEngine::QelPlayer* player = application ? application->getPlayer() : nullptr;
    if (!player || !player->getEventEditor())
        return nullptr;
    QString error;
    eventEditor = EventEditorWindow::create(*player->getEventEditor(), skins, &error);
    if (!eventEditor)
    {
        QMessageBox::warning(mainWindow, "Qel3PluginTestHost", error);
        return nullptr;
    }
    return raise(eventEditor);
}

QWidget* QtUIServices::openKeyCommands()
{
    if (keyCommands)
        return raise(keyCommands);
    if (!application)
        return nullptr;
    QString error;
    keyCommands = KeyCommandsWindow::create(application->getCommandTable(), skins, &error);
    if (!keyCommands)
    {
        QMessageBox::warning(mainWindow, "Qel3PluginTestHost", error);
        return nullptr;
    }
    return raise(keyCommands);
}

QWidget* QtUIServices::openPresetEditor(PluginWindow* editor)
{
    if (!application)
        return nullptr;
    if (!editor)
        editor = qobject_cast<PluginWindow*>(QApplication::activeWindow());
    if (!editor && mainWindow)
        editor = mainWindow->getLastEditor();
    QString error;
    QWidget* window = PresetEditorWindow::create(editor ? editor->getPresetTarget() : nullptr,
                                                 editor ? editor->getKeeper() : nullptr,
                                                 &application->getRegistry(), skins, &error);
    if (!window)
    {
        QMessageBox::warning(mainWindow, "Qel3PluginTestHost", error);
        return nullptr;
    }
    return raise(window);
}

bool QtUIServices::closeFrontWindow()
{
    QWidget* front = QApplication::activeWindow();
    if (!front)
        return false;
    // The main window's close is the quit question; every other window just goes.
    return front->close();
}

std::string QtUIServices::answerUnplug(const std::string& text,
                                       const std::vector<std::string>& drivers, int attempt)
{
    PBaiosManager* manager = audioSystemOf(application);
    auto nameOf = [manager](const std::string& identifier)
    { return manager ? manager->lookupDisplayName(identifier).toUtf8() : identifier; };
    if (attempt > 0)
    {
        char failed[512];
        std::snprintf(failed, sizeof(failed),
                      "Audio Engine Error: Could not activate TARN Driver %s.",
                      nameOf(lastUnplugChoice).c_str());
        Question retry;
        retry.id = "unplugged-device";
        retry.text = failed;
        retry.buttons = {"Try again", "Cancel"};
        retry.defaultButton = 0;
        if (ask(retry) != 0)
            return {};
    }
    // The device that went away is the first choice: choosing it opens it again.
    std::string preselected = attempt > 0 ? lastUnplugChoice : std::string();
    if (attempt == 0 && manager)
        for (int32 index = 0; index < manager->countDevices(); ++index)
            if (PBaiosDevice* device = manager->getDevice(index); device && !device->getDriver())
                for (const std::string& identifier : drivers)
                    if (manager->lookupDisplayName(identifier) == device->getName())
                        preselected = identifier;
    std::vector<UnpluggedDeviceDialog::Driver> lines;
    for (const std::string& identifier : drivers)
        lines.push_back({identifier, QString::fromStdString(nameOf(identifier))});
    QString error;
    QPointer<UnpluggedDeviceDialog> dialog = UnpluggedDeviceDialog::create(
        QString::fromStdString(text), lines, preselected, skins, mainWindow, &error);
    if (!dialog)
    {
        // Without the dialog the device waits for its return, as after a Cancel.
        showMessage(text + "\n" + error.toStdString());
        return {};
    }
    lastUnplugChoice = dialog->ask();
    // The main window may have taken the dialog with it while it was open.
    delete dialog.data();
    return lastUnplugChoice;
}

void QtUIServices::runMainLoop(const std::function<bool()>& done)
{
    QEventLoop loop;
    MainLoopBridge bridge;
    QTimer watch;
    watch.setInterval(10);
    QObject::connect(&watch, &QTimer::timeout, &loop,
                     [&]
                     {
                         if (done())
                             loop.quit();
                     });
    bridge.start();
    watch.start();
    if (!done())
        loop.exec();
    bridge.stop();
}

} // namespace Quillmark
