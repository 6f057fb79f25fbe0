// Class identifiers, names and file names of the example and fixture modules under plugins/.
// The modules take their identifiers from here, and host tests include this header to know what
// each module offers. Identifiers are fixed: never change one once a module has shipped with it.
#pragma once

#include "qel3/funknown.h"

#include <cstddef>
#include <string_view>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

// Vendors of the factories. A class with no vendor of its own is shown with its factory's.
inline constexpr const char* kExampleVendor = "Quillmark Examples";
inline constexpr const char* kFixtureVendor = "Quillmark Fixtures";

// QelGain.qel3 (package, IPluginFactory3, kUnicode): two classes.
inline constexpr const char* kQelGainModule = "QelGain.qel3";
inline constexpr QelUid kQelGainCid{0x03613F70, 0x028A2E00, 0x2337D42C, 0xBAA5C897};
inline constexpr const char* kQelGainName = "Qel Gain";
inline constexpr QelUid kQelGainControllerCid{0x2116E902, 0x39E87D13, 0x13FD42CC, 0x3CC51AF1};
inline constexpr const char* kQelGainControllerName = "Qel Gain Controller";
// Its parameters: "Gain" in dB, and "Bypass" (two steps, the bypass flag).
inline constexpr uint32 kQelGainGainParamId = 0;
inline constexpr uint32 kQelGainBypassParamId = 1;
// On connect the controller tells the component whether it wants meter values, an integer
// attribute of 0 or 1 ...
inline constexpr const char* kQelGainMeterSetupMessage = "QelGain.MeterSetup";
inline constexpr const char* kQelGainMeterEnabledAttribute = "enabled";
// ... and while it does, the component sends the peak of its output (a float attribute, linear)
// from process, once every kQelGainMeterPeriodBlocks blocks with audio.
inline constexpr const char* kQelGainMeterMessage = "QelGain.Meter";
inline constexpr const char* kQelGainPeakAttribute = "peak";
inline constexpr int kQelGainMeterPeriodBlocks = 8;

// QelSynth.qel3 (package, IPluginFactory3, kUnicode): one instrument class that is its own
// edit controller, with one event input (16 channels) and one stereo output.
inline constexpr const char* kQelSynthModule = "QelSynth.qel3";
inline constexpr QelUid kQelSynthCid{0x808B32C0, 0xAC6247E5, 0x9C972E23, 0x7EC179A6};
inline constexpr const char* kQelSynthName = "Qel Synth";
// Its parameters; the id is also the index.
inline constexpr uint32 kQelSynthVolumeParamId = 0;    // "Volume", %
inline constexpr uint32 kQelSynthWaveformParamId = 1;  // "Waveform": Sine, Saw, Square
inline constexpr uint32 kQelSynthAttackParamId = 2;    // "Attack", ms
inline constexpr uint32 kQelSynthReleaseParamId = 3;   // "Release", ms
inline constexpr uint32 kQelSynthVibratoParamId = 4;   // "Vibrato", %: the mod wheel
inline constexpr uint32 kQelSynthPitchBendParamId = 5; // "Pitch Bend", semitones
inline constexpr uint32 kQelSynthProgramParamId = 6;   // "Program", the program change
inline constexpr int kQelSynthParameterCount = 7;
inline constexpr int kQelSynthVoices = 16;
// The two key switches: these keys choose an articulation and play no note.
inline constexpr int kQelSynthSustainKey = 24;  // C1: notes sound while held
inline constexpr int kQelSynthStaccatoKey = 25; // C#1: notes end after a short time

// QelTone.so (IPluginFactory only, flags 0): one class.
inline constexpr const char* kQelToneModule = "QelTone.so";
inline constexpr QelUid kQelToneCid{0xE27A2F72, 0x8011269B, 0x042462D8, 0xC0BE0F4A};
inline constexpr const char* kQelToneName = "Qel Tone";

