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

    /** The nodes selected in the tree view, in order (borrowed). */
    void setSelection(std::vector<FTestNode*> nodes) { selection = std::move(nodes); }
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

    FTester* tester;
    FAutotestLog log;
    std::vector<FTestNode*> selection;
    std::function<bool()> cancelPredicate;
    std::function<void(const FTestNode&)> testListener;
    UIntValue* numTests = nullptr;
    mutable bool numTestsKnown = false;
    bool running = false;
};

} // namespace Quillmark
