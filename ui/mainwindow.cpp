#include "ui/mainwindow.h"

#include "app/editedplugin.h"
#include "app/info/genericeditor.h"
#include "app/tapplication.h"
#include "base/fmainloop.h"
#include "conformity/testtreenames.h"
#include "engine/qelplayer.h"
#include "hosting/fcomponentregistry.h"
#include "ui/plugininfowindow.h"
#include "ui/pluginwindow.h"
#include "ui/rackview.h"
#include "ui/unittestingwindow.h"
#include "ui/valuebinder.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QHeaderView>
#include <QKeySequence>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QScrollArea>
#include <QTreeWidget>

namespace Quillmark
{

namespace
{

QString qtText(const String& text)
{
    return QString::fromStdString(text.toUtf8());
}

} // namespace

MainWindow::MainWindow(TApplication& application, const SkinLoader& skins,
                       TestWindowOpener openTestWindow)
    : application(application), skins(skins), openTestWindow(std::move(openTestWindow)),
      playerBinder(new ValueBinder(this))
{
    setWindowTitle(QString::fromStdString(application.getApplicationName()));
    resize(1180, 780);
}

MainWindow::~MainWindow()
{
    // The rows and controls let go of the player's values before the player can go.
    setPlayer(nullptr);
}

void MainWindow::setPlayer(MiniEngine::QelPlayer* newPlayer)
{
    if (newPlayer == player)
        return;
    playerBinder->unbindAll();
    delete rackView;
    rackView = nullptr;
    if (player)
        player->release();
    player = newPlayer;
    QWidget* transport = findChild<QWidget*>("transportPanel");
    QWidget* rackPanel = findChild<QWidget*>("rackPanel");
    for (QWidget* panel : {transport, rackPanel})
        if (panel)
            panel->setVisible(player != nullptr);
    if (!player)
        return;
    player->addRef();
    auto find = [this](const std::string& name) -> UValue*
    { return player->findValue(String(name.c_str())); };
    if (transport)
    {
        playerBinder->bind(transport, find);
        // A label named after a value with "Text" behind shows that value's text beside its
        // slider, such as a gain in decibels.
        for (QLabel* label : transport->findChildren<QLabel*>())
        {
            const QString name = label->objectName();
            if (name.endsWith("Text"))
                if (UValue* value = find(name.chopped(4).toStdString()))
                    playerBinder->bindWidget(label, value);
        }
    }
    if (rackPanel)
        playerBinder->bind(rackPanel, find);
    if (auto* area = findChild<QScrollArea*>("rackView"))
    {
        rackView = new RackView(*player, skins);
        area->setWidget(rackView);
    }
}

int MainWindow::countPlayerBindings() const
{
    return playerBinder->countBindings();
}

MainWindow* MainWindow::create(TApplication& application, const SkinLoader& skins,
                               TestWindowOpener openTestWindow, QString* error)
{
    auto* window = new MainWindow(application, skins, std::move(openTestWindow));
    if (!window->build(skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool MainWindow::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("QELPlayerView", this, error);
    if (!form)
        return false;
    setCentralWidget(form);
    classList = form->findChild<QTreeWidget*>("classList");
    fillClassList();
    // Without a player there is no transport and no rack to show.
    for (const char* panel : {"transportPanel", "rackPanel"})
        if (QWidget* widget = form->findChild<QWidget*>(panel))
            widget->setVisible(false);
    if (auto* button = form->findChild<QAbstractButton*>("testClass"))
        connect(button, &QAbstractButton::clicked, this,
                [this]
                {
                    QTreeWidgetItem* item = classList ? classList->currentItem() : nullptr;
                    testClass(item ? item->text(0) : QString());
                });
    if (auto* button = form->findChild<QAbstractButton*>("showInformation"))
        connect(button, &QAbstractButton::clicked, this,
                [this]
                {
                    QTreeWidgetItem* item = classList ? classList->currentItem() : nullptr;
                    showInformation(item ? item->text(0) : QString());
                });
    if (auto* button = form->findChild<QAbstractButton*>("editClass"))
        connect(button, &QAbstractButton::clicked, this, [this] { editClass(selectedClass()); });
    // The player's "settings" springs back by itself; the window is the view layer's to open.
    if (auto* button = form->findChild<QAbstractButton*>("settings"))
        connect(button, &QAbstractButton::clicked, this,
                [] { FMainLoop::instance()->queueCommand("File", "Preferences"); });
    if (auto* button = form->findChild<QAbstractButton*>("openTests"))
        connect(button, &QAbstractButton::clicked, this, [this] { openTestWindow(); });
    if (classList)
        connect(classList, &QTreeWidget::itemDoubleClicked, this,
                [this](QTreeWidgetItem* item) { testClass(item->text(0)); });
    return true;
}

void MainWindow::fillClassList()
{
    if (!classList)
        return;
    classList->clear();
    classList->setHeaderLabels({"Class", "Vendor", "Version", "Sub-categories", "Module"});
    std::vector<FComponentDescription*> classes;
    application.getRegistry().collectCategory(kAudioModuleClass, classes);
    for (FComponentDescription* description : classes)
    {
        auto* item = new QTreeWidgetItem(classList);
        item->setText(0, qtText(description->getName()));
        item->setText(1, qtText(description->getVendor()));
        item->setText(2, qtText(description->getVersion()));
        item->setText(3, qtText(description->subCategories));
        if (auto* plugin = FCast<FPluginComponent>(description))
            item->setText(4, QString::fromStdString(plugin->getModulePath()));
        item->setToolTip(0, QString::fromStdString(description->getCid().toString()));
    }
    for (int column = 0; column < 4; ++column)
        classList->resizeColumnToContents(column);
    if (classList->topLevelItemCount() > 0)
        classList->setCurrentItem(classList->topLevelItem(0));
}

void MainWindow::setMenus(const std::vector<Menu>& menus)
{
    menuBar()->clear();
    std::function<void(QMenu*, const std::vector<MenuItem>&)> fill =
        [&](QMenu* menu, const std::vector<MenuItem>& items)
    {
        for (const MenuItem& item : items)
        {
            if (item.separator)
            {
                menu->addSeparator();
                continue;
            }
            if (!item.children.empty())
            {
                fill(menu->addMenu(QString::fromStdString(item.title)), item.children);
                continue;
            }
            QAction* action = menu->addAction(QString::fromStdString(item.title));
            action->setEnabled(item.enabled);
            if (!item.shortcut.empty())
            {
                action->setShortcut(QKeySequence(QString::fromStdString(item.shortcut)));
                // The keys work in every window of the program, as its commands do.
                action->setShortcutContext(Qt::ApplicationShortcut);
            }
            if (!item.category.empty())
            {
                const std::string category = item.category, name = item.name;
                connect(action, &QAction::triggered, this,
                        [category, name]
                        { FMainLoop::instance()->queueCommand(category.c_str(), name.c_str()); });
            }
            else if (item.tag == 16)
                connect(action, &QAction::triggered, this,
                        [this]
                        {
                            QMessageBox::about(this, windowTitle(),
                                               windowTitle() +
                                                   "\nA host for testing Qel 3 plug-ins.");
                        });
        }
    };
    for (const Menu& menu : menus)
        fill(menuBar()->addMenu(QString::fromStdString(menu.title)), menu.items);
}

void MainWindow::testClass(const QString& name)
{
    auto* window = qobject_cast<UnitTestingWindow*>(openTestWindow());
    if (window && !name.isEmpty())
        window->selectPath(std::string(TestTree::kGlobalInstance) + "/" + name.toStdString());
}

QWidget* MainWindow::showInformation(const QString& name)
{
    std::vector<FComponentDescription*> classes;
    application.getRegistry().collectCategory(kAudioModuleClass, classes);
    for (FComponentDescription* description : classes)
        if (QString::fromStdString(description->getName().toUtf8()) == name)
        {
            QString error;
            QWidget* window =
                PluginInfoWindow::create(application.getRegistry(), *description, skins, &error);
            if (!window)
            {
                QMessageBox::warning(this, windowTitle(), error);
                return nullptr;
            }
            window->show();
            return window;
        }
    return nullptr;
}

PluginWindow* MainWindow::getLastEditor() const
{
    return lastEditor.data();
}

QString MainWindow::selectedClass() const
{
    QTreeWidgetItem* item = classList ? classList->currentItem() : nullptr;
    return item ? item->text(0) : QString();
}

PluginWindow* MainWindow::editClass(const QString& name)
{
    std::vector<FComponentDescription*> classes;
    application.getRegistry().collectCategory(kAudioModuleClass, classes);
    for (FComponentDescription* description : classes)
    {
        if (QString::fromStdString(description->getName().toUtf8()) != name)
            continue;
        std::string problem;
        EditedPlugin* plugin =
            EditedPlugin::create(application.getRegistry(), description->getCid(), problem);
        if (!plugin)
        {
            QMessageBox::warning(this, windowTitle(), QString::fromStdString(problem));
            return nullptr;
        }
        QString error;
        PluginWindow* window =
            PluginWindow::create(*plugin->getEditor(), plugin, plugin, name, skins, &error);
        plugin->release(); // the window holds its own reference
        if (!window)
        {
            QMessageBox::warning(this, windowTitle(), error);
            return nullptr;
        }
        window->setPresetEditorOpener(openPresetEditor);
        window->show();
        lastEditor = window;
        return window;
    }
    return nullptr;
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    // The application asks, when it is set to; the loop ends once it agrees.
    if (application.requestQuit())
        event->accept();
    else
        event->ignore();
}

} // namespace Quillmark