// QelMetronome.so (IPluginFactory3, kUnicode): "Metronome", a click on every beat of the host's
// transport, its own edit controller, one stereo output. The host's player finds it by name.
inline constexpr const char* kMetronomeModule = "QelMetronome.so";
inline constexpr QelUid kMetronomeCid{0x80DB97DB, 0xAFEF4EE5, 0xB18B578E, 0x9F4B45B1};
inline constexpr const char* kMetronomeName = "Metronome";
// Its parameters; the id is also the index.
inline constexpr uint32 kMetronomeEnableParamId = 0;   // "Enable": Off, On
inline constexpr uint32 kMetronomeBypassParamId = 1;   // "Bypass", the bypass flag
inline constexpr uint32 kMetronomeAccentParamId = 2;   // "Accent": the first beat of a bar
inline constexpr uint32 kMetronomePlayModeParamId = 3; // "Play Mode": Always, Count In
inline constexpr uint32 kMetronomeVolumeParamId = 4;   // "Volume", %
inline constexpr int kMetronomeParameterCount = 5;

// Fixtures without any class the host could register.
inline constexpr const char* kNoEntryModule = "fx_no_entry.so";
inline constexpr const char* kNullFactoryModule = "fx_null_factory.so";
inline constexpr const char* kNoClassesModule = "fx_no_classes.so";

// fx_initdll_false.so: InitDll answers false, the factory behind it is valid.
inline constexpr const char* kInitDllFalseModule = "fx_initdll_false.so";
inline constexpr QelUid kInitDllFalseCid{0x3A97FB8D, 0x6E4F7CD8, 0x2226CA01, 0x0F14F52A};
inline constexpr const char* kInitDllFalseName = "Fixture InitDll False";

// fx_duplicate_cid.so: "Duplicate Gain" reuses kQelGainCid; "Fixture Unique" has cardinality 1.
inline constexpr const char* kDuplicateCidModule = "fx_duplicate_cid.so";
inline constexpr const char* kDuplicateGainName = "Duplicate Gain";
inline constexpr QelUid kUniqueCid{0xA4096E32, 0x9661CD1F, 0x03EF4743, 0x3B18CAFC};
inline constexpr const char* kUniqueName = "Fixture Unique";

// fx_discardable.so: kClassesDiscardable | kUnicode.
inline constexpr const char* kDiscardableModule = "fx_discardable.so";
inline constexpr QelUid kDiscardableCid{0xF7725CC0, 0xA1D21DD8, 0x5DF61F00, 0x63045100};
inline constexpr const char* kDiscardableName = "Fixture Discardable";

// fx_bad_category.so: flags 0; one accepted class and one in a category outside the list.
inline constexpr const char* kBadCategoryModule = "fx_bad_category.so";
inline constexpr QelUid kAcceptedCid{0xBF7467A1, 0x0A83C380, 0xB0F84C10, 0x88C0A75C};
inline constexpr const char* kAcceptedName = "Fixture Accepted";
inline constexpr QelUid kOddCid{0xC9008AD4, 0xD91BA7FC, 0x26D190D3, 0x3C5FDF9D};
inline constexpr const char* kOddName = "Fixture Odd";
inline constexpr const char* kOddCategory = "Mystery Class";

// fx_factory2.so: IPluginFactory2 at most, flags 0. The class vendor fills its 8-bit field
// exactly (63 characters); the version is longer, and the module hands out its first 63.
inline constexpr const char* kFactory2Module = "fx_factory2.so";
inline constexpr QelUid kFactory2Cid{0xD91E49AF, 0x0E76F908, 0xDE65DBA8, 0xD478CD48};
inline constexpr const char* kFactory2Name = "Fixture Factory2";
inline constexpr const char* kFactory2Vendor =
    "Quillmark Fixtures - a vendor text of exactly sixty-three chars";
inline constexpr const char* kFactory2Version =
    "2.0.0.1234 (fixture build) with a version text that runs far beyond its 64-byte field";
inline constexpr std::size_t kFactory2TextLimit = 63;

