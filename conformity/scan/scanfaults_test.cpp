// The scan tests over the classes of fx_scan_faults.so, each of which gets one thing wrong (or
// odd): the whole log of the nine tests per class, written from what each test must report.
#include "conformity/scan/scanlogexpectation.h"

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

// What every united fixture class reports unless its own fault changes it: a stereo effect with
// a level and a bypass parameter, one root unit and nothing else.
const std::string kUnited = "Processor and edit controller united.";
const std::string kLevel = "   Param 000 (ID = 10): [title=\"Level\"] [unit=\"dB\"] [type = Float, "
                           "default = 0.500000, unit = 0]";
const std::string kBypass =
    "   Param 001 (ID = 11): [title=\"Bypass\"] [unit=\"\"] [type = Toggle, "
    "default = 0.000000, unit = 0]";
const std::string kRootUnit = "   Unit000 (ID = 0): \"Root\" (parent ID = -1, programlist ID = -1)";
const std::string kNoPrograms = "This component does not export any programs.";
const std::string kValidParents = "All units have valid parent IDs.";
const std::string kMainIn = "     In [0]: \"Main In\" (Main-Default Active) ";
const std::string kMainOut = "     Out[0]: \"Main Out\" (Main-Default Active) ";
const std::string kNotesIn = "     In [0]: \"Notes In\" (Main-Default Active) ";
const std::string kNoController = "No Edit Controller supplied!";

ScanLog plainLog(const std::string& className)
{
    ScanLog log(className);
    log.pass("Scan Editor Classes", {kUnited})
        .pass("Scan Parameters", {"This component exports 2 parameter(s)", kLevel, kBypass})
        .pass("MIDI Mapping", {"No MIDI Mapping interface supplied!"})
        .pass("Scan Busses", {"=> Audio Busses: [1 In(s) => 1 Out(s)]", kMainIn, kMainOut,
                              "=> Event Busses: [0 In(s) => 0 Out(s)]"})
        .pass("Scan Units", {"This component has 1 unit(s).", kRootUnit})
        .pass("Scan Programs", {kNoPrograms})
        .pass("Check Unit Structure", {kValidParents})
        .pass("Note Expression", {"No Note Expression interface supplied!"})
        .pass("Keyswitch", {"No Keyswitch interface supplied!"});
    return log;
}

/** Twenty or more "Knob" parameters with ids from 100, no units and no bypass. */
Lines knobLines(int count)
{
    Lines lines = {"This component exports " + std::to_string(count) + " parameter(s)"};
    if (count > 20)
        lines.push_back(
            "Note: it could be better to use UnitInfo in order to sort Parameters (>20).");
    for (int index = 0; index < count; ++index)
    {
        const std::string number = (index < 10 ? "00" : "0") + std::to_string(index);
        lines.push_back("   Param " + number + " (ID = " + std::to_string(100 + index) +
                        "): [title=\"Knob\"] [unit=\"\"] [type = Float, default = 0.250000, "
                        "unit = 0]");
    }
    lines.push_back("Warning: No bypass parameter found. Is this intended ?");
    return lines;
}

class ScanFaults : public ConformityRun
{
protected:
    /** Runs the nine tests over the class of `expected` and compares what the run wrote. */
    void expectLog(const ScanLog& expected)
    {
        ASSERT_TRUE(loadModule(fixture("fx_scan_faults.so")));
        buildTree(scanGroups(), expected.getClassName());
        EXPECT_EQ(runTree({expected.categoryPath()}), expected.text());
    }
};

