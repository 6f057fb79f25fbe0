// The application's user interface services on the desktop: the splash with its boot text,
// message boxes and questions, the modifier keys, the main window, the question after an audio
// device went away, and Qt's event loop driving the host's main loop. Owned by the desktop entry
// for the program's life.
#pragma once

#include "app/uiservices.h"
#include "ui/mainwindow.h"
#include "ui/skinloader.h"

#include <QPointer>

#include <memory>
#include <string>
#include <vector>

class QSplashScreen;
class QWidget;

namespace Quillmark
{

class PluginWindow;
class TApplication;

class QtUIServices : public IUIServices
{
public:
    explicit QtUIServices(SkinLoader skins);
    ~QtUIServices() override;

    /** The application the windows show (borrowed), set before it runs. */
    void setApplication(TApplication* newApplication) { application = newApplication; }
    const SkinLoader& getSkins() const { return skins; }
    MainWindow* getMainWindow() const { return mainWindow; }

    /** Deletes every window, before the application they show goes. */
    void closeWindows();
    /** Opens the test window over the application's classes, or brings it forward. */
    QWidget* openTestWindow();
    /** The windows' commands join the application's table, replacing the disabled entries
        that stand for them without windows. Call before the application runs. */
    void addWindowCommands();
    QWidget* openPreferences();
    QWidget* openKeyCommands();
    /** The step pattern's editor of the application's player; null without a player. */
    QWidget* openEventEditor();
    /** The preset editor over the plug-in of `editor`; with none, over the front editor
        window's plug-in, or over no plug-in when no editor window is open. */
    QWidget* openPresetEditor(PluginWindow* editor = nullptr);
    /** Closes the front window, as the stock "Close" command does. */
    bool closeFrontWindow();
    /** The audio system's question after its device went away, asked with the dialog
        "UnpluggedBaiosDeviceDialog": the identifier of the driver to try, or empty to wait for
        the device. From the second `attempt` on, the last try failed: "Try again" shows the
        dialog again, "Cancel" answers empty. The main window's opening hands this to the
        application's engine, and closeWindows takes it back. */
    std::string answerUnplug(const std::string& text, const std::vector<std::string>& drivers,
                             int attempt);

    void showSplash() override;
    void closeSplash() override;
    bool isSplashOpen() const override;
    bool hasPendingInput() const override;
    void setBootText(const std::string& text) override;
    void setMenuBar(const std::vector<Menu>& menus) override;
    void showMessage(const std::string& text) override;
    int ask(const Question& question) override;
    bool askText(const TextRequest& request, std::string& answer) override;
    int getModifierKeys() const override;
    void openMainWindow() override;
    void runMainLoop(const std::function<bool()>& done) override;

private:
    SkinLoader skins;
    TApplication* application = nullptr;
    std::unique_ptr<QSplashScreen> splash;
    std::vector<Menu> menus;
    QPointer<MainWindow> mainWindow;
    QPointer<QWidget> testWindow;
    QPointer<QWidget> preferences;
    QPointer<QWidget> keyCommands;
    QPointer<QWidget> eventEditor;
    std::string lastUnplugChoice; // named by the question after a failed try
};

} // namespace Quillmark
