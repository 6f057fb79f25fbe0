// One parameter of a slot's plug-in as a value of its row: normalized 0..1, with the plug-in's
// step count and its own text. A change made here goes to the plug-in's controller and, queued,
// to the component at the next block; the row brings it in step with the plug-in on "Idle".
// Owned by the slot controller's values.
#pragma once

#include "base/values/ufloatvalues.h"
#include "qel3/ieditcontroller.h"

namespace Quillmark::MiniEngine
{

class QelSlot;

class SlotParameterValue : public UFloatValue
{
    QEL_DECLARE_CLASS(SlotParameterValue, UFloatValue)
public:
    /** `slot` is borrowed; the row that owns this value outlives its use of the slot. */
    SlotParameterValue(QelSlot* slot, const Qel::ParameterInfo& info);

    Qel::ParamID getParamId() const { return paramId; }
    int32 getParameterFlags() const { return parameterFlags; }
    int32 getStepCount() const override { return stepCount; }

    /** Sends the present value to the plug-in: its controller, then the component's queue. */
    void sendToPlugin();
    /** Takes the controller's value; the dependents hear of a change, the plug-in does not. */
    bool followPlugin();
    /** The slot is going: nothing further reaches it. */
    void detach() { slot = nullptr; }

    /** The plug-in's own text of the value. */
    void getText(String& text) const override;
    tresult setText(const ConstString& text) override;

private:
    QelSlot* slot;
    Qel::ParamID paramId;
    int32 parameterFlags;
    int32 stepCount;
};

} // namespace Quillmark::MiniEngine