TEST_F(ScanFaults, RepeatedParameterIdFailsAtItsSecondUseNamingTheFirst)
{
    ScanLog log = plainLog("Scan Duplicate Id");
    log.fail("Scan Parameters", {"This component exports 3 parameter(s)", kLevel, kBypass},
             {"Param 002: ID already used (by 000)!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, NegativeParameterIdFails)
{
    ScanLog log = plainLog("Scan Negative Id");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)", kLevel},
             {"Param 001: Invalid Id!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, SecondBypassParameterFails)
{
    ScanLog log = plainLog("Scan Two Bypass");
    log.fail("Scan Parameters", {"This component exports 3 parameter(s)", kLevel, kBypass},
             {"There can only be one bypass (kIsBypass)."});
    expectLog(log);
}

TEST_F(ScanFaults, TwentyParametersWithoutUnitsGetNoNote)
{
    ScanLog log = plainLog("Scan Twenty Parameters");
    log.pass("Scan Parameters", knobLines(20))
        .pass("Scan Units", {"This component has no units."})
        .pass("Check Unit Structure", {"This component does not support IUnitInfo!"});
    expectLog(log);
}

TEST_F(ScanFaults, TwentyOneParametersWithoutUnitsGetTheNote)
{
    ScanLog log = plainLog("Scan Twenty-One Parameters");
    log.pass("Scan Parameters", knobLines(21))
        .pass("Scan Units", {"This component has no units."})
        .pass("Check Unit Structure", {"This component does not support IUnitInfo!"});
    expectLog(log);
}

TEST_F(ScanFaults, DefaultBelowZeroFails)
{
    ScanLog log = plainLog("Scan Default Below Zero");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)"},
             {"Param 000: defaultValue is not normalized!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, DefaultOfMinusOnePasses)
{
    ScanLog log = plainLog("Scan Default Minus One");
    log.pass("Scan Parameters", {"This component exports 2 parameter(s)",
                                 "   Param 000 (ID = 10): [title=\"Level\"] [unit=\"dB\"] [type = "
                                 "Float, default = -1.000000, unit = 0]",
                                 kBypass});
    expectLog(log);
}

TEST_F(ScanFaults, ParameterInAUnitThatDoesNotExistFails)
{
    ScanLog log = plainLog("Scan Unknown Unit");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)"},
             {"Parameter has a UnitID, which isn't defined in IUnitInfo."});
    expectLog(log);
}

TEST_F(ScanFaults, AutomatableReadOnlyParameterFails)
{
    ScanLog log = plainLog("Scan Read Only Automatable");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)"},
             {"Parameter must not be kCanAutomate and kReadOnly at the same time."});
    expectLog(log);
}

TEST_F(ScanFaults, ParameterOutsideTheRootNeedsUnitInfo)
{
    ScanLog log = plainLog("Scan Unit Without Unit Info");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)"},
             {"IUnitInfo interface is missing, but ParameterInfo::unitID is not 000 "
              "(kRootUnitId)."})
        .pass("Scan Units", {"This component has no units."})
        .pass("Check Unit Structure", {"This component does not support IUnitInfo!"});
    expectLog(log);
}

TEST_F(ScanFaults, UnitInfoWithoutUnitsIsReportedAndPasses)
{
    // Parameters in unit 0 pass, though no unit 0 is listed.
    ScanLog log = plainLog("Scan No Units");
    log.pass("Scan Units", {"No units found, while controller implements IUnitInfo !!!"})
        .pass("Check Unit Structure",
              {"No units found, while controller implements IUnitInfo !!!", kValidParents});
    expectLog(log);
}

TEST_F(ScanFaults, RootWithAnIdOtherThanZeroFailsTheStructure)
{
    ScanLog log = plainLog("Scan Root Not Zero");
    log.pass("Scan Units", {"This component has 1 unit(s).",
                            "   Unit000 (ID = 4): \"Top\" (parent ID = -1, programlist ID = -1)"})
        .fail("Check Unit Structure", {},
              {"Unit 004: Should be the Root Unit => id should be 000!!"});
    expectLog(log);
}

TEST_F(ScanFaults, SecondRootFailsTheStructureButNotTheScan)
{
    ScanLog log = plainLog("Scan Two Roots");
    log.pass("Scan Units",
             {"This component has 2 unit(s).", kRootUnit,
              "   Unit001 (ID = 1): \"Second Root\" (parent ID = -1, programlist ID = -1)"})
        .fail("Check Unit Structure", {},
              {"Unit 001: Has no parent, but there is a root already."});
    expectLog(log);
}

TEST_F(ScanFaults, ParentThatDoesNotExistFailsTheStructure)
{
    ScanLog log = plainLog("Scan Missing Parent");
    log.pass("Scan Units", {"This component has 2 unit(s).", kRootUnit,
                            "   Unit001 (ID = 1): \"Orphan\" (parent ID = 5, programlist ID = -1)"})
        .fail("Check Unit Structure", {}, {"Unit 001: Parent does not exist!!"});
    expectLog(log);
}

