// The harness that the tests of each test group stand on: a tree from chosen groups over one
// class of a real module, run whole or by path, and the log it leaves.
#include "conformity/conformitytestsupport.h"
#include "conformity/qeltestbase.h"
#include "hosting/plugprovider.h"

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** Reports the class's parameter count; fails for a class without a controller. */
class CountingTest : public QelTestBase
{
public:
    using QelTestBase::QelTestBase;
    const char8* getName() const override { return "Count"; }
    bool run(ITestResult* result) override
    {
        if (!result || !plug)
            return false;
        addBanner(result);
        if (!controller)
        {
            result->addErrorMessage("no controller");
            return false;
        }
        result->addMessage(String::format("%d", controller->getParameterCount()).toUtf8().c_str());
        return true;
    }
};

void fillCount(FTestNode& group, PlugProvider& provider)
{
    auto* test = new CountingTest(&provider);
    group.addLeaf(test->getName(), test);
    test->release();
}

class HarnessTest : public Quillmark::testing::ConformityRun
{
};

TEST_F(HarnessTest, RunsTheChosenGroupOverOneClassAndAnswersTheLog)
{
    ASSERT_TRUE(loadModule(Quillmark::testing::exampleModule("QelGain.qel3")));
    buildTree({{"QEL3 Conformity/General", fillCount}}, "Qel Gain");
    std::string log =
        runTree({"Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General/Count"});
    const std::string path =
        "Root/Global Instance/Qel Gain/Global Instance/QEL3 Conformity/General/Count";
    EXPECT_EQ(
        log,
        "Test: Passed: " + path +
            "\r\n  ->Message: ===Count ====================================\r\n  ->Message: 2\r\n");
    EXPECT_EQ(
        find("Local Instances/Qel Gain/Local Instances/QEL3 Conformity/General/Count")->getStatus(),
        FTestNode::kReset);
}

} // namespace
