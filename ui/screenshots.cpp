// Writes a picture of every window over the example plug-ins, as a person sees it, so that a
// change to a window can be looked at without clicking through the program: the main window and
// its File menu, the information pages of Qel Gain and Qel Synth, the test window after a run of
// Qel Gain's general tests with that group selected, the editor windows of Qel Gain and Qel
// Synth, the preset editor over a preset saved from Qel Gain, the preferences and the key
// commands; then the main window over a player whose rack plays Qel Synth into the Null audio
// driver, the preferences with the audio system's page, and the question after that driver's
// device went away.
// Usage: qel_screenshots OUTPUT-FOLDER MODULE-FOLDER
#include "app/tapplication.h"
#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/platform/paths.h"
#include "devices/audio/audiosystemcontroller.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "devices/ports/pportregistry.h"
#include "engine/audiograph.h"
#include "engine/qelplayer.h"
#include "engine/qelrack.h"
#include "midi/eventeditor.h"
#include "midi/minitempotrack.h"
#include "plugins/common/exampleids.h"
#include "ui/eventeditorwindow.h"
#include "ui/mainwindow.h"
#include "ui/pluginwindow.h"
#include "ui/preferenceswindow.h"
#include "ui/preseteditorwindow.h"
#include "ui/qtuiservices.h"
#include "ui/unittestingwindow.h"
#include "ui/unpluggeddevicedialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPixmap>
#include <QPointer>
#include <QTabWidget>
#include <QTest>

#include <cstdio>

using namespace Quillmark;

namespace
{

/** An engine of the program's own kind without a sound card: a graph over the Null driver's
    ports, a rack and the player over both. */
struct Engine
{
    explicit Engine(FComponentRegistry& registry, const std::string& folder)
    {
        ports = new PPortRegistry;
        settings = new FDefaultPool(folder + "/Engine Defaults");
        std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
        drivers.push_back(std::make_unique<Baios::NullAudioDriver>());
        drivers.push_back(
            std::make_unique<Baios::NullAudioDriver>(Baios::NullAudioDevice::kOffline));
        auto* library = new Baios::DeviceManager(std::move(drivers));
        manager = new PBaiosManager(ports, settings);
        manager->initialize(library);
        library->release();
        String error;
        manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error);
        tempo = new MiniTempoTrack;
        graph = new MiniEngine::AudioGraph(tempo, ports);
        graph->createRecorder();
        graph->createInputOperator();
        MiniEngine::OperatorSetup setup;
        setup.blockSize = 512;
        setup.sampleRate = 48000.0;
        graph->setupProcessing(setup);
        graph->resume();
        graph->setProcessing(true);
        graph->prepareBuffers(setup.blockSize);
        rack = new MiniEngine::QelRack(graph, &registry, settings, ports);
        player = new MiniEngine::QelPlayer(graph, rack, settings, &registry);
        audioSystem = new AudioSystemController(manager, settings);
    }
    ~Engine()
    {
        audioSystem->release();
        player->shutdown();
        player->release();
        graph->setProcessing(false);
        graph->suspend();
        rack->release();
        graph->release();
        tempo->release();
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        settings->release();
        ports->release();
    }

    PPortRegistry* ports;
    FDefaultPool* settings;
    PBaiosManager* manager;
    MiniTempoTrack* tempo;
    MiniEngine::AudioGraph* graph;
    MiniEngine::QelRack* rack;
    MiniEngine::QelPlayer* player;
    AudioSystemController* audioSystem;
};

