// The parameters of a plug-in: ParameterSpec, one constant record per parameter that processor
// and controller share so both agree on what a value means, and ParameterList, the current
// values that the edit controller owns.
#pragma once

#include "common/plugintext.h"
#include "qel3/ieditcontroller.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace Quillmark
{
namespace Qel
{

/** One parameter, as constant data of the module. A continuous parameter (stepCount 0) maps
    0..1 linearly onto minPlain..maxPlain; a discrete one has stepCount + 1 equally wide steps,
    and a list names each step in `entries`. */
struct ParameterSpec
{
    ParamID id = 0;
    const char16* title = u"";
    const char16* shortTitle = u"";
    const char16* units = u"";
    ParamValue minPlain = 0.0;
    ParamValue maxPlain = 1.0;
    ParamValue defaultPlain = 0.0;
    int32 stepCount = 0;
    int32 flags = ParameterInfo::kCanAutomate;
    UnitID unitId = kRootUnitId;
    int32 precision = 2;                         // decimals of the value text
    std::span<const char16* const> entries = {}; // one text per step, for a list

    /** The step a normalized value falls in: each of the stepCount + 1 steps owns an equal
        part of 0..1, so the last step is reached only near 1. */
    constexpr int32 stepOf(ParamValue normalized) const
    {
        const int32 step = static_cast<int32>(clamp01(normalized) * (stepCount + 1));
        return step > stepCount ? stepCount : step;
    }

    constexpr ParamValue toPlain(ParamValue normalized) const
    {
        if (stepCount > 0)
            return minPlain + stepOf(normalized) * (maxPlain - minPlain) / stepCount;
        return minPlain + clamp01(normalized) * (maxPlain - minPlain);
    }

    /** A plain value outside the range is clamped; a discrete one goes to the nearest step. */
    constexpr ParamValue toNormalized(ParamValue plain) const
    {
        if (maxPlain == minPlain)
            return 0.0;
        const ParamValue normalized = clamp01((plain - minPlain) / (maxPlain - minPlain));
        if (stepCount > 0)
            return static_cast<int32>(normalized * stepCount + 0.5) /
                   static_cast<double>(stepCount);
        return normalized;
    }

    constexpr ParamValue defaultNormalized() const { return toNormalized(defaultPlain); }

    static constexpr ParamValue clamp01(ParamValue value)
    {
        // NaN fails both comparisons and ends as 0.
        return value > 0.0 ? (value < 1.0 ? value : 1.0) : 0.0;
    }
};

/** The text of a value: the step's entry for a list, else the plain value with the parameter's
    decimals (units stay apart, in ParameterInfo::units). `text` holds 128 units. */
inline void formatParameter(const ParameterSpec& parameter, ParamValue normalized, TChar* text)
{
    if (!parameter.entries.empty())
    {
        const auto step = static_cast<std::size_t>(parameter.stepOf(normalized));
        copyText(text, 128, step < parameter.entries.size() ? parameter.entries[step] : u"");
        return;
    }
    ParamValue plain = parameter.toPlain(normalized);
    // No "-0.00": a value that rounds to zero is shown without a sign.
    if (std::fabs(plain) < 0.5 * std::pow(10.0, -parameter.precision))
        plain = 0.0;
    char8 ascii[64];
    std::snprintf(ascii, sizeof ascii, "%.*f", static_cast<int>(parameter.precision), plain);
    widenText(text, 128, ascii);
}

/** The inverse of formatParameter: a list entry, or a number optionally followed by blanks and
    the parameter's units ("-6", "-6.0 dB"). A value outside the range is clamped. */
inline bool parseParameter(const ParameterSpec& parameter, const TChar* text,
                           ParamValue& normalized)
{
    if (!text)
        return false;
    for (std::size_t i = 0; i < parameter.entries.size(); ++i)
        if (sameText(text, parameter.entries[i]))
        {
            normalized =
                parameter.stepCount > 0 ? static_cast<double>(i) / parameter.stepCount : 0.0;
            return true;
        }

    char8 ascii[128];
    asciiText(ascii, sizeof ascii, text);
    char8* end = nullptr;
    const double plain = std::strtod(ascii, &end);
    if (end == ascii || !std::isfinite(plain))
        return false;
    while (*end == ' ')
        ++end;
    char8 units[128];
    asciiText(units, sizeof units, parameter.units);
    if (*end && std::strcmp(end, units) != 0)
        return false;
    normalized = parameter.toNormalized(plain);
    return true;
}

/** The edit controller's current value of each parameter of a table. Values are normalized and
    always within 0..1. The list belongs to the controller and is used on the main thread. */
class ParameterList
{
public:
    ParameterList() = default;
    /** `table` is borrowed: constant data of the module. Every value starts at its default. */
    explicit ParameterList(std::span<const ParameterSpec> table) : parameters(table)
    {
        values.reserve(table.size());
        for (const ParameterSpec& parameter : table)
            values.push_back(parameter.defaultNormalized());
    }

    int32 count() const { return static_cast<int32>(parameters.size()); }

    /** The parameter of `id`, or null. */
    const ParameterSpec* find(ParamID id) const
    {
        const int32 index = indexOf(id);
        return index >= 0 ? &parameters[static_cast<std::size_t>(index)] : nullptr;
    }

    int32 indexOf(ParamID id) const
    {
        for (std::size_t i = 0; i < parameters.size(); ++i)
            if (parameters[i].id == id)
                return static_cast<int32>(i);
        return -1;
    }

    /** The record of parameter `index`, zero-filled behind every text, as a host that compares
        records byte for byte expects. */
    tresult info(int32 index, ParameterInfo& info) const
    {
        if (index < 0 || index >= count())
            return kInvalidArgument;
        const ParameterSpec& parameter = parameters[static_cast<std::size_t>(index)];
        std::memset(&info, 0, sizeof info);
        info.id = parameter.id;
        copyText(info.title, parameter.title);
        copyText(info.shortTitle, parameter.shortTitle);
        copyText(info.units, parameter.units);
        info.stepCount = parameter.stepCount;
        info.defaultNormalizedValue = parameter.defaultNormalized();
        info.unitId = parameter.unitId;
        info.flags = parameter.flags;
        return kResultOk;
    }

    /** The normalized value of `id`; 0 for an unknown one. */
    ParamValue get(ParamID id) const
    {
        const int32 index = indexOf(id);
        return index >= 0 ? values[static_cast<std::size_t>(index)] : 0.0;
    }

    /** Stores `normalized`, clamped to 0..1; false for an unknown id. */
    bool set(ParamID id, ParamValue normalized)
    {
        const int32 index = indexOf(id);
        if (index < 0)
            return false;
        values[static_cast<std::size_t>(index)] = ParameterSpec::clamp01(normalized);
        return true;
    }

    void resetToDefaults()
    {
        for (std::size_t i = 0; i < parameters.size(); ++i)
            values[i] = parameters[i].defaultNormalized();
    }

private:
    std::span<const ParameterSpec> parameters;
    std::vector<ParamValue> values;
};

} // namespace Qel
} // namespace Quillmark
