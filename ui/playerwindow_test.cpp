// The main window over a real player, graph and rack, under a real X server: clicks on the
// transport reach the engine and the display follows the rendered blocks; a typed tempo reaches
// the tempo track; each slot of the rack has a row whose switches act on the slot, which comes
// and goes with the slot; the audio system's page drives the device manager.
#include "app/tapplication.h"
#include "base/values/umenuvalue.h"
#include "devices/audio/audiosystemcontroller.h"
#include "devices/audio/devicemanager.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "engine/playertestsupport.h"
#include "engine/slotparametervalue.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "ui/eventeditorwindow.h"
#include "ui/mainwindow.h"
#include "ui/pluginwindow.h"
#include "ui/preferenceswindow.h"
#include "ui/qtuiservices.h"
#include "ui/rackview.h"
#include "ui/uitestsupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

#include <cmath>

using namespace Quillmark;
using namespace Quillmark::MiniEngine;
using Quillmark::MiniEngine::testing::kBlock;
using Quillmark::MiniEngine::testing::kRate;
using Quillmark::testing::qtApplication;

namespace
{

class PlayerWindow : public MiniEngine::testing::PlayerFixture
{
protected:
    void SetUp() override
    {
        qtApplication();
        PlayerFixture::SetUp();
        if (HasFatalFailure())
            return;
        app = Quillmark::testing::startApplication(ui, temp.folder("data"),
                                                   {temp.folder("examples")});
        ASSERT_NE(app, nullptr);
        ui.openMainWindow();
        window = ui.getMainWindow();
        ASSERT_NE(window, nullptr);
        window->setPlayer(player);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    }
    void TearDown() override
    {
        // The window lets go of the player's values before the player goes.
        ui.closeWindows();
        ui.setApplication(nullptr);
        if (app)
            app->release();
        PlayerFixture::TearDown();
    }

    template <class Widget> Widget* find(QWidget* in, const char* name)
    {
        auto* widget = in->findChild<Widget*>(name);
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }

    QString timeShown() { return find<QLabel>(window, "time")->text(); }

    /** The row of the only slot, once the rack view has caught up. */
    SlotRow* onlyRow()
    {
        RackView* rack = window->getRackView();
        if (!rack || !QTest::qWaitFor([&] { return rack->countRows() == 1; }, 2000))
            return nullptr;
        return rack->getRow(0);
    }

    float loudestOutput()
    {
        float peak = 0.0f;
        for (int32 sample = 0; sample < kBlock; ++sample)
            peak = std::max(
                {peak, std::fabs(device->out(0, sample)), std::fabs(device->out(1, sample))});
        return peak;
    }

    QtUIServices ui{SkinLoader({QEL_SKIN_DIR})};
    TApplication* app = nullptr;
    MainWindow* window = nullptr;
};

} // namespace

TEST_F(PlayerWindow, TheTransportIsShownOnlyWithAPlayerAndBindsItsValues)
{
    EXPECT_TRUE(find<QWidget>(window, "transportPanel")->isVisible());
    EXPECT_TRUE(find<QWidget>(window, "rackPanel")->isVisible());
    // Every control of the panel that names a value of the player is bound to it.
    for (const char* name : {"play",
                             "stop",
                             "loop",
                             "record",
                             "recordMode",
                             "tempo",
                             "TempoScale",
                             "tapTempo",
                             "signature",
                             "time",
                             "songPosition",
                             "metronomeMode",
                             "metronomeVolume",
                             "inputSignal",
                             "auxInputSignal",
                             "audioFile",
                             "auxAudioFile",
                             "fileName",
                             "auxFileName",
                             "volume",
                             "input1Gain",
                             "input2Gain",
                             "loadMidiFile",
                             "saveMidiFile",
                             "midiFileName",
                             "synthList",
                             "fxList"})
        EXPECT_NE(player->findValue(String(name)), nullptr) << name;
    EXPECT_GE(window->countPlayerBindings(), 27);

    // The lists show their entries by name.
    auto* signalList = find<QComboBox>(window, "inputSignal");
    ASSERT_EQ(signalList->count(), 5);
    EXPECT_EQ(signalList->itemText(0), "Sine");
    EXPECT_EQ(signalList->itemText(4), "Audio File");
    auto* modes = find<QComboBox>(window, "recordMode");
    ASSERT_EQ(modes->count(), 4);
    EXPECT_EQ(modes->itemText(2), "Count In 1");
    modes->setFocus();
    QTest::keyClick(modes, Qt::Key_Down);
    EXPECT_EQ(player->valueOf(QelPlayer::kRecordMode)->getInt(), 1);

    // The volume's text beside its slider is in decibels.
    player->valueOf(QelPlayer::kVolume)->setNormalized(0.5);
    EXPECT_EQ(find<QLabel>(window, "volumeText")->text(), "-6.02");

    window->setPlayer(nullptr);
    EXPECT_FALSE(find<QWidget>(window, "transportPanel")->isVisible());
    EXPECT_EQ(window->countPlayerBindings(), 0);
    EXPECT_EQ(window->getRackView(), nullptr);
}

