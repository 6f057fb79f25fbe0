// The constant description of Qel Synth: parameters, units, programs with their sounds and key
// names, key switches and note expressions. Everything here is data of the module; the synth
// object reads it.
#pragma once

#include "common/exampleids.h"
#include "common/parameters.h"
#include "common/units.h"
#include "qel3/ikeyswitch.h"
#include "qel3/inoteexpression.h"

#include <array>
#include <iterator>
#include <utility>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{
namespace Synth
{

enum ParamIds : ParamID
{
    kVolumeId = kQelSynthVolumeParamId,
    kWaveformId = kQelSynthWaveformParamId,
    kAttackId = kQelSynthAttackParamId,
    kReleaseId = kQelSynthReleaseParamId,
    kVibratoId = kQelSynthVibratoParamId,
    kPitchBendId = kQelSynthPitchBendParamId,
    kProgramId = kQelSynthProgramParamId,
};
inline constexpr int32 kParameterCount = kQelSynthParameterCount;

enum UnitIds : UnitID
{
    kRootUnit = kRootUnitId,
    kOscillatorUnit = 1,
    kEnvelopeUnit = 2,
};

inline constexpr ProgramListID kFactoryListId = 1;

enum class Waveform : int32
{
    kSine = 0,
    kSaw = 1,
    kSquare = 2,
};

inline constexpr const char16* kWaveformNames[] = {u"Sine", u"Saw", u"Square"};
inline constexpr const char16* kProgramNames[] = {u"Soft Sine", u"Bright Saw", u"Square Pad",
                                                  u"Pluck"};

inline constexpr ParameterSpec kParameters[] = {
    {.id = kVolumeId,
     .title = u"Volume",
     .shortTitle = u"Vol",
     .units = u"%",
     .maxPlain = 100.0,
     .defaultPlain = 70.0,
     .precision = 1},
    {.id = kWaveformId,
     .title = u"Waveform",
     .shortTitle = u"Wave",
     .maxPlain = 2.0,
     .stepCount = 2,
     .flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsList,
     .unitId = kOscillatorUnit,
     .entries = kWaveformNames},
    {.id = kAttackId,
     .title = u"Attack",
     .shortTitle = u"Atk",
     .units = u"ms",
     .minPlain = 1.0,
     .maxPlain = 2000.0,
     .defaultPlain = 5.0,
     .unitId = kEnvelopeUnit,
     .precision = 0},
    {.id = kReleaseId,
     .title = u"Release",
     .shortTitle = u"Rel",
     .units = u"ms",
     .minPlain = 1.0,
     .maxPlain = 5000.0,
     .defaultPlain = 250.0,
     .unitId = kEnvelopeUnit,
     .precision = 0},
    {.id = kVibratoId,
     .title = u"Vibrato",
     .shortTitle = u"Vib",
     .units = u"%",
     .maxPlain = 100.0,
     .unitId = kOscillatorUnit,
     .precision = 0},
    {.id = kPitchBendId,
     .title = u"Pitch Bend",
     .shortTitle = u"Bend",
     .units = u"st",
     .minPlain = -2.0,
     .maxPlain = 2.0,
     .unitId = kOscillatorUnit,
     .precision = 2},
    // Choosing a program sets the sound parameters; it is no sound parameter itself, so it is
    // not automated.
    {.id = kProgramId,
     .title = u"Program",
     .shortTitle = u"Prog",
     .maxPlain = 3.0,
     .stepCount = 3,
     .flags = ParameterInfo::kIsProgramChange | ParameterInfo::kIsList,
     .entries = kProgramNames},
};
static_assert(std::size(kParameters) == kParameterCount);

/** The table index of each parameter is its id, so the processor keeps its values in an array
    indexed by id. */
constexpr bool idsAreIndices()
{
    for (std::size_t i = 0; i < std::size(kParameters); ++i)
        if (kParameters[i].id != i)
            return false;
    return true;
}
static_assert(idsAreIndices());

inline constexpr UnitSpec kUnits[] = {
    {.id = kRootUnit,
     .parentId = kNoParentUnitId,
     .name = u"Root",
     .programListId = kFactoryListId},
    {.id = kOscillatorUnit, .parentId = kRootUnit, .name = u"Oscillator"},
    {.id = kEnvelopeUnit, .parentId = kRootUnit, .name = u"Envelope"},
};

inline constexpr ProgramSpec kPrograms[] = {
    {.name = kProgramNames[0], .instrument = u"Synth Lead"},
    {.name = kProgramNames[1], .instrument = u"Synth Lead"},
    {.name = kProgramNames[2], .instrument = u"Synth Pad"},
    {.name = kProgramNames[3], .instrument = u"Plucked Synth"},
};
static_assert(std::size(kPrograms) == std::size(kProgramNames));

/** What a program sets, in plain values. */
struct ProgramSound
{
    double volume;
    Waveform waveform;
    double attackMs;
    double releaseMs;
};

inline constexpr ProgramSound kProgramSounds[] = {
    {70.0, Waveform::kSine, 10.0, 300.0},
    {60.0, Waveform::kSaw, 3.0, 150.0},
    {55.0, Waveform::kSquare, 600.0, 1500.0},
    {75.0, Waveform::kSaw, 1.0, 60.0},
};
static_assert(std::size(kProgramSounds) == std::size(kPrograms));

/** The normalized values a program gives its sound parameters, as (id, value) pairs. */
inline std::array<std::pair<ParamID, ParamValue>, 4> programValues(int32 program)
{
    const ProgramSound& sound = kProgramSounds[program];
    return {
        {{kVolumeId, kParameters[kVolumeId].toNormalized(sound.volume)},
         {kWaveformId, kParameters[kWaveformId].toNormalized(static_cast<double>(sound.waveform))},
         {kAttackId, kParameters[kAttackId].toNormalized(sound.attackMs)},
         {kReleaseId, kParameters[kReleaseId].toNormalized(sound.releaseMs)}}};
}

/** The keys with a name of their own: the key switches, and middle C for orientation. The
    same in every program. */
inline const char16* pitchName(int32 programIndex, int16 pitch)
{
    switch (pitch)
    {
    case kQelSynthSustainKey:
        return u"Sustain (key switch)";
    case kQelSynthStaccatoKey:
        return u"Staccato (key switch)";
    case 60:
        return u"Middle C";
    default:
        return nullptr;
    }
}

inline constexpr ProgramListSpec kProgramLists[] = {
    {.id = kFactoryListId, .name = u"Factory", .programs = kPrograms, .pitchNames = pitchName},
};

// Events come in on one bus with 16 channels; key switches, note expressions and MIDI
// controllers are offered on each of them.
inline constexpr int32 kEventChannels = 16;

enum class Articulation : int32
{
    kSustain = 0,  // a note sounds while its key is held
    kStaccato = 1, // a note ends by itself after kStaccatoSeconds
};
inline constexpr double kStaccatoSeconds = 0.08;

struct KeyswitchSpec
{
    const char16* title;
    const char16* shortTitle;
    int32 key;
};

inline constexpr KeyswitchSpec kKeyswitches[] = {
    {u"Sustain", u"Sus", kQelSynthSustainKey},
    {u"Staccato", u"Stac", kQelSynthStaccatoKey},
};

// Note expressions. Volume: 0..1 maps to a factor of 0..2, so the default 0.5 leaves the note
// as it is. Tuning: 0..1 maps to -12..+12 semitones around the default 0.5.
inline constexpr NoteExpressionValue kNeutralExpression = 0.5;
inline constexpr double kTuningRangeSemitones = 12.0;

inline constexpr NoteExpressionTypeID kNoteExpressionTypes[] = {kVolumeTypeID, kTuningTypeID};

} // namespace Synth
} // namespace Examples
} // namespace Qel
} // namespace Quillmark
