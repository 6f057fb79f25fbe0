// The question after an audio device went away, under a real X server with real clicks and
// keys: the dialog shows the message and the drivers by name and answers an identifier, or
// nothing on Cancel; over the application's own engine, the Null driver's removal opens it, a
// choice brings a device back, a failed choice asks "Try again", and the question ends with
// the windows.
#include "app/audioengine.h"
#include "app/tapplication.h"
#include "base/fmainloop.h"
#include "devices/audio/nullaudiodriver.h"
#include "devices/audio/pbaiosmanager.h"
#include "hosting/testsupport.h"
#include "ui/qtuiservices.h"
#include "ui/uitestsupport.h"
#include "ui/unpluggeddevicedialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <unistd.h>

using namespace Quillmark;
using Quillmark::testing::qtApplication;

namespace
{

/** Runs `action` on the next modal window once it is open (a modal dialog runs its own event
    loop, so the test acts from a timer). Gives up after a few seconds; then the question stays
    open and the test's own checks fail when the watchdog closes it. */
void onNextModal(std::function<void(QWidget*)> action)
{
    auto* timer = new QTimer(qApp);
    auto* waited = new QElapsedTimer;
    waited->start();
    QObject::connect(timer, &QTimer::timeout, timer,
                     [timer, waited, action = std::move(action)]
                     {
                         QWidget* modal = QApplication::activeModalWidget();
                         if (!modal && waited->elapsed() < 5000)
                             return;
                         timer->stop();
                         timer->deleteLater();
                         delete waited;
                         if (modal)
                             action(modal);
                     });
    timer->start(20);
}

/** Closes every modal window that stays open for long: a hung test fails instead. Counts what
    it closed. */
class ModalWatchdog
{
public:
    explicit ModalWatchdog(int afterMs = 8000)
    {
        QObject::connect(&timer, &QTimer::timeout, &timer,
                         [this, afterMs]
                         {
                             QWidget* modal = QApplication::activeModalWidget();
                             if (modal != seen)
                             {
                                 seen = modal;
                                 since.start();
                             }
                             else if (modal && since.elapsed() > afterMs)
                             {
                                 ++closed;
                                 if (auto* dialog = qobject_cast<QDialog*>(modal))
                                     dialog->reject();
                                 else
                                     modal->close();
                             }
                         });
        since.start();
        timer.start(20);
    }
    int closed = 0;

private:
    QTimer timer;
    QElapsedTimer since;
    QWidget* seen = nullptr;
};

void clickRow(QListWidget* list, const QString& name)
{
    const QList<QListWidgetItem*> found = list->findItems(name, Qt::MatchExactly);
    ASSERT_EQ(found.size(), 1) << name.toStdString();
    list->scrollToItem(found.front());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                      list->visualItemRect(found.front()).center());
}

QStringList rowsOf(QListWidget* list)
{
    QStringList rows;
    for (int row = 0; row < list->count(); ++row)
        rows << list->item(row)->text();
    return rows;
}

/** Three drivers whose names differ from their identifiers. */
const std::vector<UnpluggedDeviceDialog::Driver> kDrivers{
    {"hw:PCH", "HDA Intel PCH"},
    {"Null Audio Driver", "Null Audio Driver"},
    {"JACK", "JACK Server"}};

class UnpluggedDialog : public ::testing::Test
{
protected:
    void SetUp() override { qtApplication(); }

    std::unique_ptr<UnpluggedDeviceDialog>
    make(const std::vector<UnpluggedDeviceDialog::Driver>& drivers = kDrivers,
         const std::string& preselected = "JACK")
    {
        QString error;
        std::unique_ptr<UnpluggedDeviceDialog> dialog(
            UnpluggedDeviceDialog::create("[TARN MESSAGE: Device HDA Intel PCH removed]", drivers,
                                          preselected, skins, nullptr, &error));
        EXPECT_NE(dialog, nullptr) << error.toStdString();
        return dialog;
    }

    static QPushButton* button(QWidget* dialog, const char* name)
    {
        return dialog->findChild<QPushButton*>(name);
    }

    SkinLoader skins{{QEL_SKIN_DIR}};
    ModalWatchdog watchdog;
};

} // namespace

TEST_F(UnpluggedDialog, ShowsTheTextAndTheDriversByNameAndAnswersTheChosenIdentifier)
{
    auto dialog = make();
    ASSERT_NE(dialog, nullptr);
    EXPECT_TRUE(dialog->isModal());
    EXPECT_EQ(dialog->getMessage()->text(), "[TARN MESSAGE: Device HDA Intel PCH removed]");
    EXPECT_EQ(rowsOf(dialog->getList()),
              (QStringList{"HDA Intel PCH", "Null Audio Driver", "JACK Server"}));
    EXPECT_EQ(dialog->getList()->currentRow(), 2) << "the preselected identifier";

    onNextModal(
        [](QWidget* modal)
        {
            auto* list = modal->findChild<QListWidget*>("drivers");
            EXPECT_NE(list, nullptr);
            if (list)
                clickRow(list, "HDA Intel PCH");
            QTest::mouseClick(button(modal, "ok"), Qt::LeftButton);
        });
    EXPECT_EQ(dialog->ask(), "hw:PCH") << "the identifier, not the name shown";
    EXPECT_EQ(watchdog.closed, 0);
}

