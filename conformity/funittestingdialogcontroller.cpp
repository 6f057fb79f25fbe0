#include "conformity/funittestingdialogcontroller.h"

#include "base/values/uintvalues.h"
#include "base/values/ustringlistvalue.h"

#include <limits>

namespace Quillmark
{

namespace
{

constexpr int32 kMaxCount = std::numeric_limits<int32>::max();

} // namespace

FUnitTestingDialogController::FUnitTestingDialogController(TestRunService& service)
    : UValueContainer(this), service(&service)
{
    addValues();
    service.open();
}

FUnitTestingDialogController::FUnitTestingDialogController(FTester& tester, std::string logPath)
    : UValueContainer(this),
      ownService(std::make_unique<TestRunService>(tester, std::move(logPath))),
      service(ownService.get())
{
    addValues();
    service->open();
}

void FUnitTestingDialogController::addValues()
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
    service->getLog().setProgress(
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
}

FUnitTestingDialogController::~FUnitTestingDialogController()
{
    close();
    service->getLog().setProgress(nullptr);
}

void FUnitTestingDialogController::close()
{
    service->close();
    selection.clear();
}

void FUnitTestingDialogController::setTestListener(std::function<void(const FTestNode&)> listener)
{
    TestRunService::Listener handlers;
    handlers.finished = std::move(listener);
    service->setListener(std::move(handlers));
}

UValue* FUnitTestingDialogController::findValue(const ConstString& path) const
{
    UValue* value = UValueContainer::findValue(path);
    if (value == numTests && !numTestsKnown && service->isOpen())
    {
        numTestsKnown = true;
        numTests->setValue(service->getTester().countTests(), false);
    }
    return value;
}

void FUnitTestingDialogController::onValueChanged(UValue* value)
{
    // Buttons report a press as 1 and fall back to 0, which is no press.
    if (!value || value->getInt() == 0 || !service->isOpen())
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
        if (FTestNode* root = service->getRoot())
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
    if (!service->isRunning())
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
    service->run({});
}

void FUnitTestingDialogController::runSelected()
{
    clearLists();
    if (selection.empty())
    {
        // Nothing to run, but a run was asked for: the log of the last one is gone all the same.
        service->getLog().remove();
        return;
    }
    service->run(selection);
}

} // namespace Quillmark
