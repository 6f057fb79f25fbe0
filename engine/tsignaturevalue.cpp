#include "engine/tsignaturevalue.h"

namespace Quillmark::MiniEngine
{

namespace
{
bool usable(const URationalValue& value)
{
    return value.getNumerator() > 0 && value.getDenominator() > 0;
}
} // namespace

tresult TSignatureValue::setText(const ConstString& text)
{
    URationalValue probe;
    if (probe.setText(text) != kResultOk || !usable(probe))
        return kResultFalse;
    setRational(probe.getNumerator(), probe.getDenominator());
    return kResultOk;
}

tresult TSignatureValue::setInt(int32 packed)
{
    URationalValue probe;
    if (probe.setInt(packed) != kResultOk || !usable(probe))
        return kResultFalse;
    setRational(probe.getNumerator(), probe.getDenominator());
    return kResultOk;
}

} // namespace Quillmark::MiniEngine
