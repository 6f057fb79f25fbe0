#include "base/values/uintvalues.h"

#include "base/values/uvaluetext.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace Quillmark
{

// --- UIntValue ------------------------------------------------------------------------------

UIntValue::UIntValue(const ConstString& name, int32 tag, int32 minimum, int32 maximum,
                     int32 defaultValue)
    : UValue(name, tag), value(0), minimum(minimum), maximum(std::max(minimum, maximum)),
      defaultValue(0)
{
    this->defaultValue = clip(defaultValue);
    value = this->defaultValue;
}

int32 UIntValue::clip(int64 candidate) const
{
    return int32(std::clamp<int64>(candidate, minimum, maximum));
}

bool UIntValue::step(int32 steps, bool notify)
{
    int64 target = int64(value) + steps;
    if (isWrapAround())
    {
        int64 span = int64(maximum) - minimum + 1;
        int64 offset = (target - minimum) % span;
        if (offset < 0)
            offset += span;
        target = minimum + offset;
    }
    return setValue(clip(target), notify);
}

bool UIntValue::setValue(int32 newValue, bool notify)
{
    int32 clipped = clip(newValue);
    if (clipped == value)
        return false;
    value = clipped;
    valueChanged(notify);
    return true;
}

void UIntValue::setRange(int32 newMinimum, int32 newMaximum, bool notify)
{
    minimum = newMinimum;
    maximum = std::max(newMinimum, newMaximum);
    defaultValue = clip(defaultValue);
    if (notify)
        changed(kStateChanged);
    setValue(value, notify);
}

double UIntValue::getNormalized() const
{
    return ValueRange::toNormalized(value, minimum, maximum);
}

tresult UIntValue::setNormalized(double normalized)
{
    if (std::isnan(normalized))
        return kResultFalse;
    setValue(clip(std::llround(ValueRange::fromNormalized(normalized, minimum, maximum))));
    return kResultOk;
}

double UIntValue::getDefaultNormalized() const
{
    return ValueRange::toNormalized(defaultValue, minimum, maximum);
}

int32 UIntValue::getStepCount() const
{
    return int32(std::min<int64>(int64(maximum) - minimum, std::numeric_limits<int32>::max()));
}

tresult UIntValue::setInt(int32 newValue)
{
    setValue(newValue);
    return kResultOk;
}

tresult UIntValue::setFloat(double newValue)
{
    if (std::isnan(newValue))
        return kResultFalse;
    setValue(clip(std::llround(std::clamp<double>(newValue, minimum, maximum))));
    return kResultOk;
}

void UIntValue::getText(String& text) const
{
    text.printf("%d", value);
}

tresult UIntValue::setText(const ConstString& text)
{
    int64 parsed = 0;
    if (!parseInteger(text, parsed))
        return kResultFalse;
    setValue(clip(parsed));
    return kResultOk;
}

bool UIntValue::parseInteger(const ConstString& text, int64& result)
{
    return ValueText::parseInteger(ValueText::trimmed(text), result);
}

// --- UIntDefValue ---------------------------------------------------------------------------

void UIntDefValue::setDefaultValue(int32 newDefault)
{
    defaultValue = clip(newDefault);
}

// --- USecondsValue --------------------------------------------------------------------------

USecondsValue::USecondsValue(const ConstString& name, int32 tag, int32 minimum, int32 maximum,
                             int32 defaultValue)
    : UIntValue(name, tag, minimum, maximum, defaultValue)
{
}

void USecondsValue::getText(String& text) const
{
    int64 total = value;
    const char8* sign = total < 0 ? "-" : "";
    total = total < 0 ? -total : total;
    int64 hours = total / 3600;
    int64 minutes = (total / 60) % 60;
    int64 seconds = total % 60;
    if (hours > 0)
        text.printf("%s%lld:%02lld:%02lld", sign, static_cast<long long>(hours),
                    static_cast<long long>(minutes), static_cast<long long>(seconds));
    else
        text.printf("%s%lld:%02lld", sign, static_cast<long long>(minutes),
                    static_cast<long long>(seconds));
}

tresult USecondsValue::setText(const ConstString& text)
{
    std::string body = ValueText::trimmed(text);
    bool negative = !body.empty() && body[0] == '-';
    if (negative)
        body.erase(0, 1);

    int64 fields[3] = {0, 0, 0};
    int32 count = 0;
    size_t start = 0;
    while (true)
    {
        size_t colon = body.find(':', start);
        std::string field = body.substr(start, colon == std::string::npos ? colon : colon - start);
        int64 number = 0;
        if (count == 3 || field.empty() || field.find_first_not_of("0123456789") != field.npos ||
            !ValueText::parseInteger(field, number))
            return kResultFalse;
        fields[count++] = number;
        if (colon == std::string::npos)
            break;
        start = colon + 1;
    }
    // The first field may be as large as it likes; the ones after it count up to 59.
    for (int32 i = 1; i < count; ++i)
        if (fields[i] >= 60)
            return kResultFalse;
    int64 total = 0;
    for (int32 i = 0; i < count; ++i)
    {
        if (total > (std::numeric_limits<int64>::max() - fields[i]) / 60)
            return kResultFalse;
        total = total * 60 + fields[i];
    }
    setValue(clip(negative ? -total : total));
    return kResultOk;
}

// --- UDateValue -----------------------------------------------------------------------------

UDateValue::UDateValue(const ConstString& name, int32 tag, int32 defaultDay)
    : UIntValue(name, tag, kFirstDay, kLastDay, defaultDay)
{
}

bool UDateValue::dayOf(int32 year, int32 month, int32 day, int32& dayNumber)
{
    using namespace std::chrono;
    if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31)
        return false;
    year_month_day date{std::chrono::year(year), std::chrono::month(unsigned(month)),
                        std::chrono::day(unsigned(day))};
    if (!date.ok())
        return false;
    dayNumber = int32(sys_days(date).time_since_epoch().count());
    return true;
}

bool UDateValue::setDate(int32 year, int32 month, int32 day, bool notify)
{
    int32 dayNumber = 0;
    if (!dayOf(year, month, day, dayNumber))
        return false;
    setValue(dayNumber, notify);
    return true;
}

void UDateValue::getDate(int32& year, int32& month, int32& day) const
{
    using namespace std::chrono;
    year_month_day date{sys_days(days(value))};
    year = int32(date.year());
    month = int32(unsigned(date.month()));
    day = int32(unsigned(date.day()));
}

void UDateValue::getText(String& text) const
{
    int32 year = 0, month = 0, day = 0;
    getDate(year, month, day);
    text.printf("%04d-%02d-%02d", year, month, day);
}

tresult UDateValue::setText(const ConstString& text)
{
    std::string body = ValueText::trimmed(text);
    // Exactly four, two and two digits, so that "2024-1-5" or "+2024-01-05" do not slip in.
    if (body.size() != 10 || body[4] != '-' || body[7] != '-')
        return kResultFalse;
    for (size_t i : {0, 1, 2, 3, 5, 6, 8, 9})
        if (body[i] < '0' || body[i] > '9')
            return kResultFalse;
    int32 year = std::atoi(body.substr(0, 4).c_str());
    int32 month = std::atoi(body.substr(5, 2).c_str());
    int32 day = std::atoi(body.substr(8, 2).c_str());
    return setDate(year, month, day) ? kResultOk : kResultFalse;
}

} // namespace Quillmark