TEST_F(PlayerWindow, PlayStartsTheTransportAndTheTimeFollowsTheRenderedBlocks)
{
    auto* play = find<QToolButton>(window, "play");
    auto* stop = find<QToolButton>(window, "stop");
    player->idle();
    const QString atStart = timeShown();
    EXPECT_EQ(atStart, "001.  1. 1");

    QTest::mouseClick(play, Qt::LeftButton);
    EXPECT_TRUE(graph->isPlaying());
    EXPECT_TRUE(play->isChecked());
    // A click on the lit button does not stop.
    QTest::mouseClick(play, Qt::LeftButton);
    EXPECT_TRUE(graph->isPlaying());
    EXPECT_TRUE(play->isChecked());

    // Two seconds at 120 beats a minute: one bar of four.
    run(int32(std::ceil(2.0 * kRate / kBlock)));
    player->idle();
    EXPECT_EQ(timeShown(), "002.  1. 1");

    // The first stop keeps the position, the second returns to the start.
    QTest::mouseClick(stop, Qt::LeftButton);
    EXPECT_FALSE(graph->isPlaying());
    EXPECT_FALSE(play->isChecked());
    run(4);
    player->idle();
    EXPECT_EQ(timeShown(), "002.  1. 1");
    QTest::mouseClick(stop, Qt::LeftButton);
    player->idle();
    EXPECT_EQ(timeShown(), atStart);
    EXPECT_FALSE(stop->isChecked());

    // In time format the same clock reads in hours, minutes, seconds and tenths.
    QTest::mouseClick(find<QCheckBox>(window, "timeFormat"), Qt::LeftButton);
    player->idle();
    EXPECT_EQ(timeShown(), "00:00:00.0");
}

TEST_F(PlayerWindow, ATypedTempoAndSignatureReachTheTempoTrack)
{
    auto* spin = find<QDoubleSpinBox>(window, "tempo");
    // A scale set before is undone by a typed tempo.
    player->valueOf(QelPlayer::kTempoScale)->setNormalized(1.0);
    EXPECT_DOUBLE_EQ(tempo->getTempoScale(), 2.0);
    spin->setFocus();
    spin->selectAll();
    QTest::keyClicks(spin, "90");
    QTest::keyClick(spin, Qt::Key_Return);
    EXPECT_DOUBLE_EQ(tempo->getTempo(), 90.0);
    EXPECT_DOUBLE_EQ(tempo->getTempoScale(), 1.0);
    EXPECT_EQ(find<QSlider>(window, "TempoScale")->value(), 500);

    auto* signature = find<QLineEdit>(window, "signature");
    EXPECT_EQ(signature->text(), "4/4");
    signature->setFocus();
    signature->selectAll();
    QTest::keyClicks(signature, "3/4");
    QTest::keyClick(signature, Qt::Key_Return);
    EXPECT_EQ(tempo->getNumerator(), 3);
    // Something that is no signature leaves the track alone and the text returns.
    signature->selectAll();
    QTest::keyClicks(signature, "waltz");
    QTest::keyClick(signature, Qt::Key_Return);
    EXPECT_EQ(tempo->getNumerator(), 3);
    EXPECT_EQ(signature->text(), "3/4");
}

