// What both halves of Qel Gain must agree on: the parameter table, the units and presets, the
// format of the component's state, and the mapping from the gain parameter to a factor. The
// processor and the controller include it; neither owns it.
#pragma once

#include "common/exampleids.h"
#include "common/parameters.h"
#include "common/statestream.h"
#include "common/units.h"

#include <cmath>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{
namespace Gain
{

enum ParamIds : ParamID
{
    kGainId = kQelGainGainParamId,
    kBypassId = kQelGainBypassParamId,
};

enum UnitIds : UnitID
{
    kRootUnit = kRootUnitId,
    kStageUnit = 1,
};

inline constexpr ProgramListID kPresetListId = 1;

inline constexpr double kMinGainDb = -60.0;
inline constexpr double kMaxGainDb = 12.0;

inline constexpr const char16* kOffOn[] = {u"Off", u"On"};

inline constexpr ParameterSpec kParameters[] = {
    {
        .id = kGainId,
        .title = u"Gain",
        .shortTitle = u"Gain",
        .units = u"dB",
        .minPlain = kMinGainDb,
        .maxPlain = kMaxGainDb,
        .defaultPlain = 0.0,
        .flags = ParameterInfo::kCanAutomate,
        .unitId = kStageUnit,
        .precision = 2,
    },
    {
        .id = kBypassId,
        .title = u"Bypass",
        .shortTitle = u"Byp",
        .maxPlain = 1.0,
        .stepCount = 1,
        .flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsBypass,
        .entries = kOffOn,
    },
};

inline constexpr UnitSpec kUnits[] = {
    {.id = kRootUnit, .parentId = kNoParentUnitId, .name = u"Root"},
    {.id = kStageUnit,
     .parentId = kRootUnit,
     .name = u"Gain Stage",
     .programListId = kPresetListId},
};

// Names of gain settings a host can show for the stage. Choosing one is left to the host: this
// example has no program-change parameter (Qel Synth shows one).
inline constexpr ProgramSpec kPresets[] = {
    {.name = u"Unity"},
    {.name = u"Quieter (-6 dB)"},
    {.name = u"Louder (+6 dB)"},
    {.name = u"Whisper (-40 dB)"},
};

inline constexpr ProgramListSpec kProgramLists[] = {
    {.id = kPresetListId, .name = u"Gain Presets", .programs = kPresets},
};

/** The linear factor of a normalized gain value. */
inline double gainFactor(ParamValue normalized)
{
    return std::pow(10.0, kParameters[0].toPlain(normalized) / 20.0);
}

/** The component's state: what it needs to sound the same after a reload. */
struct ProcessorState
{
    ParamValue gain = kParameters[0].defaultNormalized();
    bool bypass = false;
};

// The stream: tag "QGai", version, the gain in dB (so a later range change keeps the sound),
// bypass as 0 or 1. All little-endian.
inline constexpr uint32 kStateTag = stateTag("QGai");
inline constexpr int32 kStateVersion = 1;

inline bool writeProcessorState(IBStream* stream, const ProcessorState& state)
{
    StateWriter writer(stream);
    writer.writeUInt32(kStateTag);
    writer.writeInt32(kStateVersion);
    writer.writeDouble(kParameters[0].toPlain(state.gain));
    writer.writeInt32(state.bypass ? 1 : 0);
    return writer.ok();
}

/** Fills `state` only from a complete stream of a known version with sane values. */
inline bool readProcessorState(IBStream* stream, ProcessorState& state)
{
    StateReader reader(stream);
    const uint32 tag = reader.readUInt32();
    const int32 version = reader.readInt32();
    const double gainDb = reader.readDouble();
    const int32 bypass = reader.readInt32();
    if (!reader.ok() || tag != kStateTag || version != kStateVersion ||
        !(gainDb >= kMinGainDb && gainDb <= kMaxGainDb) || (bypass != 0 && bypass != 1))
        return false;
    state.gain = kParameters[0].toNormalized(gainDb);
    state.bypass = bypass == 1;
    return true;
}

} // namespace Gain
} // namespace Examples
} // namespace Qel
} // namespace Quillmark
