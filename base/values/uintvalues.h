// The integer value kinds: UIntValue (switches, buttons, counters), UIntDefValue with a settable
// default, USecondsValue (a duration shown as h:mm:ss) and UDateValue (a calendar day). Owned
// like every value by reference count, usually by a controller's container.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

/** A signed 32-bit value within [minimum, maximum]; every set clips to the range. */
class UIntValue : public UValue
{
    QEL_DECLARE_CLASS(UIntValue, UValue)
public:
    /** A maximum below the minimum is raised to it; the default is clipped into the range and
        is also the start value. */
    explicit UIntValue(const ConstString& name = ConstString(), int32 tag = 0, int32 minimum = 0,
                       int32 maximum = 1, int32 defaultValue = 0);

    int32 getValue() const { return value; }
    /** Clips and stores; tells the dependents when the value changed and `notify` is set.
        True when the value changed. */
    bool setValue(int32 newValue, bool notify = true);
    int32 getMinValue() const { return minimum; }
    int32 getMaxValue() const { return maximum; }
    int32 getDefaultValue() const { return defaultValue; }
    /** Moves the value by `steps`, as a control's arrow or wheel does. With wrap-around the
        walk continues from the other end of the range; without, it stops at the end. True when
        the value changed. */
    bool step(int32 steps, bool notify = true);
    /** Changes the range and clips the value and the default into it. */
    void setRange(int32 newMinimum, int32 newMaximum, bool notify = true);

    double getNormalized() const override;
    tresult setNormalized(double normalized) override;
    double getDefaultNormalized() const override;
    int32 getStepCount() const override;

    int32 getInt() const override { return value; }
    tresult setInt(int32 newValue) override;
    double getFloat() const override { return value; }
    /** Rounds to the nearest integer; NaN is refused. */
    tresult setFloat(double newValue) override;
    void getText(String& text) const override;
    /** A decimal integer, optionally signed, with surrounding blanks allowed. */
    tresult setText(const ConstString& text) override;
    double getMin() const override { return minimum; }
    double getMax() const override { return maximum; }
    double getDefault() const override { return defaultValue; }

protected:
    int32 clip(int64 candidate) const;
    /** Reads a decimal integer, the whole text; false for anything else. */
    static bool parseInteger(const ConstString& text, int64& result);

    int32 value;
    int32 minimum;
    int32 maximum;
    int32 defaultValue;
};

/** An integer value whose default can change after creation. */
class UIntDefValue : public UIntValue
{
    QEL_DECLARE_CLASS(UIntDefValue, UIntValue)
public:
    using UIntValue::UIntValue;

    /** Clipped into the range; the present value stays. */
    void setDefaultValue(int32 newDefault);
};

/** A duration in whole seconds, shown as "m:ss" or, from one hour on, "h:mm:ss". */
class USecondsValue : public UIntValue
{
    QEL_DECLARE_CLASS(USecondsValue, UIntValue)
public:
    explicit USecondsValue(const ConstString& name = ConstString(), int32 tag = 0,
                           int32 minimum = 0, int32 maximum = 0x7FFFFFFF, int32 defaultValue = 0);

    void getText(String& text) const override;
    /** Takes "s", "m:ss" or "h:mm:ss" with an optional leading "-"; seconds and, with hours
        given, minutes below 60. */
    tresult setText(const ConstString& text) override;
};

/** A calendar day, kept as the number of days since 1970-01-01 and shown as "YYYY-MM-DD". The
    range spans the years 1 to 9999. */
class UDateValue : public UIntValue
{
    QEL_DECLARE_CLASS(UDateValue, UIntValue)
public:
    static constexpr int32 kFirstDay = -719162; // 0001-01-01
    static constexpr int32 kLastDay = 2932896;  // 9999-12-31

    explicit UDateValue(const ConstString& name = ConstString(), int32 tag = 0,
                        int32 defaultDay = 0);

    /** False for a day that does not exist or lies outside the range; nothing changes then. */
    bool setDate(int32 year, int32 month, int32 day, bool notify = true);
    void getDate(int32& year, int32& month, int32& day) const;

    void getText(String& text) const override;
    /** Takes "YYYY-MM-DD" of an existing day. */
    tresult setText(const ConstString& text) override;

    /** The day number of a date, or false when the date does not exist. */
    static bool dayOf(int32 year, int32 month, int32 day, int32& dayNumber);
};

} // namespace Quillmark
