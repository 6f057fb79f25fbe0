// For tests: tests whose answers are set up front and that record what the runner called, and
// an initializer that hangs them into the tree by path.
#pragma once

#include "hosting/ftester.h"
#include "qel3/itest.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace Quillmark::testing
{

/** A test whose answers are set up front and which records what the runner called. */
class ScriptedTest : public FObject, public Qel::ITest
{
public:
    ScriptedTest(std::string name, std::vector<std::string>& calls)
        : name(std::move(name)), calls(calls)
    {
    }

    bool setup() override
    {
        calls.push_back(name + " setup");
        return setupAnswer;
    }
    bool run(Qel::ITestResult* result) override
    {
        calls.push_back(name + " run");
        if (runFor.count() > 0)
            std::this_thread::sleep_for(runFor);
        for (const char* text : messages)
            result->addMessage(text);
        for (const char* text : errors)
            result->addErrorMessage(text);
        return runAnswer;
    }
    bool teardown() override
    {
        calls.push_back(name + " teardown");
        return teardownAnswer;
    }
    const char8* getDescription() override { return nullptr; }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, Qel::ITest)
        return FObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    std::string name;
    std::vector<std::string>& calls;
    std::chrono::milliseconds runFor{0};
    bool setupAnswer = true;
    bool runAnswer = true;
    bool teardownAnswer = true;
    std::vector<const char*> messages;
    std::vector<const char*> errors;
};

/** Builds its tree from a list of scripted tests by path. */
class ScriptedTree : public FTestInitializer
{
public:
    explicit ScriptedTree(std::vector<ScriptedTest*>& tests) : tests(tests) {}
    void initialize(FTester& tester, FTestNode&) override
    {
        for (ScriptedTest* test : tests)
            tester.addPathTest(test->name.c_str(), test);
    }
    std::vector<ScriptedTest*>& tests;
};

} // namespace Quillmark::testing
