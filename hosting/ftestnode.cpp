#include "hosting/ftestnode.h"

#include "hosting/ftester.h"

namespace Quillmark
{

FTestNode::FTestNode(const ConstString& name, Qel::ITest* test) : FNode(name), test(test)
{
    if (test)
        test->addRef();
}

FTestNode::~FTestNode()
{
    if (test)
        test->release();
    if (environment)
        environment->release();
}

bool FTestNode::setup()
{
    if (test)
        return test->setup();
    return environment ? environment->setup() : true;
}

bool FTestNode::run()
{
    if (countChildren() > 0)
    {
        FTester* tester = FTester::instance();
        for (int32 index = 0; index < countChildren(); ++index)
            if (auto* child = FCast<FTestNode>(getChild(index)); child && tester)
                tester->runNode(child);
        return true;
    }
    return test ? test->run(this) : false;
}

bool FTestNode::teardown()
{
    if (test)
        return test->teardown();
    return environment ? environment->teardown() : true;
}

const char8* FTestNode::getDescription()
{
    return test ? test->getDescription() : nullptr;
}

int32 FTestNode::getSummaryStatus() const
{
    bool anyRun = status != kReset;
    if (status == kFailed || status == kSetupFailed || status == kTeardownFailed)
        return kFailed;
    for (int32 index = 0; index < countChildren(); ++index)
    {
        const auto* child = FCast<FTestNode>(static_cast<const FObject*>(getChild(index)));
        if (!child)
            continue;
        int32 summary = child->getSummaryStatus();
        if (summary == kFailed)
            return kFailed;
        anyRun = anyRun || summary != kReset;
    }
    return anyRun ? kPassed : kReset;
}

void FTestNode::setDescendantsEnabled(bool state)
{
    for (int32 index = 0; index < countChildren(); ++index)
        if (auto* child = FCast<FTestNode>(getChild(index)))
        {
            child->setEnabled(state);
            child->setDescendantsEnabled(state);
        }
}

void FTestNode::clearResults()
{
    errors.clear();
    messages.clear();
}

String FTestNode::getPath() const
{
    // Worked out on each request: a node is renamed when it joins a parent with a sibling of
    // its name, and the path must never show the name it had before.
    String path(getName());
    for (const FNode* node = getParent(); node; node = node->getParent())
    {
        String longer(node->getName());
        longer.append("/");
        longer.append(path);
        path = longer;
    }
    return path;
}

FTestNode* FTestNode::findTestChild(const ConstString& childName) const
{
    return FCast<FTestNode>(findChild(childName));
}

FTestNode* FTestNode::findOrAddGroup(const ConstString& groupName)
{
    if (FTestNode* existing = findTestChild(groupName))
        return existing;
    auto* group = new FTestNode(groupName);
    addChild(group);
    return group;
}

FTestNode* FTestNode::addLeaf(const ConstString& leafName, Qel::ITest* leafTest)
{
    auto* leaf = new FTestNode(leafName, leafTest);
    if (!addChild(leaf))
    {
        leaf->release();
        return nullptr;
    }
    return leaf;
}

void FTestNode::dropTests()
{
    for (int32 index = 0; index < countChildren(); ++index)
        if (auto* child = FCast<FTestNode>(getChild(index)))
            child->dropTests();
    if (test)
        test->release();
    if (environment)
        environment->release();
    test = nullptr;
    environment = nullptr;
}

int32 FTestNode::countLeaves(bool enabledOnly) const
{
    if (enabledOnly && !enabled)
        return 0;
    if (countChildren() == 0)
        return 1;
    int32 count = 0;
    for (int32 index = 0; index < countChildren(); ++index)
        if (const auto* child = FCast<FTestNode>(static_cast<const FObject*>(getChild(index))))
            count += child->countLeaves(enabledOnly);
    return count;
}

FTestNode* FTestNode::moveTestToSelf()
{
    if (!test)
        return nullptr;
    FTestNode* self = addLeaf("_Self_", test);
    self->setEnabled(enabled);
    test->release();
    test = nullptr;
    return self;
}

tresult FTestNode::addTest(const char8* name, Qel::ITest* newTest)
{
    if (!newTest)
        return kInvalidArgument;
    return addLeaf(name ? name : "", newTest) ? kResultOk : kResultFalse;
}

tresult FTestNode::addTestSuite(const char8* name, Qel::ITestSuite* suite)
{
    auto* node = FCast<FTestNode>(static_cast<FUnknown*>(suite));
    if (!node)
        return -1;
    if (node->getParent() || !addChild(node))
        return kResultFalse;
    // The tree now holds a reference of its own; the caller keeps its one.
    // The node keeps the name it was made with: a tree node cannot be renamed.
    node->addRef();
    return kResultOk;
}

tresult FTestNode::setEnvironment(Qel::ITest* newEnvironment)
{
    if (newEnvironment)
        newEnvironment->addRef();
    if (environment)
        environment->release();
    environment = newEnvironment;
    return kResultOk;
}

void FTestNode::addErrorMessage(const char8* text)
{
    errors.emplace_back(text ? text : "");
}

void FTestNode::addMessage(const char8* text)
{
    messages.emplace_back(text ? text : "");
}

tresult FTestNode::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, Qel::ITestSuite)
    QEL_QUERY_INTERFACE(iid, obj, Qel::ITestResult)
    return FNode::queryInterface(iid, obj);
}

} // namespace Quillmark
