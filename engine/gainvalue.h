// A linear gain shown in decibels: the volume of the graph's output and of the two input
// signals. Its normalized value is the linear gain itself, so a gain can never exceed 1.0; the
// plain range 0..100 only serves the controls that step it. Owned by the player's values.
#pragma once

#include "base/values/ufloatvalues.h"

namespace Quillmark::MiniEngine
{

class GainValue : public UFloatDefValue
{
    QEL_DECLARE_CLASS(GainValue, UFloatDefValue)
public:
    /** At or below this linear gain the text is "-oo". */
    static constexpr double kSilentGain = 1e-6;

    GainValue(const ConstString& name, int32 tag);

    /** The linear gain, 0 to 1. */
    double getGain() const { return getNormalized(); }
    bool setGain(double gain, bool notify = true);

    /** "-oo" for silence, else "%.2f" decibels. */
    void getText(String& text) const override;
    /** Decibels, optionally followed by " dB"; "-oo" is silence. A gain above 1.0 is clipped. */
    tresult setText(const ConstString& text) override;

    static double toDecibels(double gain);
    static double fromDecibels(double decibels);
};

} // namespace Quillmark::MiniEngine
