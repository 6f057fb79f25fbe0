// The finished conformity tree: which tests stand below every provider, under which path, with
// which arguments, in tree order.
#include "conformity/ftreebuilder.h"

#include "audiofile/speakerarrangementstring.h"
#include "conformity/automation/automationtests.h"
#include "conformity/automation/qelflushparamtest.h"
#include "conformity/process/qelprocessformattest.h"
#include "conformity/process/qelprocesstailtest.h"
#include "conformity/process/qelprocessthreadtest.h"
#include "conformity/process/qelsilenceflagstest.h"
#include "conformity/process/qelsilenceprocessingtest.h"
#include "conformity/process/qelspeakerarrangementtest.h"
#include "conformity/process/qelvariableblocksizetest.h"
#include "conformity/qelprocesstest.h"
#include "conformity/scan/qeleditorclassestest.h"
#include "conformity/scan/qelkeyswitchtest.h"
#include "conformity/scan/qelmidimappingtest.h"
#include "conformity/scan/qelnoteexpressiontest.h"
#include "conformity/scan/qelprograminfotest.h"
#include "conformity/scan/qelscanbussestest.h"
#include "conformity/scan/qelscanparameterstest.h"
#include "conformity/scan/qelunitinfotest.h"
#include "conformity/scan/qelunitstructuretest.h"
#include "conformity/state/qelbusactivationtest.h"
#include "conformity/state/qelbusconsistencytest.h"
#include "conformity/state/qelcheckaudiobusarrangementtest.h"
#include "conformity/state/qelsuspendresumetest.h"
#include "conformity/state/qelterminateinitializetest.h"
#include "conformity/state/qelvalidstatetransitiontest.h"
#include "hosting/plugprovider.h"

#include <string>

namespace Quillmark
{

namespace
{

using namespace Qel;

/** Hands a new test to its leaf; the node keeps the only reference. */
void add(FTestNode& group, QelTestBase* test)
{
    group.addLeaf(test->getName(), test);
    test->release();
}

void fillGeneral(FTestNode& group, PlugProvider& provider)
{
    add(group, new QelEditorClassesTest(&provider));
    add(group, new QelScanParametersTest(&provider));
    add(group, new QelMidiMappingTest(&provider));
    add(group, new QelTerminateInitializeTest(&provider));
    add(group, new QelSuspendResumeTest(&provider, kSample32));
}

/** The eight processing tests, in the same order for either sample size. */
void fillProcessing(FTestNode& group, PlugProvider& provider, int32 size)
{
    add(group, new QelProcessTest(&provider, size));
    add(group, new QelSilenceFlagsTest(&provider, size));
    add(group, new QelSilenceProcessingTest(&provider, size));
    add(group, new QelProcessTailTest(&provider, size));
    add(group, new QelFlushParamTest(&provider, size));
    add(group, new QelVariableBlockSizeTest(&provider, size));
    add(group, new QelProcessFormatTest(&provider, size));
    add(group, new QelProcessThreadTest(&provider, size));
}

/** "In = Out" with each arrangement on both sides, then per input arrangement every output. */
void fillSpeakerArrangements(FTestNode& group, PlugProvider& provider, int32 size)
{
    const auto& list = QelSpeakerArrangementTest::kTestedArrangements;
    FTestNode* same = group.findOrAddGroup("In = Out");
    for (SpeakerArrangement arrangement : list)
        add(*same, new QelSpeakerArrangementTest(&provider, size, arrangement, arrangement));
    for (SpeakerArrangement input : list)
    {
        FTestNode* row =
            group.findOrAddGroup(String(std::string("In = ") + getSpeakerArrangementString(input)));
        for (SpeakerArrangement output : list)
            add(*row, new QelSpeakerArrangementTest(&provider, size, input, output));
    }
}

void fillBusHandling(FTestNode& group, PlugProvider& provider)
{
    add(group, new QelScanBussesTest(&provider));
    add(group, new QelBusConsistencyTest(&provider));
    add(group, new QelBusActivationTest(&provider));
    add(group, new QelCheckAudioBusArrangementTest(&provider));
}

void fillUnitInfo(FTestNode& group, PlugProvider& provider)
{
    add(group, new QelUnitInfoTest(&provider));
    add(group, new QelProgramInfoTest(&provider));
    add(group, new QelUnitStructureTest(&provider));
}

void fillStateTransitions(FTestNode& group, PlugProvider& provider)
{
    add(group, new QelValidStateTransitionTest(&provider));
}

void fillNoteExpression(FTestNode& group, PlugProvider& provider)
{
    add(group, new QelNoteExpressionTest(&provider));
    add(group, new QelKeyswitchTest(&provider));
}

} // namespace

FTreeBuilder::FTreeBuilder(FComponentRegistry& registry)
    : FTreeBuilder(registry, defaultTestGroups())
{
}

std::vector<FTreeBuilder::TestGroup> FTreeBuilder::defaultTestGroups()
{
    using Group = FTreeBuilder::TestGroup;
    return {
        Group{"QEL3 Conformity/General", fillGeneral},
        Group{"QEL3 Conformity/Audio Processing 32bit", [](FTestNode& group, PlugProvider& provider)
              { fillProcessing(group, provider, kSample32); }},
        Group{"QEL3 Conformity/Audio Processing 32bit/Automation",
              [](FTestNode& group, PlugProvider& provider)
              { addAutomationTests(group, &provider, kSample32, false); }},
        Group{"QEL3 Conformity/Audio Processing 32bit/Speaker Arrangements",
              [](FTestNode& group, PlugProvider& provider)
              { fillSpeakerArrangements(group, provider, kSample32); }},
        Group{"QEL3 Conformity/Bus handling", fillBusHandling},
        Group{"QEL3 Conformity/Unit Info", fillUnitInfo},
        Group{"QEL3 Conformity/State Transitions", fillStateTransitions},
        Group{"QEL3 Conformity/Note Expression", fillNoteExpression},
        Group{"Special Features/Audio Processing 32bit/Automation",
              [](FTestNode& group, PlugProvider& provider)
              { addAutomationTests(group, &provider, kSample32, true); }},
        Group{"Special Features/Audio Processing 64bit",
              [](FTestNode& group, PlugProvider& provider)
              { fillProcessing(group, provider, kSample64); }},
        Group{"Special Features/Audio Processing 64bit/Automation",
              [](FTestNode& group, PlugProvider& provider)
              { addAutomationTests(group, &provider, kSample64, false); }},
        Group{"Special Features/Audio Processing 64bit/Automation",
              [](FTestNode& group, PlugProvider& provider)
              { addAutomationTests(group, &provider, kSample64, true); }},
        Group{"Special Features/Audio Processing 64bit/Speaker Arrangements",
              [](FTestNode& group, PlugProvider& provider)
              { fillSpeakerArrangements(group, provider, kSample64); }},
    };
}

} // namespace Quillmark