bool save(QWidget& window, const QString& folder, const QString& name)
{
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return false;
    QTest::qWait(200);
    const QString path = QDir(folder).filePath(name + ".png");
    if (!window.grab().save(path))
        return false;
    std::printf("%s\n", path.toStdString().c_str());
    return true;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3)
    {
        std::fprintf(stderr, "usage: qel_screenshots OUTPUT-FOLDER MODULE-FOLDER\n");
        return 2;
    }
    QApplication qt(argc, argv);
    const QString output = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(output);
    QtUIServices ui{SkinLoader()};
    TApplication::StartupRecord record;
    record.name = "Qel3PluginTestHost Standalone";
    record.dataFolder = QDir(output).filePath("config").toStdString();
    auto* application = new TApplication(record, ui);
    ui.setApplication(application);
    int status = 1;
    if (application->initialize())
    {
        application->initPreferences();
        const std::vector<std::string> folders{argv[2]};
        application->initScan(&folders);
        application->initFinish();
        ui.addWindowCommands();
        ui.setMenuBar(application->createMenuBar());
        ui.openMainWindow();
        status = 0;
        if (!ui.getMainWindow() || !save(*ui.getMainWindow(), output, "main-window"))
            status = 1;
        for (const char* name : {"Qel Gain", "Qel Synth"})
        {
            QWidget* info =
                ui.getMainWindow() ? ui.getMainWindow()->showInformation(name) : nullptr;
            const QString file = QString("info-") + QString(name).replace(' ', '-').toLower();
            if (!info || !save(*info, output, file))
                status = 1;
            delete info;
        }
        auto* tests = qobject_cast<UnitTestingWindow*>(ui.openTestWindow());
        const std::string group =
            "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General";
        if (tests && tests->selectPath(group))
        {
            if (auto* run = tests->findChild<QAbstractButton*>("runSelected"))
                run->click();
            tests->selectPath(group);
            if (!save(*tests, output, "test-window"))
                status = 1;
        }
        else
            status = 1;

        // The File menu, opened as a person opens it, with its keys and disabled items.
        MainWindow* main = ui.getMainWindow();
        QMenu* file = nullptr;
        if (main)
            for (QAction* menu : main->menuBar()->actions())
                if (menu->text() == "File")
                    file = menu->menu();
        if (file)
        {
            file->popup(main->mapToGlobal(QPoint(10, 10)));
            QTest::qWait(200);
            const QString path = QDir(output).filePath("menu-file.png");
            if (file->grab().save(path))
                std::printf("%s\n", path.toStdString().c_str());
            else
                status = 1;
            file->hide();
        }
        else
            status = 1;

        PluginWindow* gain = nullptr;
        for (const char* name : {"Qel Gain", "Qel Synth"})
        {
            PluginWindow* editor = main ? main->editClass(name) : nullptr;
            const QString picture =
                QString("plugin-window-") + QString(name).replace(' ', '-').toLower();
            if (!editor || !save(*editor, output, picture))
                status = 1;
            if (editor && QString(name) == "Qel Gain")
                gain = editor;
        }
        // The preset editor over a preset of Qel Gain saved a moment ago.
        auto* presets =
            gain ? qobject_cast<PresetEditorWindow*>(ui.openPresetEditor(gain)) : nullptr;
        const QString preset = QDir(output).filePath("config/Qel Gain.qelpreset");
        if (!presets || !presets->saveTo(preset) || !save(*presets, output, "preset-editor"))
            status = 1;
        QWidget* preferences = ui.openPreferences();
        if (!preferences || !save(*preferences, output, "preferences"))
            status = 1;
        if (auto* tabs = preferences ? preferences->findChild<QTabWidget*>("pages") : nullptr)
        {
            tabs->setCurrentIndex(2);
            if (!save(*preferences, output, "preferences-location"))
                status = 1;
        }
        QWidget* keys = ui.openKeyCommands();
        if (!keys || !save(*keys, output, "key-commands"))
            status = 1;
    }
    if (status == 0 && ui.getMainWindow())
    {
        Engine engine(application->getRegistry(), QDir(output).filePath("config").toStdString());
        std::string problem;
        if (!engine.player->loadPlugin(FUID(Qel::Examples::kQelSynthCid), -1, &problem))
        {
            std::fprintf(stderr, "Qel Synth: %s\n", problem.c_str());
            status = 1;
        }
        MainWindow* main = ui.getMainWindow();
        main->setPlayer(engine.player);
        engine.player->idle();
        FMainLoop::instance()->dispatchDue(); // the port lines learn their connections
        QTest::qWait(300);                    // the rack's rows come with its next sync
        if (!save(*main, output, "main-window-player"))
            status = 1;
        auto* preferences = qobject_cast<PreferencesWindow*>(ui.openPreferences());
        if (preferences)
        {
            preferences->setAudioSystem(engine.audioSystem);
            if (auto* tabs = preferences->findChild<QTabWidget*>("pages"))
                tabs->setCurrentWidget(tabs->findChild<QWidget*>("TARN"));
        }
        if (!preferences || !save(*preferences, output, "preferences-audio-system"))
            status = 1;
        // The question as a removed device asks it, with the engine's drivers.
        std::vector<UnpluggedDeviceDialog::Driver> drivers;
        for (int32 index = 0; index < engine.manager->getDriverCount(); ++index)
            drivers.push_back(
                {engine.manager->getDriverIdentifier(index),
                 QString::fromStdString(engine.manager->getDriverName(index).toUtf8())});
        QString error;
        std::unique_ptr<UnpluggedDeviceDialog> unplugged(UnpluggedDeviceDialog::create(
            "[TARN MESSAGE: Device HDA Intel PCH removed]", drivers,
            Baios::NullAudioDevice::kIdentifier, ui.getSkins(), main, &error));
        if (!unplugged || !save(*unplugged, output, "unplugged-device"))
        {
            std::fprintf(stderr, "UnpluggedBaiosDeviceDialog: %s\n", error.toStdString().c_str());
            status = 1;
        }
        if (unplugged)
            unplugged->reject();
        unplugged.reset();
        // The step pattern of the player, after a chromatic run from C3.
        if (EventEditor* steps = engine.player->getEventEditor())
        {
            steps->getPatternView()->click(24, 1);
            steps->performEditAction(EventEditor::kChromatic);
            QPointer<EventEditorWindow> pattern = EventEditorWindow::create(*steps, ui.getSkins());
            if (!pattern || !save(*pattern, output, "step-pattern"))
                status = 1;
            delete pattern.data();
        }
        else
            status = 1;
        // The windows let go of the engine's values before it goes.
        if (preferences)
            preferences->setAudioSystem(nullptr);
        main->setPlayer(nullptr);
    }
    ui.closeWindows();
    ui.setApplication(nullptr);
    application->release();
    return status;
}
