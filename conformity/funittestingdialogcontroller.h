// The logic of the test window: named values and buttons that a view binds to, running all or
// the selected nodes, enabling and disabling, and writing each finished test to the log. It is
// the tester's observer while it lives; whoever shows the window owns it.
#pragma once

#include "base/uvaluecontainer.h"
#include "conformity/fautotestlog.h"
#include "hosting/ftester.h"

#include <functional>
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

class FUnitTestingDialogController : public UValueContainer, public ITesterObserver
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

    /** Becomes the observer of `tester` (borrowed) and opens it, which builds the tree. */
    explicit FUnitTestingDialogController(FTester& tester, std::string logPath = {});
    ~FUnitTestingDialogController() override;

    /** Detaches from the tester and closes it, which stores the settings. Also tag 1. */
    void close();

    /** The nodes selected in the tree view, in order (borrowed). Outside a run, the lists
        "messageList" and "errorList" then show what the selection reported. */
    void setSelection(std::vector<FTestNode*> nodes);
    /** Borrowed; null shows nothing. */
    void setSavingProgress(ISavingProgress* presenter) { savingProgress = presenter; }
    /** Polled before every node; a true answer stops the run there. */
    void setCancelPredicate(std::function<bool()> predicate)
    {
        cancelPredicate = std::move(predicate);
    }
    /** Told of every test that was run and logged, and of every group whose setup or
        teardown failed (such a group is not logged: its tests did not run). */
    void setTestListener(std::function<void(const FTestNode&)> listener)
    {
        testListener = std::move(listener);
    }

    FAutotestLog& getLog() { return log; }
    bool isRunning() const { return running; }

    UValue* findValue(const ConstString& path) const override;
    void onValueChanged(UValue* value) override;

    // ITesterObserver
    bool cancelled() override;
    void testerChanged(FTester& changedTester) override;

private:
    void runAll();
    void runSelected();
    void clearLists();
    void fillLists();
    void addNodeResults(FTestNode& node, bool withDescription);

    FTester* tester;
    FAutotestLog log;
    std::vector<FTestNode*> selection;
    std::function<bool()> cancelPredicate;
    std::function<void(const FTestNode&)> testListener;
    UIntValue* numTests = nullptr;
    UStringListValue* errorList = nullptr;
    UStringListValue* messageList = nullptr;
    ISavingProgress* savingProgress = nullptr;
    mutable bool numTestsKnown = false;
    bool running = false;
};

} // namespace Quillmark
