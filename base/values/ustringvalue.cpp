#include "base/values/ustringvalue.h"

namespace Quillmark
{

UStringValue::UStringValue(const ConstString& name, int32 tag, const ConstString& text)
    : UValue(name, tag), value(text)
{
}

bool UStringValue::setValue(const ConstString& text, bool notify)
{
    if (value == text)
        return false;
    value = String(text);
    valueChanged(notify);
    return true;
}

tresult UStringValue::setText(const ConstString& text)
{
    setValue(text);
    return kResultOk;
}

} // namespace Quillmark
