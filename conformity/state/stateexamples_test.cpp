// The example plug-ins pass the six state and bus tests of the tree, over the global instance
// that the tests share and over fresh instances alike.
#include "conformity/state/statetestsupport.h"

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

class StateExamplesTest : public ConformityRun
{
protected:
    /** Runs the six tests over the global and the local instances of the class; answers the
        log. */
    std::string runExample(const std::string& module, const std::string& className)
    {
        EXPECT_TRUE(loadModule(exampleModule(module)));
        buildTree(treeGroups(), className);
        return runTree({"Global Instance/" + className + "/Global Instance/QEL3 Conformity",
                        "Local Instances/" + className + "/Local Instances/QEL3 Conformity"});
    }
};

TEST_F(StateExamplesTest, QelGainPassesTheStateAndBusTests)
{
    StateReport report;
    report.busActivation.messages = {"   Bus Activation: Input Audio Bus (0) (kMain)",
                                     "   Bus Activation: Output Audio Bus (0) (kMain)"};
    report.checkArrangement.messages = {"   Check Input Audio Bus Arrangement (0)",
                                        "   Check Output Audio Bus Arrangement (0)"};
    EXPECT_EQ(runExample("QelGain.qel3", "Qel Gain"),
              expectedLog("Root/Global Instance/Qel Gain/Global Instance/", report, false) +
                  expectedLog("Root/Local Instances/Qel Gain/Local Instances/", report, false));
}

TEST_F(StateExamplesTest, QelSynthPassesTheStateAndBusTests)
{
    StateReport report;
    report.busActivation.messages = {"   Bus Activation: Output Audio Bus (0) (kMain)",
                                     "   Bus Activation: Input Event Bus (0) (kMain)"};
    report.checkArrangement.messages = {"   Check Output Audio Bus Arrangement (0)"};
    EXPECT_EQ(runExample("QelSynth.qel3", "Qel Synth"),
              expectedLog("Root/Global Instance/Qel Synth/Global Instance/", report, false) +
                  expectedLog("Root/Local Instances/Qel Synth/Local Instances/", report, false));
}

} // namespace
