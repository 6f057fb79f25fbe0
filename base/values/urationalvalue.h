// URationalValue: a numerator and a denominator, each signed 32-bit, for time signatures and
// ratios. The text form is "n/d" of the absolute parts with one leading "-" when the signs
// differ. Owned by reference count, usually by a controller's container.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

class URationalValue : public UValue
{
    QEL_DECLARE_CLASS(URationalValue, UValue)
public:
    /** A denominator of 0 is taken as 1. */
    explicit URationalValue(const ConstString& name = ConstString(), int32 tag = 0,
                            int32 numerator = 0, int32 denominator = 1);

    int32 getNumerator() const { return numerator; }
    int32 getDenominator() const { return denominator; }
    /** Stores both parts as given, without reducing: 6/8 differs from 3/4. A denominator of 0
        is refused. True when either part changed. */
    bool setRational(int32 newNumerator, int32 newDenominator, bool notify = true);

    /** The quotient numerator / denominator. */
    double getFloat() const override;
    /** The integer form packs both parts, 16 bits each, numerator high, so that a stored
        rational reads back whole; parts beyond 16 bits do not survive it. */
    int32 getInt() const override;
    /** Unpacks the integer form; a denominator of 0 in it is refused. */
    tresult setInt(int32 packed) override;
    void getText(String& text) const override;
    /** Takes "n/d" with a sign on either part, or "n" for n/1. */
    tresult setText(const ConstString& text) override;

private:
    int32 numerator;
    int32 denominator;
};

} // namespace Quillmark
