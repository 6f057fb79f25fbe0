#include "ui/unittestingwindow.h"

#include "base/values/uvalue.h"
#include "conformity/funittestingdialogcontroller.h"
#include "conformity/testrunservice.h"
#include "hosting/fcomponentregistry.h"
#include "ui/testtreemodel.h"
#include "ui/valuebinder.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QTreeView>
#include <QVBoxLayout>

namespace Quillmark
{

UnitTestingWindow::UnitTestingWindow(FComponentRegistry& registry, const std::string& logPath)
    : service(std::make_unique<TestRunService>(*FTester::instance(), logPath))
{
    service->setScope(registry, TestRunService::Scope{});
    setWindowTitle(kTitle);
    setAttribute(Qt::WA_DeleteOnClose);
    // The window's own frame: left 50, top 50, 900 by 650.
    setGeometry(50, 50, 900, 650);
}

UnitTestingWindow* UnitTestingWindow::create(FComponentRegistry& registry,
                                             const std::string& logPath, const SkinLoader& skins,
                                             QString* error)
{
    auto* window = new UnitTestingWindow(registry, logPath);
    if (!window->build(skins, error))
    {
        delete window;
        return nullptr;
    }
    return window;
}

bool UnitTestingWindow::build(const SkinLoader& skins, QString* error)
{
    QWidget* form = skins.load("UnitTestingDialog", this, error);
    if (!form)
        return false;
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(form);

    controller = new FUnitTestingDialogController(*service);
    model = new TestTreeModel(this);
    model->setRoot(service->getRoot());
    tree = form->findChild<QTreeView*>("availableTests");
    if (tree)
    {
        tree->setModel(model);
        tree->setSelectionMode(QAbstractItemView::ExtendedSelection);
        tree->header()->setSectionResizeMode(TestTreeModel::kNameColumn, QHeaderView::Stretch);
        tree->header()->setStretchLastSection(false);
        tree->header()->resizeSection(TestTreeModel::kStatusColumn, 110);
        tree->expandToDepth(1);
        connect(tree->selectionModel(), &QItemSelectionModel::selectionChanged, this,
                &UnitTestingWindow::selectionChanged);
    }

    // "cancel" is this window's own: the controller keeps its value switched off, and a run
    // stops between two tests when it is pressed.
    cancelButton = form->findChild<QWidget*>("cancel");
    if (auto* button = qobject_cast<QAbstractButton*>(cancelButton))
    {
        button->setEnabled(false);
        connect(button, &QAbstractButton::clicked, this, [this] { stopRequested = true; });
    }
    // A press of a run button starts the run inside the binder's handler; the handlers
    // connected before and after it frame the run.
    for (const char* name : {"runAll", "runSelected"})
        if (auto* button = form->findChild<QAbstractButton*>(name))
            connect(button, &QAbstractButton::clicked, this, &UnitTestingWindow::runStarting);
    binder = new ValueBinder(this);
    binder->bind(form,
                 [this](const std::string& name) -> UValue*
                 {
                     if (name == "cancel")
                         return nullptr;
                     return controller->findValue(String(name));
                 });
    for (const char* name : {"runAll", "runSelected"})
        if (auto* button = form->findChild<QAbstractButton*>(name))
            connect(button, &QAbstractButton::clicked, this, &UnitTestingWindow::runEnded);
    for (const char* name : {"enableAll", "disableAll"})
        if (auto* button = form->findChild<QAbstractButton*>(name))
            connect(button, &QAbstractButton::clicked, model, &TestTreeModel::refreshAll);
    if (auto* button = form->findChild<QAbstractButton*>("close"))
        connect(button, &QAbstractButton::clicked, this, &QWidget::close);

    controller->setTestListener(
        [this](const FTestNode& node)
        {
            model->nodeChanged(const_cast<FTestNode*>(&node));
            if (tree)
                tree->scrollTo(model->indexOf(const_cast<FTestNode*>(&node)));
        });
    controller->setCancelPredicate(
        [this]
        {
            // Between two tests the window draws what changed and reads its buttons.
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            return stopRequested;
        });
    return true;
}

UnitTestingWindow::~UnitTestingWindow()
{
    if (binder)
        binder->unbindAll();
    if (model)
        model->setRoot(nullptr);
    if (controller)
        controller->release(); // closes the service: the enabled flags are stored
    service.reset();
    FTester::instance()->removeInitializers();
}

bool UnitTestingWindow::isRunning() const
{
    return controller && controller->isRunning();
}

void UnitTestingWindow::runStarting()
{
    if (isRunning())
        return;
    stopRequested = false;
    if (cancelButton)
        cancelButton->setEnabled(true);
}

void UnitTestingWindow::runEnded()
{
    if (isRunning())
        return; // a press while a run goes on starts nothing
    if (cancelButton)
        cancelButton->setEnabled(false);
    model->refreshAll();
    selectionChanged();
}

void UnitTestingWindow::selectionChanged()
{
    if (!tree || isRunning())
        return;
    std::vector<FTestNode*> nodes;
    for (const QModelIndex& index : tree->selectionModel()->selectedRows(0))
        if (FTestNode* node = model->nodeOf(index))
            nodes.push_back(node);
    controller->setSelection(nodes);
}

bool UnitTestingWindow::selectPath(const std::string& path)
{
    FTestNode* node = service->findNode(path);
    QModelIndex index = node ? model->indexOf(node) : QModelIndex();
    if (!index.isValid() || !tree)
        return false;
    tree->scrollTo(index);
    tree->selectionModel()->select(index,
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    tree->setCurrentIndex(index);
    return true;
}

void UnitTestingWindow::closeEvent(QCloseEvent* event)
{
    if (isRunning())
    {
        // A run ends between two tests; the window closes once it has.
        stopRequested = true;
        event->ignore();
        QMetaObject::invokeMethod(this, &QWidget::close, Qt::QueuedConnection);
        return;
    }
    event->accept();
}

} // namespace Quillmark
