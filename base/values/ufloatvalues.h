// The floating-point value kinds: UFloatValue (a double in a range, with a step and a text
// precision), UFloatDefValue with a settable default, and UFloatTransformValue, shown through a
// transform. Owned by reference count, usually by a controller's container.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

class UFloatValue : public UValue, public IFloatValue
{
    QEL_DECLARE_CLASS(UFloatValue, UValue)
public:
    /** A maximum below the minimum is raised to it; the default is clipped into the range and
        is also the start value. */
    explicit UFloatValue(const ConstString& name = ConstString(), int32 tag = 0,
                         double minimum = 0.0, double maximum = 1.0, double defaultValue = 0.0,
                         int32 precision = 2, double step = 0.0);

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return UValue::addRef(); }
    uint32 release() override { return UValue::release(); }

    double getValue() const { return value; }
    /** Clips and stores; NaN is refused. Tells the dependents when the value changed and
        `notify` is set. True when the value changed. */
    bool setValue(double newValue, bool notify = true);
    double getMinValue() const { return minimum; }
    double getMaxValue() const { return maximum; }
    double getDefaultValue() const { return defaultValue; }
    /** Changes the range and clips the value and the default into it. */
    void setRange(double newMinimum, double newMaximum, bool notify = true);
    int32 getPrecision() const { return precision; }
    void setPrecision(int32 digits);
    double getStep() const { return step; }
    void setStep(double newStep) { step = newStep > 0 ? newStep : 0.0; }

    // IParameter
    double getNormalized() const override;
    tresult setNormalized(double normalized) override;
    double getDefaultNormalized() const override;

    // IValue
    int32 getInt() const override;
    tresult setInt(int32 newValue) override;
    double getFloat() const override { return value; }
    tresult setFloat(double newValue) override;
    /** "%.*f" with the precision. */
    void getText(String& text) const override;
    /** A decimal number; clipped like any set. */
    tresult setText(const ConstString& text) override;
    double getMin() const override { return minimum; }
    double getMax() const override { return maximum; }
    double getDefault() const override { return defaultValue; }

    // IFloatValue
    double getFloatValue() const override { return value; }
    tresult setFloatValue(double newValue, bool notify) override;
    void getFloatRange(double& outMinimum, double& outMaximum) const override;
    double getFloatStep() const override { return step; }
    int32 getFloatPrecision() const override { return precision; }

protected:
    double clip(double candidate) const;

    double value;
    double minimum;
    double maximum;
    double defaultValue;
    int32 precision;
    double step;
};

/** A floating-point value whose default can change after creation. */
class UFloatDefValue : public UFloatValue
{
    QEL_DECLARE_CLASS(UFloatDefValue, UFloatValue)
public:
    using UFloatValue::UFloatValue;

    /** Clipped into the range; the present value stays. */
    void setDefaultValue(double newDefault);
};

/** A float whose text shows a transformed value: shown = plain * factor + offset, for units
    such as percent. Subclasses with another mapping override toShown and toPlain; range,
    clipping and storage stay in plain terms. */
class UFloatTransformValue : public UFloatDefValue
{
    QEL_DECLARE_CLASS(UFloatTransformValue, UFloatDefValue)
public:
    /** A factor of 0 would lose the value; it is taken as 1. */
    UFloatTransformValue(const ConstString& name, int32 tag, double minimum, double maximum,
                         double defaultValue, double factor, double offset = 0.0,
                         int32 precision = 2);

    virtual double toShown(double plain) const { return plain * factor + offset; }
    virtual double toPlain(double shown) const { return (shown - offset) / factor; }

    /** The shown value, "%.*f" with the precision. */
    void getText(String& text) const override;
    /** Reads a shown value and sets its plain counterpart, clipped. */
    tresult setText(const ConstString& text) override;

private:
    double factor;
    double offset;
};

} // namespace Quillmark
