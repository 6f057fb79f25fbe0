#include "engine/gainvalue.h"

#include <cmath>
#include <cstdlib>
#include <string>

namespace Quillmark::MiniEngine
{

GainValue::GainValue(const ConstString& name, int32 tag)
    : UFloatDefValue(name, tag, 0.0, 100.0, 50.0, 2, 1.0)
{
}

bool GainValue::setGain(double gain, bool notify)
{
    if (std::isnan(gain))
        return false;
    return setValue(ValueRange::fromNormalized(gain, minimum, maximum), notify);
}

double GainValue::toDecibels(double gain)
{
    return 20.0 * std::log10(gain);
}

double GainValue::fromDecibels(double decibels)
{
    return std::pow(10.0, decibels / 20.0);
}

void GainValue::getText(String& text) const
{
    const double gain = getGain();
    if (gain <= kSilentGain)
        text = "-oo";
    else
        text = String::format("%.2f", toDecibels(gain));
}

tresult GainValue::setText(const ConstString& text)
{
    std::string ascii = text.toUtf8();
    const size_t first = ascii.find_first_not_of(' ');
    if (first == std::string::npos)
        return kResultFalse;
    ascii.erase(0, first);
    if (ascii.rfind("-oo", 0) == 0)
    {
        setGain(0.0);
        return kResultOk;
    }
    char* end = nullptr;
    const double decibels = std::strtod(ascii.c_str(), &end);
    if (end == ascii.c_str() || !std::isfinite(decibels))
        return kResultFalse;
    while (*end == ' ')
        ++end;
    if (*end && std::string(end) != "dB")
        return kResultFalse;
    setGain(fromDecibels(decibels));
    return kResultOk;
}

} // namespace Quillmark::MiniEngine
