// The scan tests over the two example plug-ins, which must pass all of them: the whole log of
// each, from what the examples declare.
#include "conformity/scan/scanlogexpectation.h"

using namespace Quillmark;
using namespace Quillmark::testing;

namespace
{

class ScanExamples : public ConformityRun
{
protected:
    std::string run(const std::string& module, const ScanLog& expected)
    {
        EXPECT_TRUE(loadModule(exampleModule(module)));
        buildTree(scanGroups(), expected.getClassName());
        return runTree({expected.categoryPath()});
    }
};

TEST_F(ScanExamples, QelGainPassesEveryScanTest)
{
    ScanLog expected("Qel Gain");
    expected
        .pass("Scan Editor Classes", {"This component has an edit controller class",
                                      "   Controller CID: 2116E90239E87D1313FD42CC3CC51AF1"})
        // The gain's default of 0 dB in -60..+12 dB is 60/72 of the range.
        .pass("Scan Parameters", {"This component exports 2 parameter(s)",
                                  "   Param 000 (ID = 0): [title=\"Gain\"] [unit=\"dB\"] [type = "
                                  "Float, default = 0.833333, unit = 1]",
                                  "   Param 001 (ID = 1): [title=\"Bypass\"] [unit=\"\"] [type = "
                                  "Toggle, default = 0.000000, unit = 0]"})
        .pass("MIDI Mapping", {"No MIDI Mapping interface supplied!"})
        .pass("Scan Busses", {"=> Audio Busses: [1 In(s) => 1 Out(s)]",
                              "     In [0]: \"Stereo In\" (Main-Default Active) ",
                              "     Out[0]: \"Stereo Out\" (Main-Default Active) ",
                              "=> Event Busses: [0 In(s) => 0 Out(s)]"})
        .pass("Scan Units",
              {"This component has 2 unit(s).",
               "   Unit000 (ID = 0): \"Root\" (parent ID = -1, programlist ID = -1)",
               "   Unit001 (ID = 1): \"Gain Stage\" (parent ID = 0, programlist ID = 1)"})
        .pass("Scan Programs", {"Programlist000 (ID = 1):  \"Gain Presets\" (4 programs).",
                                "Programlist000-Program000: \"Unity\"",
                                "Programlist000-Program001: \"Quieter (-6 dB)\"",
                                "Programlist000-Program002: \"Louder (+6 dB)\"",
                                "Programlist000-Program003: \"Whisper (-40 dB)\""})
        .pass("Check Unit Structure", {"All units have valid parent IDs."})
        .pass("Note Expression", {"No Note Expression interface supplied!"})
        .pass("Keyswitch", {"No Keyswitch interface supplied!"});
    EXPECT_EQ(run("QelGain.qel3", expected), expected.text());
}

TEST_F(ScanExamples, QelSynthPassesEveryScanTest)
{
    // Four programs, each with its instrument and the same three named keys.
    const std::pair<const char*, const char*> programs[] = {{"Soft Sine", "Synth Lead"},
                                                            {"Bright Saw", "Synth Lead"},
                                                            {"Square Pad", "Synth Pad"},
                                                            {"Pluck", "Plucked Synth"}};
    Lines programLines = {"Programlist000 (ID = 1):  \"Factory\" (4 programs)."};
    for (int index = 0; index < 4; ++index)
    {
        const std::string name = programs[index].first;
        programLines.push_back("Programlist000-Program00" + std::to_string(index) + ": \"" + name +
                               "\" (instrument = \"" + programs[index].second + "\")");
        programLines.push_back(" => \"" + name + "\": supports PitchNames");
        programLines.push_back("   => MIDI Pitch 24 => \"Sustain (key switch)\"");
        programLines.push_back("   => MIDI Pitch 25 => \"Staccato (key switch)\"");
        programLines.push_back("   => MIDI Pitch 60 => \"Middle C\"");
    }
    // Volume and tuning on each of the 16 channels of the one event input, both convertible.
    Lines expressionLines;
    Lines keyswitchLines;
    for (int channel = 0; channel < 16; ++channel)
    {
        const std::string where = "bus[0], channel[" + std::to_string(channel) + "]: 2";
        expressionLines.push_back("Note Expression count " + where);
        expressionLines.push_back("Note Expression TypeID: 0 [Volume]");
        expressionLines.push_back("Note Expression TypeID: 2 [Tuning]");
        keyswitchLines.push_back("Keyswitch support " + where);
    }

    ScanLog expected("Qel Synth");
    expected
        .pass("Scan Editor Classes", {"Processor and edit controller united."})
        // Defaults: 70 of 0..100 %, 5 of 1..2000 ms, 250 of 1..5000 ms, 0 of -2..+2 semitones.
        .pass("Scan Parameters",
              {"This component exports 7 parameter(s)",
               "   Param 000 (ID = 0): [title=\"Volume\"] [unit=\"%\"] [type = Float, default = "
               "0.700000, unit = 0]",
               "   Param 001 (ID = 1): [title=\"Waveform\"] [unit=\"\"] [type = Discrete, default "
               "= 0.000000, unit = 1]",
               "   Param 002 (ID = 2): [title=\"Attack\"] [unit=\"ms\"] [type = Float, default = "
               "0.002001, unit = 2]",
               "   Param 003 (ID = 3): [title=\"Release\"] [unit=\"ms\"] [type = Float, default = "
               "0.049810, unit = 2]",
               "   Param 004 (ID = 4): [title=\"Vibrato\"] [unit=\"%\"] [type = Float, default = "
               "0.000000, unit = 1]",
               "   Param 005 (ID = 5): [title=\"Pitch Bend\"] [unit=\"st\"] [type = Float, default "
               "= 0.500000, unit = 1]",
               "   Param 006 (ID = 6): [title=\"Program\"] [unit=\"\"] [type = Discrete, default = "
               "0.000000, unit = 0]",
               "Warning: No bypass parameter found. Is this intended ?"})
        // Mod wheel, volume and pitch bend on every channel: no remark.
        .pass("MIDI Mapping", {})
        .pass("Scan Busses", {"=> Audio Busses: [0 In(s) => 1 Out(s)]",
                              "     Out[0]: \"Stereo Out\" (Main-Default Active) ",
                              "=> Event Busses: [1 In(s) => 0 Out(s)]",
                              "     In [0]: \"Note In\" (Main-Default Active) "})
        .pass("Scan Units",
              {"This component has 3 unit(s).",
               "   Unit000 (ID = 0): \"Root\" (parent ID = -1, programlist ID = 1)",
               "   Unit001 (ID = 1): \"Oscillator\" (parent ID = 0, programlist ID = -1)",
               "   Unit002 (ID = 2): \"Envelope\" (parent ID = 0, programlist ID = -1)"})
        .pass("Scan Programs", programLines)
        .pass("Check Unit Structure", {"All units have valid parent IDs."})
        .pass("Note Expression", expressionLines)
        .pass("Keyswitch", keyswitchLines);
    EXPECT_EQ(run("QelSynth.qel3", expected), expected.text());
}

} // namespace
