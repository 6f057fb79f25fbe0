// The Qel Tone example, class "Qel Tone": a sine generator with a frequency and a level, whose
// component is its own edit controller. It has no input at all, so its sound never ends: its
// tail is infinite. The host owns it by reference; process runs on the audio thread.
#pragma once

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

namespace Tone
{
enum : ParamID
{
    kFrequencyId = 0,
    kLevelId = 1,
    kParameterCount = 2,
};
} // namespace Tone

class QelTone : public UnitedValuesBase<Tone::kParameterCount>
{
public:
    QelTone();

    // IAudioProcessor
    tresult process(ProcessData& data) override;
    /** A generator sounds for ever once it runs. */
    uint32 getTailSamples() override { return kInfiniteTail; }

protected:
    tresult activeChanged(bool state) override;

private:
    template <class Sample> void render(ProcessData& data, int32 start, int32 end);

    BlockAutomation<Tone::kParameterCount> automation{{Tone::kFrequencyId, Tone::kLevelId}};
    double phase = 0.0; // in cycles, 0 to 1
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