TEST_F(PlayerWindow, ARowComesWithItsSlotAndItsBypassBypassesThePlugIn)
{
    ASSERT_EQ(window->getRackView()->countRows(), 0);
    std::string problem;
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid), -1, &problem);
    ASSERT_NE(slot, nullptr) << problem;
    SlotRow* row = onlyRow();
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(find<QLabel>(row, "componentTitle")->text(), "Qel Gain");
    auto* bypass = find<QCheckBox>(row, "bypass");
    ASSERT_TRUE(bypass->isVisible()) << "Qel Gain has a bypass parameter";
    EXPECT_FALSE(bypass->isChecked());

    // Signal 1 plays a sine; with the gain at its lowest hardly anything comes out.
    auto* signalList = find<QComboBox>(window, "inputSignal");
    signalList->setFocus();
    signalList->setCurrentIndex(1);
    QTest::keyClick(signalList, Qt::Key_Up);
    ASSERT_EQ(signalList->currentText(), "Sine");
    QTest::mouseClick(find<QToolButton>(window, "play"), Qt::LeftButton);
    SlotParameterValue* gain = player->getSlotController(0)->findParameter("Gain");
    ASSERT_NE(gain, nullptr);
    gain->setNormalized(0.0);
    run(4);
    const float quiet = loudestOutput();
    EXPECT_LT(quiet, 0.01f);

    // Bypassed, the sine passes untouched.
    QTest::mouseClick(bypass, Qt::LeftButton);
    EXPECT_TRUE(bypass->isChecked());
    run(4);
    EXPECT_GT(loudestOutput(), 0.1f);
    QTest::mouseClick(bypass, Qt::LeftButton);
    run(4);
    EXPECT_FLOAT_EQ(loudestOutput(), quiet);

    // "On" off takes the plug-in out of processing.
    auto* onOff = find<QCheckBox>(row, "onOff");
    EXPECT_TRUE(onOff->isChecked());
    QTest::mouseClick(onOff, Qt::LeftButton);
    EXPECT_FALSE(slot->getOperator()->isActive());
}

TEST_F(PlayerWindow, RemoveTakesTheRowAwayAndAnotherSlotGetsItsOwn)
{
    QelSlot* first = player->loadPlugin(FUID(Qel::Examples::kQelGainCid));
    ASSERT_NE(first, nullptr);
    SlotRow* row = onlyRow();
    ASSERT_NE(row, nullptr);

    // The remove button asks the player through the main loop.
    QTest::mouseClick(find<QPushButton>(row, "removeSlot"), Qt::LeftButton);
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(rack->countSlots(), 0);
    RackView* rack = window->getRackView();
    EXPECT_TRUE(QTest::qWaitFor([&] { return rack->countRows() == 0; }, 2000));

    // Rows follow the rack in order; one removed elsewhere goes as well.
    QelSlot* synth = player->loadPlugin(FUID(Qel::Examples::kQelSynthCid));
    QelSlot* gainSlot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid));
    ASSERT_NE(synth, nullptr);
    ASSERT_NE(gainSlot, nullptr);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rack->countRows() == 2; }, 2000));
    EXPECT_EQ(find<QLabel>(rack->getRow(0), "componentTitle")->text(), "Qel Synth");
    EXPECT_EQ(find<QLabel>(rack->getRow(1), "componentTitle")->text(), "Qel Gain");
    player->removeSlot(synth);
    ASSERT_TRUE(QTest::qWaitFor([&] { return rack->countRows() == 1; }, 2000));
    EXPECT_EQ(find<QLabel>(rack->getRow(0), "componentTitle")->text(), "Qel Gain");
}

TEST_F(PlayerWindow, APortLineOfTheRowChoosesWhatTheOutputConnectsTo)
{
    QelSlot* slot = player->loadPlugin(FUID(Qel::Examples::kQelGainCid));
    ASSERT_NE(slot, nullptr);
    SlotRow* row = onlyRow();
    ASSERT_NE(row, nullptr);
    QelBusPin* out = slot->getOperator()->getOutputPin(0);
    ASSERT_TRUE(out->isConnectedTo(device->playbacks[0])) << "the default routing";
    auto* choice = find<QComboBox>(row, "outputAudioPort0");
    ASSERT_NE(choice, nullptr);
    EXPECT_EQ(find<QLabel>(row, "outputAudioPortLabel0")->text().left(9), "Qel Gain-");
    // The port's value learns its connection on the next turn of the main loop.
    FMainLoop::instance()->dispatchDue();
    EXPECT_TRUE(QTest::qWaitFor([&] { return choice->currentText() != "None"; }, 2000));
    EXPECT_TRUE(choice->currentText().contains("Out L")) << choice->currentText().toStdString();
    const int none = choice->findText("None");
    ASSERT_GE(none, 0);

    // Chosen by key, the port is cut from the device.
    choice->setFocus();
    while (choice->currentIndex() > none)
        QTest::keyClick(choice, Qt::Key_Up);
    while (choice->currentIndex() < none)
        QTest::keyClick(choice, Qt::Key_Down);
    EXPECT_EQ(out->getConnectionCount(), 0);

    // A connection made elsewhere shows at the next sync.
    out->connect(device->playbacks[1]);
    FMainLoop::instance()->dispatchDue();
    EXPECT_TRUE(QTest::qWaitFor([&] { return choice->currentText() != "None"; }, 2000));
    EXPECT_TRUE(choice->currentText().contains("Out R")) << choice->currentText().toStdString();
}

