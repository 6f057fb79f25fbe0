// The Qel Tone example, class "Qel Tone": a sine generator with a frequency and a level, whose
// component is its own edit controller. It has no input at all, so its sound never ends: its
// tail is infinite. The host owns it by reference; process runs on the audio thread.
#pragma once

#include "common/controllerbase.h"
#include "common/processhelpers.h"

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

class QelTone : public UnitedBase<>
{
public:
    QelTone();

    // IComponent
    tresult getControllerClassId(TUID classId) override { return kResultFalse; }
    tresult setState(IBStream* state) override;
    tresult getState(IBStream* state) override;

    // IAudioProcessor
    tresult process(ProcessData& data) override;
    /** A generator sounds for ever once it runs. */
    uint32 getTailSamples() override { return kInfiniteTail; }

    // IEditController
    tresult setComponentState(IBStream* state) override;

protected:
    tresult activeChanged(bool state) override;

private:
    template <class Sample> void render(ProcessData& data, int32 start, int32 end);
    ParamValue value(ParamID id) const { return values[id].load(std::memory_order_relaxed); }

    std::array<std::atomic<ParamValue>, Tone::kParameterCount> values;
    BlockAutomation<Tone::kParameterCount> automation{{Tone::kFrequencyId, Tone::kLevelId}};
    double phase = 0.0; // in cycles, 0 to 1
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
