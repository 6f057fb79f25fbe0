#include "ui/rackview.h"

#include "app/info/genericeditor.h"
#include "base/values/umenuvalue.h"
#include "engine/qelplayer.h"
#include "engine/qelslot.h"
#include "engine/qelslotcontroller.h"
#include "engine/qelslotoperator.h"
#include "hosting/qeleditcontroller.h"
#include "ui/pluginwindow.h"
#include "ui/valuebinder.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

namespace Quillmark
{

using MiniEngine::QelPlayer;
using MiniEngine::QelSlotController;

namespace
{

UValue* valueNamed(const QelSlotController& controller, const std::string& name)
{
    return controller.findValue(String(name.c_str()));
}

} // namespace

SlotRow::SlotRow(QelSlotController& controller, const SkinLoader& skins, QWidget* parent)
    : QWidget(parent), controller(&controller), skins(skins), binder(new ValueBinder(this)),
      portBinder(new ValueBinder(this))
{
    controller.addRef();
}

SlotRow::~SlotRow()
{
    closeEditor();
    portBinder->unbindAll();
    binder->unbindAll();
    controller->release();
}

SlotRow* SlotRow::create(QelSlotController& controller, const SkinLoader& skins, QWidget* parent,
                         QString* error)
{
    auto* row = new SlotRow(controller, skins, parent);
    if (!row->build(error))
    {
        delete row;
        return nullptr;
    }
    return row;
}

bool SlotRow::build(QString* error)
{
    QWidget* form = skins.load("RackSlot", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(form);
    ports = form->findChild<QWidget*>("ports");
    binder->bind(form, [this](const std::string& name) { return valueNamed(*controller, name); });
    // A control whose value the slot does not have (no bypass, no aux input, no units) is of
    // no use in this row.
    for (const char* name : {"bypass", "enableAux"})
        if (QWidget* widget = form->findChild<QWidget*>(name))
            widget->setVisible(valueNamed(*controller, name) != nullptr &&
                               controller->testCondition(String(
                                   name == std::string("bypass") ? "hasBypass" : "hasEnableAux")));
    if (auto* units = form->findChild<QComboBox*>("currentSelectedLayer"))
    {
        const bool hasUnits = units->count() > 1;
        for (const char* name :
             {"currentSelectedLayer", "incrementSelectUnit", "decrementSelectUnit"})
            if (QWidget* widget = form->findChild<QWidget*>(name))
                widget->setVisible(hasUnits);
    }
    // The editor opens and closes with its switch; a window closed by its own frame clears it.
    if (auto* edit = form->findChild<QAbstractButton*>("openEditor"))
        connect(edit, &QAbstractButton::toggled, this,
                [this](bool on)
                {
                    if (on)
                        openEditor();
                    else
                        closeEditor();
                });
    // The editor stands on the plug-in's controller, which goes with the slot: it closes
    // before the removal that the button asks for through the main loop.
    if (auto* remove = form->findChild<QAbstractButton*>("removeSlot"))
        connect(remove, &QAbstractButton::clicked, this, &SlotRow::closeEditor);
    buildPorts();
    return true;
}

void SlotRow::buildPorts()
{
    portBinder->unbindAll();
    for (QWidget* widget : portWidgets)
        delete widget;
    portWidgets.clear();
    portChoices.clear();
    shownValueCount = controller->countValues();
    auto* grid = ports ? qobject_cast<QGridLayout*>(ports->layout()) : nullptr;
    if (!grid)
        return;
    int line = 0;
    auto addLine = [&](const QString& caption, const std::string& labelName,
                       const std::string& portName, const std::string& filterName)
    {
        UValue* port = valueNamed(*controller, portName);
        if (!port)
            return false;
        auto* title = new QLabel(caption, ports);
        auto* label = new QLabel(ports);
        label->setObjectName(QString::fromStdString(labelName));
        auto* choice = new QComboBox(ports);
        choice->setObjectName(QString::fromStdString(portName));
        choice->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        grid->addWidget(title, line, 0);
        grid->addWidget(label, line, 1);
        grid->addWidget(choice, line, 2);
        portWidgets.insert(portWidgets.end(), {title, label, choice});
        if (UValue* text = valueNamed(*controller, labelName))
            portBinder->bindWidget(label, text);
        // A port's value borrows the port, which goes with the slot: the row keeps no hold on
        // it, looks it up by name at each use and shows it at each sync.
        portChoices.push_back(choice);
        connect(choice, &QComboBox::activated, this,
                [this, choice](int index)
                {
                    if (auto* menu = FCast<UMenuValue>(
                            valueNamed(*controller, choice->objectName().toStdString())))
                        menu->setIndex(index);
                    showPorts();
                });
        if (UValue* filter = filterName.empty() ? nullptr : valueNamed(*controller, filterName))
        {
            auto* channel = new QComboBox(ports);
            channel->setObjectName(QString::fromStdString(filterName));
            channel->setToolTip("The MIDI channel this input passes");
            grid->addWidget(channel, line, 3);
            portWidgets.push_back(channel);
            portBinder->bindWidget(channel, filter);
        }
        ++line;
        return true;
    };
    for (int index = 0;; ++index)
        if (!addLine("MIDI in", "inputMidiPortLabel" + std::to_string(index),
                     "inputMidiPort" + std::to_string(index),
                     "inputMidiPortFilter" + std::to_string(index)))
            break;
    for (int index = 0;; ++index)
        if (!addLine("Audio out", "outputAudioPortLabel" + std::to_string(index),
                     "outputAudioPort" + std::to_string(index), std::string()))
            break;
    grid->setColumnStretch(4, 1);
    ports->setVisible(line > 0);
    showPorts();
}

void SlotRow::showPorts()
{
    for (QComboBox* choice : portChoices)
    {
        auto* menu = FCast<UMenuValue>(valueNamed(*controller, choice->objectName().toStdString()));
        if (!menu || choice->view()->isVisible())
            continue;
        QStringList titles;
        for (int32 index = 0; index < menu->countItems(); ++index)
            titles << QString::fromStdString(menu->getItem(index)->getTitle().toUtf8());
        QStringList shown;
        for (int index = 0; index < choice->count(); ++index)
            shown << choice->itemText(index);
        const QSignalBlocker blocker(choice);
        if (titles != shown)
        {
            choice->clear();
            choice->addItems(titles);
        }
        choice->setCurrentIndex(menu->getIndex());
    }
}

void SlotRow::syncPorts()
{
    if (controller->countValues() != shownValueCount)
        buildPorts();
    else
        showPorts();
}

PluginWindow* SlotRow::openEditor()
{
    if (editor)
    {
        editor->raise();
        editor->activateWindow();
        return editor;
    }
    MiniEngine::QelSlot* slot = controller->getSlot();
    Qel::QelEditController* wrapper = slot ? slot->getEditPart() : nullptr;
    auto* generic = wrapper ? static_cast<GenericEditor*>(wrapper->getGenericEditor(
                                  [](Qel::QelEditController& owner) -> CmObject*
                                  { return makeGenericEditor(owner); }))
                            : nullptr;
    UValue* kind = valueNamed(*controller, "openEditor");
    if (!generic)
    {
        if (kind)
            kind->setInt(0);
        return nullptr;
    }
    const QString title =
        QString::fromStdString(slot->getOperator()->getName().toUtf8()) + " (Rack)";
    // The slot is the keeper: the editor's values stand on its controller half.
    editor = PluginWindow::create(*generic, slot, nullptr, title, skins);
    if (!editor)
    {
        if (kind)
            kind->setInt(0);
        return nullptr;
    }
    connect(editor, &QObject::destroyed, this,
            [this]
            {
                if (UValue* value = valueNamed(*controller, "openEditor"))
                    value->setInt(0);
            });
    editor->show();
    return editor;
}

void SlotRow::closeEditor()
{
    if (!editor)
        return;
    PluginWindow* window = editor.data();
    editor.clear();
    disconnect(window, &QObject::destroyed, this, nullptr);
    delete window;
}

RackView::RackView(QelPlayer& player, const SkinLoader& skins, QWidget* parent)
    : QWidget(parent), player(player), skins(skins), layout(new QVBoxLayout(this)),
      emptyNote(new QLabel("No plug-in in the rack: add an instrument or an effect above.", this))
{
    player.addRef();
    layout->setContentsMargins(4, 4, 4, 4);
    emptyNote->setEnabled(false);
    layout->addWidget(emptyNote);
    layout->addStretch(1);
    timer.setInterval(kSyncIntervalMs);
    connect(&timer, &QTimer::timeout, this, &RackView::sync);
    timer.start();
    sync();
}

RackView::~RackView()
{
    timer.stop();
    for (SlotRow* row : rows)
        delete row;
    rows.clear();
    player.release();
}

SlotRow* RackView::getRow(int index) const
{
    return index >= 0 && index < countRows() ? rows[size_t(index)] : nullptr;
}

void RackView::sync()
{
    std::vector<QelSlotController*> wanted;
    for (int32 index = 0; index < player.countSlotControllers(); ++index)
        if (QelSlotController* controller = player.getSlotController(index))
            if (controller->getSlot())
                wanted.push_back(controller);
    // Rows of slots that went leave first, with their editor windows.
    for (auto it = rows.begin(); it != rows.end();)
        if (std::find(wanted.begin(), wanted.end(), &(*it)->getController()) == wanted.end())
        {
            delete *it;
            it = rows.erase(it);
        }
        else
            ++it;
    std::vector<SlotRow*> ordered;
    for (QelSlotController* controller : wanted)
    {
        auto found = std::find_if(rows.begin(), rows.end(),
                                  [controller](SlotRow* row)
                                  { return &row->getController() == controller; });
        SlotRow* row = found != rows.end() ? *found : SlotRow::create(*controller, skins, this);
        if (!row)
            continue;
        row->syncPorts();
        ordered.push_back(row);
    }
    if (ordered != rows)
    {
        rows = ordered;
        for (SlotRow* row : rows)
            layout->removeWidget(row);
        for (size_t index = 0; index < rows.size(); ++index)
        {
            layout->insertWidget(int(index), rows[index]);
            rows[index]->show();
        }
    }
    emptyNote->setVisible(rows.empty());
}

} // namespace Quillmark
