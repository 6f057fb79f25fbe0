// The logic of the test window: named values and buttons that a view binds to over a run
// service, which builds, runs and logs the tree; the controller adds the selection, the lists
// of what it reported and the progress of saving. Whoever shows the window owns it.
#pragma once

#include "base/values/uvaluecontainer.h"
#include "conformity/testrunservice.h"

#include <functional>
#include <memory>
#include <vector>

namespace Quillmark
{

class UIntValue;
class UStringListValue;

/** Shows that the results of a test with very many lines are being saved. */
class ISavingProgress
{
public:
    virtual ~ISavingProgress() = default;
    virtual void open(const char8* title, const char8* text) = 0;
    virtual void step(size_t done, size_t total) = 0;
    virtual void close() = 0;
};

class FUnitTestingDialogController : public UValueContainer
{
    QEL_DECLARE_CLASS(FUnitTestingDialogController, UValueContainer)
public:
    enum Tags : int32
    {
        kCloseTag = 1,
        kCancelTag = -1,
        kRunAllTag = 14532,
        kRunSelectedTag = 14533,
        kEnableAllTag = 14534,
        kDisableAllTag = 14535,
    };

    /** Over `service` (borrowed), which it opens; the tree is built then. */
    explicit FUnitTestingDialogController(TestRunService& service);
    /** Over a service of its own that builds the tree with the initializers of `tester`
        (borrowed). */
    explicit FUnitTestingDialogController(FTester& tester, std::string logPath = {});
    ~FUnitTestingDialogController() override;

    /** Closes the service, which stores the settings. Also tag 1. */
    void close();

    /** The nodes selected in the tree view, in order (borrowed). Outside a run, the lists
        "messageList" and "errorList" then show what the selection reported. */
    void setSelection(std::vector<FTestNode*> nodes);
    /** Borrowed; null shows nothing. */
    void setSavingProgress(ISavingProgress* presenter) { savingProgress = presenter; }
    /** Polled before every node; a true answer stops the run there. */
    void setCancelPredicate(std::function<bool()> predicate)
    {
        service->setCancelPredicate(std::move(predicate));
    }
    /** Told of every test that was run and logged, and of every group whose setup or
        teardown failed (such a group is not logged: its tests did not run). */
    void setTestListener(std::function<void(const FTestNode&)> listener);

    TestRunService& getService() { return *service; }
    FAutotestLog& getLog() { return service->getLog(); }
    bool isRunning() const { return service->isRunning(); }

    UValue* findValue(const ConstString& path) const override;
    void onValueChanged(UValue* value) override;

private:
    void addValues();
    void runAll();
    void runSelected();
    void clearLists();
    void fillLists();
    void addNodeResults(FTestNode& node, bool withDescription);

    std::unique_ptr<TestRunService> ownService;
    TestRunService* service;
    std::vector<FTestNode*> selection;
    UIntValue* numTests = nullptr;
    UStringListValue* errorList = nullptr;
    UStringListValue* messageList = nullptr;
    ISavingProgress* savingProgress = nullptr;
    mutable bool numTestsKnown = false;
};

} // namespace Quillmark
