// The main window: the menus of the application's command table and the form "QELPlayerView":
// the player's transport and signals and the rack of slots, bound by name to the player's values
// once a player is given, and the plug-in classes found, with their facts, to open the test
// window, the information page or the editor on one of them. Owned by the desktop's UI services.
#pragma once

#include "app/uiservices.h"
#include "ui/skinloader.h"

#include <QMainWindow>
#include <QPointer>

#include <functional>

class QTreeWidget;

namespace Quillmark::MiniEngine
{
class QelPlayer;
}

namespace Quillmark
{

class PluginWindow;
class RackView;
class ValueBinder;
class TApplication;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    /** Opens the test window, or brings it forward; null when it cannot. */
    using TestWindowOpener = std::function<QWidget*()>;

    /** Null, with `error` set, when the skin cannot be loaded. */
    static MainWindow* create(TApplication& application, const SkinLoader& skins,
                              TestWindowOpener openTestWindow, QString* error = nullptr);

    /** Builds the menu bar: each item runs its command through the main loop. */
    void setMenus(const std::vector<Menu>& menus);
    QTreeWidget* getClassList() const { return classList; }
    /** Shows the player's transport and rack, bound to its values (the window keeps a reference
        to it); null hides them. */
    void setPlayer(MiniEngine::QelPlayer* player);
    MiniEngine::QelPlayer* getPlayer() const { return player; }
    /** The rows of the rack, while a player is shown. */
    RackView* getRackView() const { return rackView; }
    /** How many controls are bound to the player's values. */
    int countPlayerBindings() const;
    /** Opens the test window with the class of that name selected. */
    void testClass(const QString& name);
    /** Opens the information page of the class of that name; null when it cannot. */
    QWidget* showInformation(const QString& name);
    /** Brings the class of that name to life on its own and opens its editor window, which
        owns the instance; null, with a message shown, when it cannot. */
    PluginWindow* editClass(const QString& name);
    /** The name of the class selected in the list, or empty. */
    QString selectedClass() const;
    /** The editor window opened last, while it is open. */
    PluginWindow* getLastEditor() const;
    /** What an editor window's "Presets..." button opens. */
    void setPresetEditorOpener(std::function<void(PluginWindow&)> opener)
    {
        openPresetEditor = std::move(opener);
    }

    ~MainWindow() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    MainWindow(TApplication& application, const SkinLoader& skins, TestWindowOpener openTestWindow);
    bool build(const SkinLoader& skins, QString* error);
    void fillClassList();

    TApplication& application;
    SkinLoader skins;
    TestWindowOpener openTestWindow;
    std::function<void(PluginWindow&)> openPresetEditor;
    QTreeWidget* classList = nullptr;
    QPointer<PluginWindow> lastEditor;
    ValueBinder* playerBinder;
    MiniEngine::QelPlayer* player = nullptr;
    RackView* rackView = nullptr;
};

} // namespace Quillmark
