#include "conformity/funittestingdialogcontroller.h"

#include "base/uintvalues.h"
#include "base/ustringlistvalue.h"

#include <limits>

namespace Quillmark
{

namespace
{

constexpr int32 kMaxCount = std::numeric_limits<int32>::max();

} // namespace

FUnitTestingDialogController::FUnitTestingDialogController(FTester& tester, std::string logPath)
    : UValueContainer(this), tester(&tester), log(std::move(logPath))
{
    adopt(new UIntValue("runAll", kRunAllTag));
    adopt(new UIntValue("runSelected", kRunSelectedTag));
    UIntValue* cancel = adopt(new UIntValue("cancel", kCancelTag));
    cancel->setEnabled(false);
    numTests = adopt(new UIntValue("numTests", 0, 0, kMaxCount));
    adopt(new UIntValue("numTestsRun", 0, 0, kMaxCount));
    adopt(new UIntValue("numErrors", 0, 0, kMaxCount));
    adopt(new UIntValue("numFailures", 0, 0, kMaxCount));
    adopt(new UIntValue("enableAll", kEnableAllTag));
    adopt(new UIntValue("disableAll", kDisableAllTag));
    adopt(new UIntValue("close", kCloseTag));
    errorList = adopt(new UStringListValue("errorList"));
    messageList = adopt(new UStringListValue("messageList"));
    log.setProgress(
        [this](size_t done, size_t total)
        {
            if (!savingProgress)
                return;
            if (done == 0)
                savingProgress->open("Saving results", "Please wait...");
            else if (done == total)
                savingProgress->close();
            else
                savingProgress->step(done, total);
        });
    tester.setObserver(this);
    tester.open();
}

FUnitTestingDialogController::~FUnitTestingDialogController()
{
    close();
}

void FUnitTestingDialogController::close()
{
    if (!tester)
        return;
    tester->setObserver(nullptr);
    tester->close();
    tester = nullptr;
    selection.clear();
}

UValue* FUnitTestingDialogController::findValue(const ConstString& path) const
{
    UValue* value = UValueContainer::findValue(path);
    if (value == numTests && !numTestsKnown && tester)
    {
        numTestsKnown = true;
        numTests->setValue(tester->countTests(), false);
    }
    return value;
}

void FUnitTestingDialogController::onValueChanged(UValue* value)
{
    // Buttons report a press as 1 and fall back to 0, which is no press.
    if (!value || value->getInt() == 0 || !tester)
        return;
    const int32 tag = value->getTag();
    if (auto* button = FCast<UIntValue>(value); button && tag != 0)
        button->setValue(0, false);
    switch (tag)
    {
    case kRunAllTag:
        runAll();
        break;
    case kRunSelectedTag:
        runSelected();
        break;
    case kEnableAllTag:
    case kDisableAllTag:
        if (FTestNode* root = tester->getRoot())
            root->setDescendantsEnabled(tag == kEnableAllTag);
        break;
    case kCloseTag:
        close();
        break;
    default:
        break;
    }
}

void FUnitTestingDialogController::setSelection(std::vector<FTestNode*> nodes)
{
    selection = std::move(nodes);
    if (!running)
        fillLists();
}

void FUnitTestingDialogController::clearLists()
{
    errorList->removeAll();
    messageList->removeAll();
}

void FUnitTestingDialogController::addNodeResults(FTestNode& node, bool withDescription)
{
    if (withDescription)
        if (const char8* description = node.getDescription())
        {
            // One row per line of the description.
            std::string text(description);
            for (size_t start = 0;;)
            {
                size_t end = text.find('\n', start);
                messageList->addString(String(text.substr(start, end - start)));
                if (end == std::string::npos)
                    break;
                start = end + 1;
            }
        }
    for (const String& message : node.getMessages())
        messageList->addString(message);
    for (const String& error : node.getErrors())
        errorList->addString(error);
}

void FUnitTestingDialogController::fillLists()
{
    clearLists();
    for (FTestNode* node : selection)
        if (node)
            addNodeResults(*node, true);
    if (selection.size() != 1 || !selection.front())
        return;
    // A single selected group also shows everything below it, in tree order.
    struct Walk
    {
        FUnitTestingDialogController& controller;
        void below(FTestNode& node)
        {
            for (int32 index = 0; index < node.countChildren(); ++index)
                if (auto* child = FCast<FTestNode>(node.getChild(index)))
                {
                    controller.addNodeResults(*child, false);
                    below(*child);
                }
        }
    } walk{*this};
    walk.below(*selection.front());
}

void FUnitTestingDialogController::runAll()
{
    clearLists();
    log.remove();
    running = true;
    tester->runAll();
    running = false;
}

void FUnitTestingDialogController::runSelected()
{
    log.remove();
    clearLists();
    running = true;
    for (FTestNode* node : selection)
        if (node && (node->countChildren() > 0 || node->getTest()))
            tester->runWithParents(node);
    running = false;
}

bool FUnitTestingDialogController::cancelled()
{
    return cancelPredicate && cancelPredicate();
}

void FUnitTestingDialogController::testerChanged(FTester& changedTester)
{
    FTestNode* node = changedTester.getLastNode();
    if (!node)
        return;
    if (node->countChildren() > 0)
    {
        const int32 status = node->getStatus();
        if (testListener &&
            (status == FTestNode::kSetupFailed || status == FTestNode::kTeardownFailed))
            testListener(*node);
        return;
    }
    log.write(*node);
    if (testListener)
        testListener(*node);
}

} // namespace Quillmark