// fx_never_unload.so: kComponentNonDiscardable | kUnicode; its class has cardinality 0.
inline constexpr const char* kNeverUnloadModule = "fx_never_unload.so";
inline constexpr QelUid kNeverUnloadCid{0x761A444C, 0x9790AC47, 0x0649F297, 0xE10E7685};
inline constexpr const char* kNeverUnloadName = "Fixture Never Unload";

// fx_counting.so: appends one line per call ("InitDll", "ExitDll", "GetPluginFactory",
// "createInstance", "setHostContext") to the file that kFixtureLogVariable names, and exports
// kCallCountSymbol, an `int (*)(const char* callName)` with the count of those calls since load.
inline constexpr const char* kCountingModule = "fx_counting.so";
inline constexpr QelUid kCountingCid{0xDB30F362, 0xEAB808C5, 0xD2CA6338, 0x32366A79};
inline constexpr const char* kCountingName = "Fixture Counting";
inline constexpr const char* kFixtureLogVariable = "QEL_FIXTURE_LOG";
inline constexpr const char* kCallCountSymbol = "FixtureCallCount";

// fx_throwing.so: createInstance of its factory throws std::runtime_error with this text.
inline constexpr const char* kThrowingModule = "fx_throwing.so";
inline constexpr QelUid kThrowingCid{0x916E1F46, 0x7526B99E, 0xBCBFD931, 0x2018C83E};
inline constexpr const char* kThrowingName = "Fixture Throwing";
inline constexpr const char* kThrowingMessage = "fixture createInstance failure";

// fx_self_named.so: one class named "Self " followed by the module's file name without folder
// and without ".so", with the identifier selfNamedCid of the module's canonical path (realpath).
// Copies under other names are distinct modules with distinct classes.
inline constexpr const char* kSelfNamedModule = "fx_self_named.so";
inline constexpr const char* kSelfNamedPrefix = "Self ";

/** FNV-1a over 128 bits of the path's bytes. The 128-bit value, most significant byte first,
    gives the four words of the identifier. */
constexpr QelUid selfNamedCid(std::string_view canonicalPath)
{
    __extension__ typedef unsigned __int128 uint128;
    constexpr uint128 prime = (uint128{1} << 88) | 0x13B;
    uint128 hash = (uint128{0x6C62272E07BB0142} << 64) | 0x62B821756295C58D;
    for (char c : canonicalPath)
    {
        hash ^= static_cast<unsigned char>(c);
        hash *= prime;
    }
    return QelUid{static_cast<uint32>(hash >> 96), static_cast<uint32>(hash >> 64),
                  static_cast<uint32>(hash >> 32), static_cast<uint32>(hash)};
}

// fx_plain_c.so: written in plain C11 from the record and interface tables alone (IPluginFactory3,
// kUnicode). Its one class declares all of these itself; kPlainCCidText is the identifier in its
// 32-character text form, as the module's author wrote it down.
inline constexpr const char* kPlainCModule = "fx_plain_c.so";
inline constexpr QelUid kPlainCCid{0x5C0FFEE0, 0x12344567, 0x8899AABB, 0xCCDDEEFF};
inline constexpr const char* kPlainCCidText = "5C0FFEE0123445678899AABBCCDDEEFF";
inline constexpr const char* kPlainCName = "Plain C Chorus";
inline constexpr const char* kPlainCVendor = "Plain C Audio Works";
inline constexpr const char* kPlainCVersion = "2.5.1";
inline constexpr const char* kPlainCSdkVersion = "Qel 3.0.0";
inline constexpr const char* kPlainCSubCategories = "Fx|Modulation";
inline constexpr const char* kPlainCUrl = "https://plainc.example";
inline constexpr const char* kPlainCEmail = "dev@plainc.example";

