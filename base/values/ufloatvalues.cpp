#include "base/values/ufloatvalues.h"

#include "base/values/uvaluetext.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Quillmark
{

namespace
{
/** More digits than a double carries only print noise. */
constexpr int32 kMaxPrecision = 17;
} // namespace

// --- UFloatValue ----------------------------------------------------------------------------

UFloatValue::UFloatValue(const ConstString& name, int32 tag, double minimum, double maximum,
                         double defaultValue, int32 precision, double step)
    : UValue(name, tag), value(0.0), minimum(minimum), maximum(std::max(minimum, maximum)),
      defaultValue(0.0), precision(std::clamp(precision, 0, kMaxPrecision)),
      step(step > 0 ? step : 0.0)
{
    this->defaultValue = clip(defaultValue);
    value = this->defaultValue;
}

tresult UFloatValue::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IFloatValue)
    return UValue::queryInterface(iid, obj);
}

double UFloatValue::clip(double candidate) const
{
    return std::clamp(candidate, minimum, maximum);
}

bool UFloatValue::setValue(double newValue, bool notify)
{
    if (std::isnan(newValue))
        return false;
    double clipped = clip(newValue);
    if (clipped == value)
        return false;
    value = clipped;
    valueChanged(notify);
    return true;
}

void UFloatValue::setRange(double newMinimum, double newMaximum, bool notify)
{
    if (std::isnan(newMinimum) || std::isnan(newMaximum))
        return;
    minimum = newMinimum;
    maximum = std::max(newMinimum, newMaximum);
    defaultValue = clip(defaultValue);
    if (notify)
        changed(kStateChanged);
    setValue(value, notify);
}

void UFloatValue::setPrecision(int32 digits)
{
    precision = std::clamp(digits, 0, kMaxPrecision);
}

double UFloatValue::getNormalized() const
{
    return ValueRange::toNormalized(value, minimum, maximum);
}

tresult UFloatValue::setNormalized(double normalized)
{
    if (std::isnan(normalized))
        return kResultFalse;
    setValue(ValueRange::fromNormalized(normalized, minimum, maximum));
    return kResultOk;
}

double UFloatValue::getDefaultNormalized() const
{
    return ValueRange::toNormalized(defaultValue, minimum, maximum);
}

int32 UFloatValue::getInt() const
{
    double rounded = std::round(value);
    return int32(std::clamp<double>(rounded, std::numeric_limits<int32>::min(),
                                    std::numeric_limits<int32>::max()));
}

tresult UFloatValue::setInt(int32 newValue)
{
    setValue(newValue);
    return kResultOk;
}

tresult UFloatValue::setFloat(double newValue)
{
    if (std::isnan(newValue))
        return kResultFalse;
    setValue(newValue);
    return kResultOk;
}

void UFloatValue::getText(String& text) const
{
    text.printf("%.*f", precision, value);
}

tresult UFloatValue::setText(const ConstString& text)
{
    double parsed = 0;
    if (!ValueText::parseDouble(ValueText::trimmed(text), parsed))
        return kResultFalse;
    setValue(parsed);
    return kResultOk;
}

tresult UFloatValue::setFloatValue(double newValue, bool notify)
{
    if (std::isnan(newValue))
        return kResultFalse;
    setValue(newValue, notify);
    return kResultOk;
}

void UFloatValue::getFloatRange(double& outMinimum, double& outMaximum) const
{
    outMinimum = minimum;
    outMaximum = maximum;
}

// --- UFloatDefValue -------------------------------------------------------------------------

void UFloatDefValue::setDefaultValue(double newDefault)
{
    if (!std::isnan(newDefault))
        defaultValue = clip(newDefault);
}

// --- UFloatTransformValue -------------------------------------------------------------------

UFloatTransformValue::UFloatTransformValue(const ConstString& name, int32 tag, double minimum,
                                           double maximum, double defaultValue, double factor,
                                           double offset, int32 precision)
    : UFloatDefValue(name, tag, minimum, maximum, defaultValue, precision),
      factor(factor == 0.0 || !std::isfinite(factor) ? 1.0 : factor),
      offset(std::isfinite(offset) ? offset : 0.0)
{
}

void UFloatTransformValue::getText(String& text) const
{
    text.printf("%.*f", precision, toShown(value));
}

tresult UFloatTransformValue::setText(const ConstString& text)
{
    double shown = 0;
    if (!ValueText::parseDouble(ValueText::trimmed(text), shown))
        return kResultFalse;
    double plain = toPlain(shown);
    if (std::isnan(plain))
        return kResultFalse;
    setValue(plain);
    return kResultOk;
}

} // namespace Quillmark
