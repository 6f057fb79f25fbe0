// The test window's logic beside the run: the two lists that show what the selected nodes
// reported, and the progress shown while a test with very many lines is saved.
#include "base/values/ustringlistvalue.h"
#include "conformity/conformitytestsupport.h"
#include "conformity/qeltestbase.h"
#include "hosting/plugprovider.h"

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** Reports `messages` numbered messages and, when `fail`, one error. */
template <int messages, bool fail> class ReportingTest : public QelTestBase
{
public:
    using QelTestBase::QelTestBase;
    const char8* getName() const override { return fail ? "Failing" : "Chatty"; }
    bool run(ITestResult* result) override
    {
        for (int index = 0; index < messages; ++index)
            result->addMessage(String::format("m%d", index).toUtf8().c_str());
        if (fail)
            result->addErrorMessage("broken");
        return !fail;
    }
};

void fillTwo(FTestNode& group, PlugProvider& provider)
{
    auto* first = new ReportingTest<2, false>(&provider);
    group.addLeaf(first->getName(), first);
    first->release();
    auto* second = new ReportingTest<1, true>(&provider);
    group.addLeaf(second->getName(), second);
    second->release();
}

void fillHuge(FTestNode& group, PlugProvider& provider)
{
    auto* test = new ReportingTest<10050, true>(&provider);
    group.addLeaf(test->getName(), test);
    test->release();
}

struct RecordingProgress : ISavingProgress
{
    std::vector<std::string> calls;
    void open(const char8* title, const char8* text) override
    {
        calls.push_back(std::string("open ") + title + " / " + text);
    }
    void step(size_t done, size_t total) override
    {
        calls.push_back(std::to_string(done) + "/" + std::to_string(total));
    }
    void close() override { calls.push_back("close"); }
};

class DialogController : public Quillmark::testing::ConformityRun
{
protected:
    std::vector<std::string> list(const char8* name)
    {
        auto* value = FCast<UStringListValue>(controller->findValue(name));
        std::vector<std::string> rows;
        for (int32 index = 0; value && index < value->countStrings(); ++index)
            rows.push_back(value->getString(index).toUtf8());
        return rows;
    }

    const std::string group = "Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General";
};

TEST_F(DialogController, ListsShowTheSelectionAndASingleGroupShowsItsDescendants)
{
    ASSERT_TRUE(loadModule(Quillmark::testing::exampleModule("QelGain.qel3")));
    buildTree({{"QEL3 Conformity/General", fillTwo}}, "Qel Gain");
    runTree({group});

    controller->setSelection({find(group + "/Failing"), find(group + "/Chatty")});
    EXPECT_EQ(list("messageList"), (std::vector<std::string>{"m0", "m0", "m1"}));
    EXPECT_EQ(list("errorList"), (std::vector<std::string>{"broken"}));

    controller->setSelection({find(group)});
    EXPECT_EQ(list("messageList"), (std::vector<std::string>{"m0", "m1", "m0"}));
    EXPECT_EQ(list("errorList"), (std::vector<std::string>{"broken"}));

    // A new run starts with empty lists.
    controller->setSelection({});
    controller->findValue("runAll")->setInt(1);
    EXPECT_TRUE(list("messageList").empty());
}

TEST_F(DialogController, SavingVeryManyLinesShowsProgressEveryHundredLines)
{
    ASSERT_TRUE(loadModule(Quillmark::testing::exampleModule("QelGain.qel3")));
    buildTree({{"QEL3 Conformity/General", fillHuge}}, "Qel Gain");
    RecordingProgress progress;
    controller->setSavingProgress(&progress);
    std::string log = runTree({group + "/Failing"});

    ASSERT_EQ(progress.calls.size(), 1u + 100u + 1u);
    EXPECT_EQ(progress.calls.front(), "open Saving results / Please wait...");
    EXPECT_EQ(progress.calls[1], "100/10051");
    EXPECT_EQ(progress.calls[100], "10000/10051");
    EXPECT_EQ(progress.calls.back(), "close");
    EXPECT_NE(log.find("  ->Message: m10049\r\n  ->ERROR: broken\r\n"), std::string::npos);
}

} // namespace