TEST_F(PlayerWindow, TheEditButtonOpensTheSlotsGenericEditor)
{
    ASSERT_NE(player->loadPlugin(FUID(Qel::Examples::kQelGainCid)), nullptr);
    SlotRow* row = onlyRow();
    ASSERT_NE(row, nullptr);
    auto* edit = find<QPushButton>(row, "openEditor");
    QTest::mouseClick(edit, Qt::LeftButton);
    PluginWindow* editor = row->getEditorWindow();
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(editor));
    // The editor's gain is the slot's gain: a change there reaches the slot's controller.
    auto* slider = editor->findChild<QSlider*>("param0");
    ASSERT_NE(slider, nullptr);
    slider->setValue(250);
    SlotParameterValue* gain = player->getSlotController(0)->findParameter("Gain");
    player->idle();
    EXPECT_NEAR(gain->getNormalized(), 0.25, 0.01);

    // A window closed by its frame clears the switch.
    editor->close();
    EXPECT_TRUE(QTest::qWaitFor([&] { return !edit->isChecked(); }, 2000));
    EXPECT_EQ(player->getSlotController(0)->valueOf(QelSlotController::kOpenEditor)->getInt(), 0);
    EXPECT_EQ(row->getEditorWindow(), nullptr);

    // Remove closes an open editor at once, before the slot goes.
    QTest::mouseClick(edit, Qt::LeftButton);
    QPointer<PluginWindow> again = row->getEditorWindow();
    ASSERT_FALSE(again.isNull());
    QTest::mouseClick(find<QPushButton>(row, "removeSlot"), Qt::LeftButton);
    EXPECT_TRUE(again.isNull());
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(rack->countSlots(), 0);
}

namespace
{

class AudioSystemPage : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        preferences = new FDefaultPool(temp.file("Defaults"));
        std::vector<std::unique_ptr<Baios::AudioDriver>> drivers;
        drivers.push_back(std::make_unique<Baios::NullAudioDriver>());
        drivers.push_back(
            std::make_unique<Baios::NullAudioDriver>(Baios::NullAudioDevice::kOffline));
        auto* library = new Baios::DeviceManager(std::move(drivers));
        ports = new PPortRegistry;
        manager = new PBaiosManager(ports, preferences);
        ASSERT_TRUE(manager->initialize(library));
        library->release();
        String error;
        ASSERT_NE(manager->selectDevice(Baios::NullAudioDevice::kIdentifier, error), nullptr);
        controller = new AudioSystemController(manager, preferences);

        app = new TApplication({0, "Test Standalone", temp.folder("data")}, ui);
        ui.setApplication(app);
        ASSERT_TRUE(app->initialize());
        app->initPreferences();
        QString problem;
        window = PreferencesWindow::create(*app, SkinLoader({QEL_SKIN_DIR}), &problem);
        ASSERT_NE(window, nullptr) << problem.toStdString();
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    }
    void TearDown() override
    {
        delete window;
        ui.setApplication(nullptr);
        if (app)
            app->release();
        controller->release();
        manager->terminate();
        FMainLoop::instance()->cancel(manager);
        manager->release();
        ports->release();
        preferences->release();
    }

    Quillmark::testing::TempFolder temp;
    QtUIServices ui{SkinLoader({QEL_SKIN_DIR})};
    TApplication* app = nullptr;
    FDefaultPool* preferences = nullptr;
    PPortRegistry* ports = nullptr;
    PBaiosManager* manager = nullptr;
    AudioSystemController* controller = nullptr;
    PreferencesWindow* window = nullptr;
};

} // namespace

