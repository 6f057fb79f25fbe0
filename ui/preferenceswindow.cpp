#include "ui/preferenceswindow.h"

#include "app/preferencepages.h"
#include "devices/audio/audiosystemcontroller.h"
#include "ui/valuebinder.h"

#include <QAbstractButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace Quillmark
{

PreferencesWindow::PreferencesWindow()
    : binder(new ValueBinder(this)), audioBinder(new ValueBinder(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(kTitle);
}

PreferencesWindow::~PreferencesWindow()
{
    setAudioSystem(nullptr);
    binder->unbindAll();
    if (pages)
        pages->release();
}

int PreferencesWindow::countBindings() const
{
    return binder->countBindings() + audioBinder->countBindings();
}

void PreferencesWindow::setAudioSystem(AudioSystemController* controller)
{
    if (controller == audioSystem)
        return;
    audioBinder->unbindAll();
    if (audioSystem)
        audioSystem->release();
    audioSystem = controller;
    QWidget* group = findChild<QWidget*>("audioSystem");
    if (group)
        group->setVisible(audioSystem != nullptr);
    // The controller stores the same two flags; one check box each is enough.
    for (const char* name : {"ReleaseHardware", "DisableCPUEnergySaving"})
        if (QWidget* widget = findChild<QWidget*>(name))
            widget->setVisible(audioSystem == nullptr);
    if (!audioSystem)
        return;
    audioSystem->addRef();
    audioSystem->refresh();
    if (group)
        audioBinder->bind(group, [this](const std::string& name)
                          { return audioSystem->findValue(String(name.c_str())); });
}

PreferencesWindow* PreferencesWindow::create(TApplication& application, const SkinLoader& skins,
                                             QString* error)
{
    auto* window = new PreferencesWindow;
    if (!window->build(application, skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool PreferencesWindow::build(TApplication& application, const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("GlobalPreferences", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(9, 9, 9, 9);
    layout->addWidget(form);
    pages = new PreferencePages(application);
    binder->bind(form, [this](const std::string& name)
                 { return pages->findValue(String(name.c_str())); });
    // The tabs follow the order of the pages; a page the skin lacks is simply not shown.
    if (auto* tabs = form->findChild<QTabWidget*>("pages"))
    {
        int at = 0;
        for (const PreferencePages::Page& page : PreferencePages::pages())
            if (QWidget* tab = tabs->findChild<QWidget*>(page.title))
            {
                const int index = tabs->indexOf(tab);
                if (index >= 0)
                {
                    const QString title = tabs->tabText(index);
                    tabs->removeTab(index);
                    tabs->insertTab(at++, tab, title);
                }
            }
        tabs->setCurrentIndex(0);
    }
    if (QWidget* group = form->findChild<QWidget*>("audioSystem"))
        group->setVisible(false);
    if (auto* close = form->findChild<QAbstractButton*>("close"))
        connect(close, &QAbstractButton::clicked, this, &QWidget::close);
    resize(640, 420);
    return true;
}

} // namespace Quillmark
