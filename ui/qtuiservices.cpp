#include "ui/qtuiservices.h"

#include "app/tapplication.h"
#include "ui/mainloopbridge.h"
#include "ui/mainwindow.h"
#include "ui/unittestingwindow.h"

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

namespace Quillmark
{

QtUIServices::QtUIServices(SkinLoader skins) : skins(std::move(skins)) {}

QtUIServices::~QtUIServices()
{
    closeWindows();
}

void QtUIServices::closeWindows()
{
    delete testWindow.data();
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