// fx_recording.so (IPluginFactory3, kUnicode): classes that append one line per call the host
// makes into them to the file that kFixtureLogVariable names, as "<role> <call>" with some
// calls followed by an argument: "created", "destroyed", "initialize", "terminate",
// "getControllerClassId", "setComponentHandler host|null", "connect <peer>", "disconnect
// <peer>" (the peer's role, "host" for a point of the host's, "null"), "notify", "setActive 0|1",
// "setState", "getState", "setComponentState", "openHelp 0|1", "openAboutBox 0|1", and each
// other operation of IComponent and IEditController and "setKnobMode" by its name.
inline constexpr const char* kRecordingModule = "fx_recording.so";
// Component with a separate controller; both have connection points. Role "component".
inline constexpr QelUid kRecordingComponentCid{0xE6FEDB93, 0x42E64049, 0xB4D15F1D, 0xA167539C};
inline constexpr const char* kRecordingComponentName = "Recording Component";
inline constexpr const char* kRecordingSubCategories = "Fx|Recording";
// Its controller, role "controller". It has IEditController2: setKnobMode answers kResultOk for
// kLinearMode and kInvalidArgument otherwise, openHelp kResultFalse, openAboutBox kResultOk.
inline constexpr QelUid kRecordingControllerCid{0x61AA9A2B, 0x8D244560, 0x8D2FB346, 0x1941F898};
inline constexpr const char* kRecordingControllerName = "Recording Controller";
// Component and controller in one object, without a connection point. Role "united".
inline constexpr QelUid kRecordingUnitedCid{0x73977056, 0xA2724603, 0xA71EBE4E, 0xF6C9C302};
inline constexpr const char* kRecordingUnitedName = "Recording United";
// Names kRecordingMissingCid as its controller, a class no module offers. Role "orphan".
inline constexpr QelUid kRecordingOrphanCid{0x86254D64, 0xC0744A65, 0x85D9739F, 0x911D04F8};
inline constexpr const char* kRecordingOrphanName = "Recording Orphan";
inline constexpr QelUid kRecordingMissingCid{0x7CC95EBD, 0x7BDB4EE3, 0xB3C384E7, 0x824AED2A};
// Names kRecordingRefusingControllerCid, whose initialize answers kResultFalse. Roles "refused"
// and "refusing-controller".
inline constexpr QelUid kRecordingRefusedCid{0x3124B28D, 0x8C5D48EB, 0xB436DDE6, 0x2AA67650};
inline constexpr const char* kRecordingRefusedName = "Recording Refused";
inline constexpr QelUid kRecordingRefusingControllerCid{0x05758739, 0x9F9A4F68, 0x874D7BBE,
                                                        0x9281FDE9};
inline constexpr const char* kRecordingRefusingControllerName = "Recording Refusing Controller";
// initialize throws std::runtime_error(kRecordingThrowMessage) after logging. Role "throwing".
inline constexpr QelUid kRecordingThrowingCid{0x451808E0, 0xAE994817, 0xA9368FB7, 0x6A2DF3E3};
inline constexpr const char* kRecordingThrowingName = "Recording Throwing";
inline constexpr const char* kRecordingThrowMessage = "fixture call failure";
// getControllerClassId throws std::runtime_error(kRecordingThrowMessage). Role "throwing-id".
inline constexpr QelUid kRecordingThrowingIdCid{0x80D9BA55, 0x2B6E4E06, 0x8E704072, 0x94C87318};
inline constexpr const char* kRecordingThrowingIdName = "Recording Throwing Id";
// IPluginBase only, no IComponent. Role "plain".
inline constexpr QelUid kRecordingPlainCid{0x2D87C2D9, 0x92914912, 0xB56CD733, 0x224FE88F};
inline constexpr const char* kRecordingPlainName = "Recording Plain";

// QelGain.qel3 also offers a class of category "Test Class" whose test factory adds the test
// kQelGainTestName, which checks the gain and bypass parameters through IEditController.
inline constexpr QelUid kQelGainTestsCid{0x1A2164EE, 0xE0F34E69, 0xB4A5972B, 0xD6CB5331};
inline constexpr const char* kQelGainTestsName = "Qel Gain Tests";
inline constexpr const char* kQelGainTestName = "Gain Parameter Mapping";