TEST_F(UnpluggedDialog, CancelAndEscapeAnswerNothingAndKeysChooseTheNextDriver)
{
    auto dialog = make();
    ASSERT_NE(dialog, nullptr);
    onNextModal([](QWidget* modal) { QTest::mouseClick(button(modal, "cancel"), Qt::LeftButton); });
    EXPECT_EQ(dialog->ask(), "") << "Cancel, with a driver selected";

    dialog = make();
    ASSERT_NE(dialog, nullptr);
    onNextModal([](QWidget* modal) { QTest::keyClick(modal, Qt::Key_Escape); });
    EXPECT_EQ(dialog->ask(), "");

    // From the preselected first line, one line down, and Return.
    dialog = make(kDrivers, "hw:PCH");
    ASSERT_NE(dialog, nullptr);
    onNextModal(
        [](QWidget* modal)
        {
            auto* list = modal->findChild<QListWidget*>("drivers");
            EXPECT_TRUE(list && list->hasFocus()) << "the list takes the keys at once";
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        });
    EXPECT_EQ(dialog->ask(), "Null Audio Driver");
    EXPECT_EQ(watchdog.closed, 0);
}

TEST_F(UnpluggedDialog, WithoutAChoiceOkWaitsAndAnUnknownPreselectionStartsAtTheTop)
{
    auto dialog = make(kDrivers, "Vanished Card");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->getList()->currentRow(), 0);
    EXPECT_EQ(dialog->chosenDriver(), "hw:PCH");

    dialog = make({}, "");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->getList()->count(), 0);
    bool stillOpen = false;
    onNextModal(
        [&stillOpen](QWidget* modal)
        {
            QPushButton* ok = button(modal, "ok");
            EXPECT_FALSE(ok->isEnabled());
            QTest::mouseClick(ok, Qt::LeftButton);
            stillOpen = modal->isVisible();
            QTest::mouseClick(button(modal, "cancel"), Qt::LeftButton);
        });
    EXPECT_EQ(dialog->ask(), "");
    EXPECT_TRUE(stillOpen) << "OK without a driver does not close the dialog";
    EXPECT_EQ(watchdog.closed, 0);
}

TEST_F(UnpluggedDialog, AMissingFormIsAnErrorNotADialog)
{
    QString error;
    Quillmark::testing::TempFolder empty;
    SkinLoader nowhere({QString::fromStdString(empty.folder("skin"))});
    EXPECT_EQ(UnpluggedDeviceDialog::create("text", kDrivers, "", nowhere, nullptr, &error),
              nullptr);
    EXPECT_TRUE(error.contains("UnpluggedBaiosDeviceDialog")) << error.toStdString();
}

namespace
{

/** The application with its engine open on the Null driver and its main window, as the desktop
    program runs it. */
class UnplugInTheApplication : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        // A JACK server of another test must not answer for the one that is missing here.
        const char* server = std::getenv("JACK_DEFAULT_SERVER");
        if (server)
            savedServer = server;
        hadServer = server != nullptr;
        const std::string none = "qel-unplug-none-" + std::to_string(getpid());
        setenv("JACK_DEFAULT_SERVER", none.c_str(), 1);

        app = Quillmark::testing::startApplication(ui, temp.folder("data"), {});
        ASSERT_NE(app, nullptr);
        AudioEngine::Options options;
        options.driver = "Null Audio Driver";
        options.midi = false;
        app->setEngineOptions(options);
        app->open();
        ASSERT_NE(ui.getMainWindow(), nullptr);
        ASSERT_NE(app->getAudioEngine(), nullptr);
        manager = app->getAudioEngine()->getManager();
        ASSERT_NE(manager, nullptr);
        device = manager->getDevice(0);
        ASSERT_NE(device, nullptr);
        ASSERT_NE(device->getDriver(), nullptr);
    }
    void TearDown() override
    {
        ui.closeWindows();
        ui.setApplication(nullptr);
        if (app)
            app->release();
        if (hadServer)
            setenv("JACK_DEFAULT_SERVER", savedServer.c_str(), 1);
        else
            unsetenv("JACK_DEFAULT_SERVER");
    }

    /** The driver reports its device gone; the manager hears it on the main loop. */
    void unplug()
    {
        auto* driver = Baios::NullAudioDevice::fromDevice(device->getDriver());
        ASSERT_NE(driver, nullptr);
        driver->sendMessage("deviceWasRemoved");
        FMainLoop::instance()->dispatchDue();
    }

    Quillmark::testing::TempFolder temp;
    QtUIServices ui{SkinLoader({QEL_SKIN_DIR})};
    TApplication* app = nullptr;
    PBaiosManager* manager = nullptr;
    PBaiosDevice* device = nullptr;
    ModalWatchdog watchdog;
    std::string savedServer;
    bool hadServer = false;
};

