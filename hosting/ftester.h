// The one runner of the test tree: it builds the tree through its initializers, runs nodes in the
// fixed order, remembers the last node run and tells its observer. Owns the root node. A
// process-wide singleton; the window, or the command-line job, is its observer.
#pragma once

#include "hosting/ftestnode.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{

class FTester;

/** What watches a run: polled before every node, told after every node. */
class ITesterObserver
{
public:
    virtual ~ITesterObserver() = default;
    virtual bool cancelled() = 0;
    /** A node finished; FTester::getLastNode names it. */
    virtual void testerChanged(FTester& tester) = 0;
};

/** Contributes a part of the tree when the tester opens. */
class FTestInitializer
{
public:
    virtual ~FTestInitializer() = default;
    virtual void initialize(FTester& tester, FTestNode& root) = 0;
};

class FTester : public CmObject
{
    QEL_DECLARE_CLASS(FTester, CmObject)
public:
    FTester();
    ~FTester() override;

    /** The process-wide runner, made on first use. */
    static FTester* instance();

    /** `observer` is borrowed; null for none. */
    void setObserver(ITesterObserver* newObserver) { observer = newObserver; }
    ITesterObserver* getObserver() const { return observer; }

    void addInitializer(std::unique_ptr<FTestInitializer> initializer);
    void removeInitializers() { initializers.clear(); }

    /** Makes the root "Root", runs the initializers in order, then reads the settings. */
    void open();
    /** Writes the settings and drops the tree. */
    void close();

    FTestNode* getRoot() const { return root; }
    FTestNode* getLastNode() const { return lastNode; }
    int32 countTests() const { return root ? root->countLeaves() : 0; }

    void runAll();
    /** Sets up every ancestor from the top down, runs the node, tears the ancestors down from
        the parent up. */
    void runWithParents(FTestNode* node);
    /** Runs one node (a group with everything below it) unless it is disabled or the run was
        cancelled. */
    void runNode(FTestNode* node);

    /** Adds `test` at `path` ("group/group/name"), making the groups along it. */
    FTestNode* addPathTest(const ConstString& path, Qel::ITest* test);
    /** The node at `path` below the root ("Root/" in front is allowed), or null. */
    FTestNode* findPath(const ConstString& path) const;

    bool getRememberSettings() const { return rememberSettings; }
    void setRememberSettings(bool state) { rememberSettings = state; }
    /** Where the enabled flags are kept; the user data folder's "TestSettings.bin" unless set. */
    void setSettingsPath(const std::string& path) { settingsPath = path; }
    std::string getSettingsPath() const;
    bool readSettings();
    bool writeSettings(std::string* error = nullptr) const;

private:
    static FTestNode* findBelow(FTestNode* node, const std::string& rest);
    FTestNode* root = nullptr;
    FTestNode* lastNode = nullptr;
    ITesterObserver* observer = nullptr;
    bool rememberSettings = true;
    std::string settingsPath;
    std::vector<std::unique_ptr<FTestInitializer>> initializers;
};

} // namespace Quillmark
