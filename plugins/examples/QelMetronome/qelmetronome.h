// The Metronome example, class "Metronome": clicks on every beat of the host's transport, the
// first beat of each bar accented, either always while the transport plays or only during a
// count-in. It has no input and is its own edit controller. The host owns it by reference;
// process runs on the audio thread and reads only the process context.
#pragma once

#include "common/exampleids.h"
#include "common/processhelpers.h"
#include "common/unitedvaluesbase.h"

#include <array>
#include <atomic>

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

namespace Metronome
{
enum : ParamID
{
    kEnableId = kMetronomeEnableParamId,
    kBypassId = kMetronomeBypassParamId,
    kAccentId = kMetronomeAccentParamId,
    kPlayModeId = kMetronomePlayModeParamId,
    kVolumeId = kMetronomeVolumeParamId,
    kParameterCount = kMetronomeParameterCount,
};
} // namespace Metronome

class QelMetronome : public UnitedValuesBase<Metronome::kParameterCount>
{
public:
    /** A click lasts this long and starts at this pitch; an accented one is higher. */
    static constexpr double kClickSeconds = 0.03;
    static constexpr double kClickHz = 1000.0;
    static constexpr double kAccentHz = 1500.0;

    QelMetronome();

    // IAudioProcessor
    tresult process(ProcessData& data) override;

protected:
    tresult activeChanged(bool state) override;

private:
    /** Where in the block beats start, from the context; answers how many. */
    int32 findBeats(const ProcessContext& context, int32 numSamples, int32* offsets, bool* accents,
                    int32 capacity) const;
    bool sounds(const ProcessContext* context) const;

    BlockAutomation<Metronome::kParameterCount> automation{
        {Metronome::kEnableId, Metronome::kBypassId, Metronome::kAccentId, Metronome::kPlayModeId,
         Metronome::kVolumeId}};
    // The click that sounds: samples left, its phase and step in cycles, its level.
    int32 clickLeft = 0;
    int32 clickLength = 0;
    double clickPhase = 0.0;
    double clickStep = 0.0;
    double clickLevel = 0.0;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