TEST_F(AudioSystemPage, ShowsTheDriverAndItsRateAndChangesTheRate)
{
    auto* group = window->findChild<QWidget*>("audioSystem");
    ASSERT_NE(group, nullptr);
    EXPECT_TRUE(group->isHidden()) << "nothing to show without a controller";
    const int before = window->countBindings();

    window->setAudioSystem(controller);
    EXPECT_FALSE(group->isHidden());
    EXPECT_EQ(window->countBindings() - before, 8);
    EXPECT_TRUE(window->findChild<QWidget*>("ReleaseHardware")->isHidden())
        << "the controller's own switch stands in for it";

    auto* drivers = window->findChild<QComboBox*>("tarnDriver");
    ASSERT_EQ(drivers->count(), 2);
    EXPECT_EQ(drivers->currentText(), "Null Audio Driver");
    auto* rates = window->findChild<QComboBox*>("sampleRate");
    EXPECT_EQ(rates->currentText(), "48.000 kHz");
    EXPECT_EQ(window->findChild<QLabel*>("outputLatency")->text(), "0.000 ms");
    EXPECT_FALSE(window->findChild<QCheckBox*>("externallyClocked")->isEnabled());

    // Choosing a rate by key sets the device's rate.
    const int at = rates->findText("44.100 kHz");
    ASSERT_GE(at, 0);
    rates->setFocus();
    while (rates->currentIndex() > at)
        QTest::keyClick(rates, Qt::Key_Up);
    while (rates->currentIndex() < at)
        QTest::keyClick(rates, Qt::Key_Down);
    EXPECT_EQ(manager->getSampleRate(), 44100.0);

    auto* energy = window->findChild<QCheckBox*>("disableCpuEnergySaving");
    QTest::mouseClick(energy, Qt::LeftButton);
    EXPECT_EQ(controller->findValue(String("disableCpuEnergySaving"))->getInt(), 1);

    window->setAudioSystem(nullptr);
    EXPECT_TRUE(group->isHidden());
    EXPECT_EQ(window->countBindings(), before);
}

TEST(ApplicationWindows, TheApplicationsOwnEngineDrivesTheTransportTheRackAndTheAudioPage)
{
    qtApplication();
    Quillmark::testing::TempFolder temp;
    QtUIServices ui{SkinLoader({QEL_SKIN_DIR})};
    TApplication* app =
        Quillmark::testing::startApplication(ui, temp.folder("data"), {QEL_MODULE_DIR});
    ASSERT_NE(app, nullptr);
    ui.addWindowCommands();
    AudioEngine::Options options;
    options.driver = "Null Audio Driver";
    options.midi = false;
    app->setEngineOptions(options);
    app->open();

    MainWindow* window = ui.getMainWindow();
    ASSERT_NE(window, nullptr);
    ASSERT_NE(app->getPlayer(), nullptr);
    EXPECT_EQ(window->getPlayer(), app->getPlayer());
    EXPECT_GT(window->countPlayerBindings(), 20);
    EXPECT_TRUE(window->findChild<QWidget*>("transportPanel")->isVisibleTo(window));

    // A class loaded by the application gets its row in the window's rack.
    app->loadPlugin(FUID(Qel::Examples::kQelGainCid));
    RackView* rack = window->getRackView();
    ASSERT_NE(rack, nullptr);
    EXPECT_TRUE(QTest::qWaitFor([&] { return rack->countRows() == 1; }, 2000));

    // The audio system's page speaks for the driver that plays.
    auto* preferences = qobject_cast<PreferencesWindow*>(ui.openPreferences());
    ASSERT_NE(preferences, nullptr);
    auto* group = preferences->findChild<QWidget*>("audioSystem");
    ASSERT_NE(group, nullptr);
    EXPECT_FALSE(group->isHidden());
    auto* drivers = preferences->findChild<QComboBox*>("tarnDriver");
    ASSERT_NE(drivers, nullptr);
    EXPECT_EQ(drivers->currentText(), "Null Audio Driver");

    // The step pattern's window edits the pattern of the application's own player.
    EXPECT_TRUE(app->getCommandTable().isEnabled("View", "Step Pattern"));
    auto* steps = qobject_cast<EventEditorWindow*>(ui.openEventEditor());
    ASSERT_NE(steps, nullptr);
    EXPECT_EQ(steps->countBindings(), 3);
    EXPECT_EQ(ui.openEventEditor(), steps) << "a second call brings the same window forward";

    // The windows go first, then the application closes its engine.
    ui.closeWindows();
    ui.setApplication(nullptr);
    app->release();
}