/** Chooses `name` in the open unplug dialog and presses OK; notes what the dialog showed. */
void choose(const QString& name, QString* shownText = nullptr, QStringList* shownRows = nullptr,
            QString* preselected = nullptr)
{
    onNextModal(
        [=](QWidget* modal)
        {
            auto* list = modal->findChild<QListWidget*>("drivers");
            auto* message = modal->findChild<QLabel*>("message");
            EXPECT_TRUE(list && message) << "not the unplug dialog";
            if (!list || !message)
                return;
            if (shownText)
                *shownText = message->text();
            if (shownRows)
                *shownRows = rowsOf(list);
            if (preselected && list->currentItem())
                *preselected = list->currentItem()->text();
            clickRow(list, name);
            QTest::mouseClick(modal->findChild<QPushButton*>("ok"), Qt::LeftButton);
        });
}

} // namespace

TEST_F(UnplugInTheApplication, ChoosingTheNullDriverBringsTheDeviceBack)
{
    QString text;
    QStringList rows;
    QString preselected;
    choose("Null Audio Driver", &text, &rows, &preselected);
    unplug();
    EXPECT_EQ(text, "[TARN MESSAGE: Device Null Audio Driver removed]");
    EXPECT_TRUE(rows.contains("Null Audio Driver")) << rows.join(", ").toStdString();
    EXPECT_TRUE(rows.contains("JACK")) << rows.join(", ").toStdString();
    EXPECT_EQ(preselected, "Null Audio Driver") << "the device that went away comes first";
    ASSERT_EQ(manager->countDevices(), 1);
    EXPECT_EQ(manager->getDevice(0), device) << "the same device, opened again";
    ASSERT_NE(device->getDriver(), nullptr);
    EXPECT_STREQ(device->getDriver()->getIdentifier(), "Null Audio Driver");
    EXPECT_EQ(watchdog.closed, 0);
}

TEST_F(UnplugInTheApplication, CancelKeepsTheDeviceWithoutADriver)
{
    onNextModal([](QWidget* modal)
                { QTest::mouseClick(modal->findChild<QPushButton*>("cancel"), Qt::LeftButton); });
    unplug();
    EXPECT_EQ(manager->getDevice(0), device);
    EXPECT_EQ(device->getDriver(), nullptr) << "it waits for the device to come back";
    EXPECT_EQ(watchdog.closed, 0);
}

TEST_F(UnplugInTheApplication, AFailedDriverAsksTryAgainAndTheNextChoiceHolds)
{
    std::vector<QString> questions;
    QString preselectedAgain;
    // JACK has no server here: the try fails, "Try again" shows the dialog again.
    choose("JACK");
    onNextModal(
        [&](QWidget* modal)
        {
            auto* box = qobject_cast<QMessageBox*>(modal);
            EXPECT_NE(box, nullptr) << "the question after the failure";
            if (!box)
                return;
            questions.push_back(box->text());
            QAbstractButton* again = nullptr;
            for (QAbstractButton* button : box->buttons())
                if (button->text() == "Try again")
                    again = button;
            EXPECT_NE(again, nullptr);
            choose("Null Audio Driver", nullptr, nullptr, &preselectedAgain);
            QTest::mouseClick(again ? again : box->buttons().front(), Qt::LeftButton);
        });
    unplug();
    ASSERT_EQ(questions.size(), 1u);
    EXPECT_EQ(questions[0], "Audio Engine Error: Could not activate TARN Driver JACK.");
    EXPECT_EQ(preselectedAgain, "JACK") << "the last choice is offered again";
    ASSERT_NE(manager->getDevice(0), nullptr);
    ASSERT_NE(manager->getDevice(0)->getDriver(), nullptr);
    EXPECT_STREQ(manager->getDevice(0)->getDriver()->getIdentifier(), "Null Audio Driver");
    EXPECT_EQ(watchdog.closed, 0);

    // After a failure, Cancel ends the question with nothing chosen.
    int opened = 0;
    choose("JACK");
    onNextModal(
        [&](QWidget* modal)
        {
            ++opened;
            auto* box = qobject_cast<QMessageBox*>(modal);
            EXPECT_NE(box, nullptr);
            if (!box)
                return;
            for (QAbstractButton* button : box->buttons())
                if (button->text() == "Cancel")
                    QTest::mouseClick(button, Qt::LeftButton);
        });
    device = manager->getDevice(0);
    unplug();
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(manager->getDevice(0)->getDriver(), nullptr);
    EXPECT_EQ(watchdog.closed, 0) << "no dialog after the Cancel";
}

TEST_F(UnplugInTheApplication, TheQuestionEndsWithTheWindows)
{
    ui.closeWindows();
    unplug();
    EXPECT_EQ(device->getDriver(), nullptr) << "the device went away all the same";
    EXPECT_EQ(QApplication::activeModalWidget(), nullptr);
    EXPECT_EQ(watchdog.closed, 0) << "no dialog was opened";
}