TEST_F(ScanFaults, UnitWithoutInformationIsSkippedByTheScanButFailsTheOthers)
{
    // The second of three units gives no information: the parameter walk over all units fails,
    // the scan passes it over without a word, the structure check fails naming the id that the
    // unfilled record holds.
    ScanLog log = plainLog("Scan Unit Info Failure");
    log.fail("Scan Parameters", {"This component exports 2 parameter(s)"},
             {"IUnitInfo::getUnitInfo (..) failed."})
        .pass("Scan Units",
              {"This component has 3 unit(s).", kRootUnit,
               "   Unit002 (ID = 2): \"Filter\" (parent ID = 0, programlist ID = -1)"})
        .fail("Check Unit Structure", {}, {"Unit 000: No unit info."});
    expectLog(log);
}

TEST_F(ScanFaults, SelectionThatIsNotRememberedIsReportedForTheIndex)
{
    ScanLog log = plainLog("Scan Stuck Selection");
    log.pass("Scan Units",
             {"This component has 2 unit(s).", kRootUnit,
              "   Unit001 (ID = 1): \"Filter\" (parent ID = 0, programlist ID = -1)",
              "The host has selected Unit ID = 1 but getSelectedUnit returns ID = 0!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, RefusedSelectionIsNoFailureAndNotReadBack)
{
    // getSelectedUnit of this class answers 42: reading it after a refusal would show.
    ScanLog log = plainLog("Scan Refused Selection");
    log.pass("Scan Units",
             {"This component has 2 unit(s).", kRootUnit,
              "   Unit001 (ID = 1): \"Filter\" (parent ID = 0, programlist ID = -1)"});
    expectLog(log);
}

TEST_F(ScanFaults, RepeatedUnitIdFailsTheScan)
{
    ScanLog log = plainLog("Scan Duplicate Unit Id");
    log.fail("Scan Units",
             {"This component has 3 unit(s).", kRootUnit,
              "   Unit001 (ID = 1): \"Filter\" (parent ID = 0, programlist ID = -1)"},
             {"Unit 002: ID already used!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, ProgramWithoutNameFails)
{
    ScanLog log = plainLog("Scan Empty Program Name");
    log.pass("Scan Units", {"This component has 1 unit(s).",
                            "   Unit000 (ID = 0): \"Root\" (parent ID = -1, programlist ID = 1)"})
        .fail("Scan Programs",
              {"Programlist000 (ID = 1):  \"Presets\" (2 programs).",
               "Programlist000-Program000: \"First\""},
              {"Programlist000-Program001: has no name!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, ListWithoutProgramsIsReportedAndPasses)
{
    ScanLog log = plainLog("Scan Empty Program List");
    log.pass("Scan Units", {"This component has 1 unit(s).",
                            "   Unit000 (ID = 0): \"Root\" (parent ID = -1, programlist ID = 1)"})
        .pass("Scan Programs",
              {"Programlist000 (ID = 1): \"Empty\" No programs!!! (programCount is null!)",
               "Programlist000 (ID = 1):  \"Empty\" (0 programs)."});
    expectLog(log);
}

TEST_F(ScanFaults, MappingThatAnswersEverythingIsReportedPerChannelAndOnceBeyondTheBusses)
{
    ScanLog log = plainLog("Scan Mapping Everything");
    log.pass("MIDI Mapping",
             {"MIDI Mapping supplied for an wrong ControllerNumbers value (bigger than the max)",
              "MIDI Mapping supplied for an wrong ControllerNumbers value (bigger than the max)",
              "MIDI Mapping supplied for an unknown event bus"})
        .pass("Scan Busses", {"=> Audio Busses: [1 In(s) => 1 Out(s)]", kMainIn, kMainOut,
                              "=> Event Busses: [1 In(s) => 0 Out(s)]", kNotesIn});
    expectLog(log);
}

TEST_F(ScanFaults, MappingToAParameterThatDoesNotExistFails)
{
    // Channel 0 maps nothing, channel 1 maps controller 7 to id 999.
    ScanLog log = plainLog("Scan Mapping Unknown Parameter");
    log.fail("MIDI Mapping",
             {"MIDI Mapping getMidiControllerAssignment (0, 0) : no assignment available!"},
             {"Unknown ParamID [999] returned for MIDI Mapping"})
        .pass("Scan Busses", {"=> Audio Busses: [1 In(s) => 1 Out(s)]", kMainIn, kMainOut,
                              "=> Event Busses: [1 In(s) => 0 Out(s)]", kNotesIn});
    expectLog(log);
}

TEST_F(ScanFaults, EventBussesAloneAreEnough)
{
    ScanLog log = plainLog("Scan Event Busses Only");
    log.pass("Scan Busses",
             {"=> Audio Busses: [0 In(s) => 0 Out(s)]", "=> Event Busses: [1 In(s) => 1 Out(s)]",
              kNotesIn, "     Out[0]: \"Notes Out\" (Aux-Default Active) "});
    expectLog(log);
}

TEST_F(ScanFaults, NoBussesAtAllFailAfterTheAudioLine)
{
    ScanLog log = plainLog("Scan No Busses");
    log.fail("Scan Busses", {"=> Audio Busses: [0 In(s) => 0 Out(s)]"},
             {"This component does not export any busses!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, BusWithoutNameFailsByItsIndexInItsDirection)
{
    ScanLog log = plainLog("Scan Nameless Bus");
    log.fail("Scan Busses", {"=> Audio Busses: [1 In(s) => 1 Out(s)]", kMainIn},
             {"Bus 0 has no name!!!"});
    expectLog(log);
}

const Lines kOneNoteChannelBusses = {"=> Audio Busses: [0 In(s) => 1 Out(s)]", kMainOut,
                                     "=> Event Busses: [1 In(s) => 0 Out(s)]", kNotesIn};

TEST_F(ScanFaults, NoteExpressionWithoutInformationFailsAndConversionsAreOnlyReported)
{
    ScanLog log = plainLog("Scan Broken Note Expression");
    log.pass("Scan Busses", kOneNoteChannelBusses)
        .fail("Note Expression",
              {"Note Expression count bus[0], channel[0]: 2", "Note Expression TypeID: 0 [Volume]",
               "Note Expression getNoteExpressionStringByValue (0, 0, 0) return kResultFalse!",
               "Note Expression getNoteExpressionValueByString (0, 0, 0) return kResultFalse!"},
              {"Note Expression getNoteExpressionInfo (0, 0, 1) return kResultFalse!"});
    expectLog(log);
}

TEST_F(ScanFaults, KeyswitchWithoutInformationFails)
{
    ScanLog log = plainLog("Scan Broken Keyswitch");
    log.pass("Scan Busses", kOneNoteChannelBusses)
        .fail("Keyswitch", {"Keyswitch support bus[0], channel[0]: 3"},
              {"Keyswitch getKeyswitchInfo (0, 0, 1) return kResultFalse!"});
    expectLog(log);
}

/** A component alone, whose controller the host cannot find: every test that needs one passes
    with a remark. */
ScanLog componentOnlyLog(const std::string& className)
{
    ScanLog log = plainLog(className);
    log.pass("Scan Parameters", {kNoController})
        .pass("MIDI Mapping", {kNoController})
        .pass("Scan Units", {"This component has no units."})
        .pass("Check Unit Structure", {"This component does not support IUnitInfo!"})
        .pass("Note Expression", {kNoController})
        .pass("Keyswitch", {kNoController});
    return log;
}

TEST_F(ScanFaults, ComponentWithoutControllerClassPassesEveryTest)
{
    ScanLog log = componentOnlyLog("Scan No Controller Id");
    log.pass("Scan Editor Classes",
             {"This component does not export an edit controller class ID!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, AllZeroControllerClassFails)
{
    ScanLog log = componentOnlyLog("Scan Zero Controller Id");
    log.fail("Scan Editor Classes", {}, {"The edit controller class has no valid UID!!!"});
    expectLog(log);
}

TEST_F(ScanFaults, LocalInstancesReportTheSameAsTheGlobalOne)
{
    // Under "Local Instances" every test gets a fresh instance; a fault must show the same way.
    ASSERT_TRUE(loadModule(fixture("fx_scan_faults.so")));
    buildTree(scanGroups(), "Scan Two Bypass");
    const std::string local =
        runTree({"Local Instances/Scan Two Bypass/Local Instances/QEL3 Conformity"});
    ScanLog expected = plainLog("Scan Two Bypass");
    expected.fail("Scan Parameters", {"This component exports 3 parameter(s)", kLevel, kBypass},
                  {"There can only be one bypass (kIsBypass)."});
    std::string global = expected.text();
    for (std::string::size_type at = 0;
         (at = global.find("/Global Instance", at)) != std::string::npos;)
        global.replace(at, 16, "/Local Instances");
    EXPECT_EQ(local, global);
}

} // namespace
