// The rack in the main window: one row per slot of the player, each row the form "RackSlot"
// bound by name to that slot's controller, with the slot's generic editor opened from the row.
// The rows follow the rack: a slot loaded or removed by any means gets or loses its row at the
// next sync, which a timer runs. Owned by the main window; borrows the player, which outlives
// it.
#pragma once

#include "ui/skinloader.h"

#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <vector>

class QComboBox;
class QLabel;
class QVBoxLayout;

namespace Quillmark
{

class PluginWindow;
class ValueBinder;

namespace MiniEngine
{
class QelPlayer;
class QelSlotController;
} // namespace MiniEngine

/** One slot's row. Holds a reference to the slot's controller while it lives. */
class SlotRow : public QWidget
{
    Q_OBJECT
public:
    /** Null, with `error` set, when the template "RackSlot" is missing. */
    static SlotRow* create(MiniEngine::QelSlotController& controller, const SkinLoader& skins,
                           QWidget* parent = nullptr, QString* error = nullptr);
    ~SlotRow() override;

    MiniEngine::QelSlotController& getController() const { return *controller; }
    /** The editor window opened from this row, while it is open. */
    PluginWindow* getEditorWindow() const { return editor.data(); }
    /** Opens the slot's generic editor, or brings it forward; null when the slot has none. */
    PluginWindow* openEditor();
    void closeEditor();
    /** Builds the port lines again when the controller's port values changed. */
    void syncPorts();

private:
    SlotRow(MiniEngine::QelSlotController& controller, const SkinLoader& skins, QWidget* parent);
    bool build(QString* error);
    void buildPorts();
    void showPorts();

    MiniEngine::QelSlotController* controller;
    SkinLoader skins;
    ValueBinder* binder;
    ValueBinder* portBinder;
    QWidget* ports = nullptr;
    std::vector<QWidget*> portWidgets;
    std::vector<QComboBox*> portChoices;
    int shownValueCount = -1;
    QPointer<PluginWindow> editor;
};

class RackView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kSyncIntervalMs = 100;

    RackView(MiniEngine::QelPlayer& player, const SkinLoader& skins, QWidget* parent = nullptr);
    ~RackView() override;

    /** Adds the rows of new slots and takes away those of slots that went, in rack order. */
    void sync();
    int countRows() const { return int(rows.size()); }
    SlotRow* getRow(int index) const;

private:
    MiniEngine::QelPlayer& player;
    SkinLoader skins;
    QVBoxLayout* layout;
    QLabel* emptyNote;
    std::vector<SlotRow*> rows;
    QTimer timer;
};

} // namespace Quillmark
