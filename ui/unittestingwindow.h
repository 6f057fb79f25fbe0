// The test window: the form "UnitTestingDialog" over a test window controller, with the tree of
// tests and their enabled check boxes, run and stop, and the messages and errors of the nodes
// selected. A run blocks the main thread, as every test run does, but the window keeps drawing
// and answers "cancel" between two tests. Owned by Qt as a top-level window.
#pragma once

#include "ui/skinloader.h"

#include <QWidget>

#include <memory>
#include <string>

class QTreeView;

namespace Quillmark
{

class FComponentRegistry;
class FUnitTestingDialogController;
class TestRunService;
class TestTreeModel;
class ValueBinder;

class UnitTestingWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Unit Testing";

    /** The whole tree over `registry` (borrowed; it outlives the window), logging to
        `logPath`. Null with `error` set when the skin cannot be loaded. */
    static UnitTestingWindow* create(FComponentRegistry& registry, const std::string& logPath,
                                     const SkinLoader& skins, QString* error = nullptr);
    ~UnitTestingWindow() override;

    FUnitTestingDialogController& getController() { return *controller; }
    QTreeView* getTree() const { return tree; }
    TestTreeModel& getModel() { return *model; }
    bool isRunning() const;
    /** Selects the node at `path` in the tree, as a click would. False when there is none. */
    bool selectPath(const std::string& path);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    UnitTestingWindow(FComponentRegistry& registry, const std::string& logPath);
    bool build(const SkinLoader& skins, QString* error);
    void selectionChanged();
    void runStarting();
    void runEnded();

    std::unique_ptr<TestRunService> service;
    FUnitTestingDialogController* controller = nullptr;
    TestTreeModel* model = nullptr;
    ValueBinder* binder = nullptr;
    QTreeView* tree = nullptr;
    QWidget* cancelButton = nullptr;
    bool stopRequested = false;
};

} // namespace Quillmark