// fx_info_records.so: classes that declare one of every record an information page shows.
// "Info Records" is component and controller in one, with two event inputs (4 channels and 1),
// a unit tree four levels deep, parameters of every kind, MIDI controller assignments, note
// expressions and key switches; "Info No Controller" has no controller and no audio processor;
// "Info Single Bus" has one event input of one channel and no units; "Info Empty" declares
// nothing at all.
inline constexpr const char* kInfoRecordsModule = "fx_info_records.so";
inline constexpr QelUid kInfoRecordsCid{0x1F0A7E01, 0x3C5D4B22, 0x8E1F6A33, 0x9B2C7D01};
inline constexpr const char* kInfoRecordsName = "Info Records";
inline constexpr QelUid kInfoNoControllerCid{0x1F0A7E02, 0x3C5D4B22, 0x8E1F6A33, 0x9B2C7D02};
inline constexpr const char* kInfoNoControllerName = "Info No Controller";
inline constexpr QelUid kInfoSingleBusCid{0x1F0A7E03, 0x3C5D4B22, 0x8E1F6A33, 0x9B2C7D03};
inline constexpr const char* kInfoSingleBusName = "Info Single Bus";
inline constexpr QelUid kInfoEmptyCid{0x1F0A7E04, 0x3C5D4B22, 0x8E1F6A33, 0x9B2C7D04};
inline constexpr const char* kInfoEmptyName = "Info Empty";
// "Info Records" writes each beginEditFromHost and endEditFromHost as "b<id>" or "e<id>",
// separated by blanks, into the text of its read-only parameter kInfoGestureLogParamId.
inline constexpr uint32 kInfoGestureLogParamId = 17;
// After a restart with kInfoRestartParamId set above 0.5 "Info Records" declares one parameter
// fewer: its last one goes.
inline constexpr uint32 kInfoRestartParamId = 11;
// The note expression type whose value text throws.
inline constexpr uint32 kInfoThrowingExpressionType = 100001;
inline constexpr const char* kInfoThrowingExpressionMessage = "fixture note expression text";

// fx_realtime_faults.so: effects, component and controller in one, with a stereo input and a
// stereo output and one list parameter "Mode" of five entries. Each passes its input through at
// half level and breaks one real-time rule in process: it allocates; it locks a mutex that its
// controller's worker thread holds most of the time; it writes NaN while "Mode" is at
// kRealtimeFaultEntry; it writes denormal samples; its cost jumps past the block's real-time
// budget while "Mode" is at kRealtimeFaultEntry; it flags its outputs silent while they sound.
inline constexpr const char* kRealtimeFaultsModule = "fx_realtime_faults.so";
inline constexpr QelUid kRealtimeAllocatingCid{0x6A1C0D31, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B01};
inline constexpr const char* kRealtimeAllocatingName = "Fixture RT Allocating";
inline constexpr QelUid kRealtimeLockingCid{0x6A1C0D32, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B02};
inline constexpr const char* kRealtimeLockingName = "Fixture RT Locking";
inline constexpr QelUid kRealtimeNotFiniteCid{0x6A1C0D33, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B03};
inline constexpr const char* kRealtimeNotFiniteName = "Fixture RT NaN";
inline constexpr QelUid kRealtimeDenormalCid{0x6A1C0D34, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B04};
inline constexpr const char* kRealtimeDenormalName = "Fixture RT Denormal";
inline constexpr QelUid kRealtimeSpikeCid{0x6A1C0D35, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B05};
inline constexpr const char* kRealtimeSpikeName = "Fixture RT Cost Spike";
inline constexpr QelUid kRealtimeSilenceCid{0x6A1C0D36, 0x52B84E07, 0x9D3F2A61, 0x0C7E5B06};
inline constexpr const char* kRealtimeSilenceName = "Fixture RT Silence Flags";
inline constexpr uint32 kRealtimeModeParamId = 0;
inline constexpr const char* kRealtimeFaultEntry = "Broken"; // the fourth of five entries
// The function of the allocating fixture that allocates, as a stack names it.
inline constexpr const char* kRealtimeAllocatingFunction = "AllocatingEffect::process";

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
