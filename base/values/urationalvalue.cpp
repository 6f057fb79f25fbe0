#include "base/values/urationalvalue.h"

#include "base/values/uvaluetext.h"

#include <limits>

namespace Quillmark
{

URationalValue::URationalValue(const ConstString& name, int32 tag, int32 numerator,
                               int32 denominator)
    : UValue(name, tag), numerator(numerator), denominator(denominator == 0 ? 1 : denominator)
{
}

bool URationalValue::setRational(int32 newNumerator, int32 newDenominator, bool notify)
{
    if (newDenominator == 0)
        return false;
    if (newNumerator == numerator && newDenominator == denominator)
        return false;
    numerator = newNumerator;
    denominator = newDenominator;
    valueChanged(notify);
    return true;
}

double URationalValue::getFloat() const
{
    return double(numerator) / double(denominator);
}

int32 URationalValue::getInt() const
{
    uint32 packed = (uint32(uint16(numerator)) << 16) | uint32(uint16(denominator));
    return int32(packed);
}

tresult URationalValue::setInt(int32 packed)
{
    auto high = int16(uint16(uint32(packed) >> 16));
    auto low = int16(uint16(uint32(packed) & 0xFFFF));
    if (low == 0)
        return kResultFalse;
    setRational(high, low);
    return kResultOk;
}

void URationalValue::getText(String& text) const
{
    // Through 64 bits, so that the magnitude of -2147483648 is representable.
    int64 top = numerator;
    int64 bottom = denominator;
    bool negative = top != 0 && ((top < 0) != (bottom < 0));
    text.printf("%s%lu/%lu", negative ? "-" : "", static_cast<unsigned long>(top < 0 ? -top : top),
                static_cast<unsigned long>(bottom < 0 ? -bottom : bottom));
}

tresult URationalValue::setText(const ConstString& text)
{
    std::string body = ValueText::trimmed(text);
    size_t slash = body.find('/');
    int64 top = 0;
    int64 bottom = 1;
    if (!ValueText::parseInteger(ValueText::trimmed(String(body.substr(0, slash))), top))
        return kResultFalse;
    if (slash != std::string::npos &&
        !ValueText::parseInteger(ValueText::trimmed(String(body.substr(slash + 1))), bottom))
        return kResultFalse;
    constexpr int64 low = std::numeric_limits<int32>::min();
    constexpr int64 high = std::numeric_limits<int32>::max();
    if (bottom == 0 || top < low || top > high || bottom < low || bottom > high)
        return kResultFalse;
    setRational(int32(top), int32(bottom));
    return kResultOk;
}

} // namespace Quillmark
