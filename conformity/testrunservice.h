// One conformity run, whichever front end starts it (the command line, a test process of an
// isolating run, the test window): it builds the tree for a scope, finds and plans nodes, runs
// them, writes every finished test to the log and tells its listener. It is the tester's
// observer while the tree is open. Owned by the front end for as long as it shows the tree.
#pragma once

#include "conformity/fautotestlog.h"
#include "conformity/testoutcome.h"
#include "hosting/ftester.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;

class TestRunService : public ITesterObserver
{
public:
    /** What the tree holds. */
    struct Scope
    {
        bool moduleTests = true; // the tests that classes of "Test Class" contribute
        bool classes = true;     // both providers of every audio class, with their tests
        std::string classFilter; // only the class of this name or identifier; empty for all
    };

    /** What a run tells, on the thread that runs it. Any member may be empty. */
    struct Listener
    {
        /** A node (a group or a test) begins. */
        std::function<void(FTestNode& node)> started;
        /** A group is over. */
        std::function<void(FTestNode& node)> groupEnded;
        /** A test was run and logged, or a group's setup or teardown failed (such a group is
            not logged: its tests did not run). */
        std::function<void(const FTestNode& node)> finished;
    };

    /** `tester` is borrowed. `logPath` empty: "AutotestLog.txt" in the user data folder. */
    explicit TestRunService(FTester& tester, std::string logPath = {});
    ~TestRunService() override;
    TestRunService(const TestRunService&) = delete;
    TestRunService& operator=(const TestRunService&) = delete;

    /** Replaces the tester's initializers by those of `scope` over `registry` (borrowed; it
        must outlive the tree). Without a call, the tester's own initializers build the tree. */
    void setScope(FComponentRegistry& registry, const Scope& scope);
    /** Becomes the tester's observer and builds the tree, with the enabled flags read. */
    void open();
    /** Drops the tree; the enabled flags are stored unless `storeSettings` is false (a tree
        that holds only a part of the whole one must not overwrite them). */
    void close(bool storeSettings = true);
    bool isOpen() const { return opened; }

    FTester& getTester() const { return tester; }
    FTestNode* getRoot() const { return tester.getRoot(); }
    FAutotestLog& getLog() { return log; }
    /** The node at `path` ("Root/" in front is allowed), or null. */
    FTestNode* findNode(const std::string& path) const;
    /** How many classes the tree holds (the groups below "Global Instance"). */
    int32 countClasses() const;
    /** The enabled tests that running `selection` would run, in order; an empty selection
        stands for the root. */
    std::vector<FTestNode*> plan(const std::vector<FTestNode*>& selection) const;

    void setListener(Listener newListener) { listener = std::move(newListener); }
    /** Polled before every node; a true answer stops the run there. */
    void setCancelPredicate(std::function<bool()> predicate)
    {
        cancelPredicate = std::move(predicate);
    }

    /** Empties the log (unless `freshLog` is false, which appends to it), then runs the whole
        tree (an empty selection) or each selected node with the setup and teardown of every
        node above it. */
    void run(const std::vector<FTestNode*>& selection, bool freshLog = true);
    bool isRunning() const { return running; }

    /** The random sequence's state as the first test of the next run begins: a test of an
        earlier run repeats with the numbers it drew there. Used once. */
    void startFirstTestAt(uint32 randomState) { firstTestState = randomState; }
    /** How a test of the last run used the random sequence: its state at the test's start
        and end (equal for a test that drew nothing). */
    struct RandomUse
    {
        uint32 start = 0;
        uint32 end = 0;
        bool drew() const { return start != end; }
    };
    std::optional<RandomUse> randomUseOf(const FTestNode& node) const;
    /** TestOutcome::of(node), with where the random sequence stood for a test that drew. */
    TestOutcome outcomeOf(const FTestNode& node) const;

    // ITesterObserver
    bool cancelled() override;
    void testerChanged(FTester& changedTester) override;

private:
    FTester& tester;
    FAutotestLog log;
    Listener listener;
    std::function<bool()> cancelPredicate;
    std::map<const FTestNode*, RandomUse> randomUses;
    std::optional<uint32> firstTestState;
    bool opened = false;
    bool running = false;
};

} // namespace Quillmark
