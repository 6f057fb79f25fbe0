// One node of the conformity test tree: a group of nodes, or a leaf that holds one test, with the
// verdict and the messages of its last run. The tree owns its nodes (see FNode); a node holds
// one reference to its test.
#pragma once

#include "base/fnode.h"
#include "qel3/itest.h"

#include <vector>

namespace Quillmark
{

class FTestNode : public FNode, public Qel::ITestSuite, public Qel::ITestResult
{
    QEL_DECLARE_CLASS(FTestNode, FNode)
public:
    enum Status : int32
    {
        kReset = 0,
        kPassed = 1,
        kFailed = 2,         // run returned false
        kSetupFailed = 3,    // setup returned false, run was not called
        kTeardownFailed = 4, // teardown returned false; overrides a pass or a failure
    };

    /** `test` may be null for a group; the node takes a reference of its own. */
    explicit FTestNode(const ConstString& name = ConstString(), Qel::ITest* test = nullptr);
    ~FTestNode() override;

    /** Prepare, run and finish this node; the runner calls them. A group runs its children
        and passes once reached; a leaf answers its test's verdict. */
    virtual bool setup();
    virtual bool run();
    virtual bool teardown();
    const char8* getDescription();

    Qel::ITest* getTest() const { return test; }
    int32 getStatus() const { return status; }
    /** Wall time of the last run, setup and teardown included, in seconds. */
    double getSeconds() const { return seconds; }
    void setSeconds(double value) { seconds = value; }
    void setStatus(int32 newStatus) { status = newStatus; }
    /** 0 when nothing in the subtree ran, 2 when anything in it failed in any way, else 1. */
    int32 getSummaryStatus() const;

    bool isEnabled() const { return enabled; }
    void setEnabled(bool state) { enabled = state; }
    /** Sets the flag on every node below this one, not on this node. */
    void setDescendantsEnabled(bool state);

    const std::vector<String>& getErrors() const { return errors; }
    const std::vector<String>& getMessages() const { return messages; }
    void clearResults();

    /** The names from the root down to this node, joined by "/". */
    String getPath() const;
    /** The child test node of that name (borrowed), or null. */
    FTestNode* findTestChild(const ConstString& childName) const;
    /** The child group of that name, made when missing (borrowed). */
    FTestNode* findOrAddGroup(const ConstString& groupName);
    /** Adds a leaf with `test` (the node takes its own reference); answers it, borrowed. */
    FTestNode* addLeaf(const ConstString& leafName, Qel::ITest* leafTest);
    /** Releases the tests of this node and of every node below it. A test may hold a
        reference to a node above it (a provider), so a tree is dismantled with this first. */
    void dropTests();
    /** Leaves below this node; a node without children counts as one. With `enabledOnly`,
        only what a run of this node would run: a disabled node counts nothing. */
    int32 countLeaves(bool enabledOnly = false) const;
    /** Moves the test out of this node into a new child "_Self_", so this node can hold
        further tests; answers the new child, or null when there was no test. */
    FTestNode* moveTestToSelf();

    // ITestSuite
    tresult addTest(const char8* name, Qel::ITest* newTest) override;
    tresult addTestSuite(const char8* name, Qel::ITestSuite* suite) override;
    tresult setEnvironment(Qel::ITest* newEnvironment) override;

    // ITestResult
    void addErrorMessage(const char8* text) override;
    void addMessage(const char8* text) override;

    // FUnknown, on the reference count of the host object
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    int32 status = kReset;
    double seconds = 0.0;
    std::vector<String> errors;
    std::vector<String> messages;
    Qel::ITest* test = nullptr;
    Qel::ITest* environment = nullptr;
    bool enabled = true;
};

} // namespace Quillmark
