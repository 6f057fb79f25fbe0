#include "engine/slotparametervalue.h"

#include "engine/qelslot.h"
#include "hosting/qeleditcontroller.h"

namespace Quillmark::MiniEngine
{

SlotParameterValue::SlotParameterValue(QelSlot* slot, const Qel::ParameterInfo& info)
    : UFloatValue(String(ConstString(info.title)), int32(info.id), 0.0, 1.0,
                  info.defaultNormalizedValue, 3),
      slot(slot), paramId(info.id), parameterFlags(info.flags),
      stepCount(info.stepCount > 0 ? info.stepCount : 0)
{
    if (stepCount > 0)
        setStep(1.0 / stepCount);
    followPlugin();
}

void SlotParameterValue::sendToPlugin()
{
    if (!slot)
        return;
    if (Qel::QelEditController* editPart = slot->getEditPart())
        editPart->getController()->setParamNormalized(paramId, getValue());
    // Through the slot's handler, as the plug-in's own editor would.
    if (QelSlot::Handler* handler = slot->getHandler())
        handler->performEdit(paramId, getValue());
}

bool SlotParameterValue::followPlugin()
{
    if (!slot)
        return false;
    Qel::QelEditController* editPart = slot->getEditPart();
    if (!editPart)
        return false;
    return setValue(editPart->getController()->getParamNormalized(paramId), true);
}

void SlotParameterValue::getText(String& text) const
{
    Qel::QelEditController* editPart = slot ? slot->getEditPart() : nullptr;
    Qel::String128 plugText = {};
    if (editPart && editPart->getController()->getParamStringByValue(paramId, getValue(),
                                                                     plugText) == kResultOk)
    {
        plugText[127] = 0;
        text = String(ConstString(plugText));
        return;
    }
    UFloatValue::getText(text);
}

tresult SlotParameterValue::setText(const ConstString& text)
{
    Qel::QelEditController* editPart = slot ? slot->getEditPart() : nullptr;
    if (!editPart)
        return UFloatValue::setText(text);
    Qel::String128 plugText = {};
    const std::u16string wide = text.toUtf16();
    for (size_t i = 0; i < 127 && i < wide.size(); ++i)
        plugText[i] = wide[i];
    Qel::ParamValue normalized = 0.0;
    if (editPart->getController()->getParamValueByString(paramId, plugText, normalized) !=
        kResultOk)
        return kResultFalse;
    setValue(normalized);
    return kResultOk;
}

} // namespace Quillmark::MiniEngine
