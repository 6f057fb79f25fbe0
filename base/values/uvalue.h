// UValue is the root of the host's values: a typed, named cell with a range, a text form and
// dependents, bound to by name; here also its kind-free interfaces. Reference counted: the
// creator holds the first reference, a container that stores one holds its own.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

namespace Quillmark
{

/** The numeric view of anything a control can move: a position in 0..1 and edit brackets. */
class IParameter : public FUnknown
{
public:
    /** The value mapped to 0..1 over its range; 0 for a value without a range. */
    virtual double getNormalized() const = 0;
    /** Moves the value to a position in 0..1 (clipped); kResultFalse when it cannot. */
    virtual tresult setNormalized(double normalized) = 0;
    virtual double getDefaultNormalized() const = 0;
    /** The number of discrete steps across the range; 0 for a continuous value. */
    virtual int32 getStepCount() const = 0;
    /** Bracket a gesture: a control calls beginEdit before its first set and endEdit after
        its last. */
    virtual tresult beginEdit() = 0;
    virtual tresult endEdit() = 0;

    QEL_INTERFACE_IID(0xF5A7AF99, 0x4CB44106, 0xA132C774, 0xBD0A6341);
};

/** A named value with a tag, readable and settable as integer, double and text. Each set
    answers kResultOk when the value was accepted (changed or not) and kResultFalse when it was
    refused, which leaves the value as it was. */
class IValue : public IParameter
{
public:
    virtual int32 getTag() const = 0;
    virtual const String& getName() const = 0;

    virtual int32 getInt() const = 0;
    virtual tresult setInt(int32 value) = 0;
    virtual double getFloat() const = 0;
    virtual tresult setFloat(double value) = 0;
    /** The text form of the present value. */
    virtual void getText(String& text) const = 0;
    /** Parses `text`; a text that does not parse leaves the value unchanged. */
    virtual tresult setText(const ConstString& text) = 0;

    /** The plain range and default as doubles; all 0 for a value without a range. */
    virtual double getMin() const = 0;
    virtual double getMax() const = 0;
    virtual double getDefault() const = 0;

    QEL_INTERFACE_IID(0x99D8BBB0, 0x7AD74CF0, 0xA667EB53, 0xFA581142);
};

/** What a value offers beyond IValue: its flag word, edit state and enabled state. */
class IValue2 : public IValue
{
public:
    virtual uint32 getFlags() const = 0;
    virtual void setFlags(uint32 flags) = 0;
    /** True between beginEdit and endEdit. */
    virtual bool isEditing() const = 0;
    virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool state) = 0;

    QEL_INTERFACE_IID(0xFAB07278, 0x635F465F, 0x9756A9B5, 0xDC8CBAE6);
};

/** What a text field binds to: it shows the representation and hands back what was typed. */
class IStringRepresentationTarget : public FUnknown
{
public:
    virtual void getStringRepresentation(String& text) const = 0;
    /** kResultFalse when the text does not parse; the target stays as it was. */
    virtual tresult setStringRepresentation(const ConstString& text) = 0;

    QEL_INTERFACE_IID(0x39887007, 0xFAB44A5B, 0xAC0467FF, 0x0021B9BC);
};

/** A value that stands for another one. */
class IValueProxy : public FUnknown
{
public:
    /** Takes a reference to `target`; null detaches. */
    virtual tresult setTarget(IValue* target) = 0;
    /** The present target (borrowed), or null. */
    virtual IValue* getTarget() const = 0;

    QEL_INTERFACE_IID(0x18F73648, 0x8D364BB2, 0x8D201672, 0x435CD2D1);
};

/** Full-precision access to a floating-point value, for controls that draw or step it. */
class IFloatValue : public FUnknown
{
public:
    virtual double getFloatValue() const = 0;
    /** Sets with clipping; with `notify` false the dependents are not told. */
    virtual tresult setFloatValue(double value, bool notify) = 0;
    virtual void getFloatRange(double& minimum, double& maximum) const = 0;
    /** The increment of one step of a control; 0 when the value has none. */
    virtual double getFloatStep() const = 0;
    /** Digits after the decimal point in the text form. */
    virtual int32 getFloatPrecision() const = 0;

    QEL_INTERFACE_IID(0xDA6877D3, 0xE72E4DC2, 0x8B211493, 0x8A595FA3);
};

class UValue : public CmObject, public IValue2, public IStringRepresentationTarget
{
    QEL_DECLARE_CLASS(UValue, CmObject)
public:
    enum Flags : uint32
    {
        kEditing = 1u << 0,
        kDisabled = 1u << 1,
        /** Stepping past one end of the range arrives at the other end. */
        kWrapAround = 1u << 2,
        /** Edits are reported to the owner as "BeginEdit" and "EndEdit" messages. */
        kReportEdits = 1u << 16,
    };

    /** The message of a change of anything but the value itself: enabled state, range or the
        entries of a list. Value changes use kChanged. */
    static constexpr int32 kStateChanged = 100;

    explicit UValue(const ConstString& name = ConstString(), int32 tag = 0);
    /** Tells the dependents with message 2 that the value ends, after the state of the kinds
        is gone, and drops its deferred changes. */
    ~UValue() override;
    UValue(const UValue&) = delete;
    UValue& operator=(const UValue&) = delete;

    // FUnknown, once for all bases
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    // IParameter: a value without a range answers neutrally
    double getNormalized() const override { return 0.0; }
    tresult setNormalized(double) override { return kResultFalse; }
    double getDefaultNormalized() const override { return 0.0; }
    int32 getStepCount() const override { return 0; }
    tresult beginEdit() override;
    tresult endEdit() override;

    // IValue
    int32 getTag() const override { return tag; }
    const String& getName() const override { return name; }
    int32 getInt() const override { return 0; }
    tresult setInt(int32) override { return kResultFalse; }
    double getFloat() const override { return 0.0; }
    tresult setFloat(double) override { return kResultFalse; }
    void getText(String& text) const override { text.clear(); }
    tresult setText(const ConstString&) override { return kResultFalse; }
    double getMin() const override { return 0.0; }
    double getMax() const override { return 0.0; }
    double getDefault() const override { return 0.0; }

    // IValue2
    uint32 getFlags() const override { return flags; }
    void setFlags(uint32 newFlags) override { flags = newFlags; }
    bool isEditing() const override { return (flags & kEditing) != 0; }
    bool isEnabled() const override { return (flags & kDisabled) == 0; }
    /** A change of state is announced with kStateChanged. */
    void setEnabled(bool state) override;

    // IStringRepresentationTarget
    void getStringRepresentation(String& text) const override { getText(text); }
    tresult setStringRepresentation(const ConstString& text) override { return setText(text); }

    /** How a control should present the value: kStylePlain, kStyleToggle (two states, one
        click switches) or kStyleDiscrete (a few steps, each one a position). A proxy answers
        the style of what it stands for. */
    enum Style : int32
    {
        kStylePlain = 0,
        kStyleToggle = 1,
        kStyleDiscrete = 3,
    };
    virtual int32 getStyle() const { return style; }
    void setStyle(int32 newStyle) { style = newStyle; }
    bool isWrapAround() const { return (flags & kWrapAround) != 0; }
    void setWrapAround(bool state);

    /** The object that edit messages go to; not counted, so the owner must outlive the value
        or clear itself. */
    FObject* getOwner() const { return owner; }
    void setOwner(FObject* newOwner) { owner = newOwner; }
    void setReportEdits(bool state);

    /** The pointer the update handler knows this value by. */
    FUnknown* unknown() { return static_cast<FObject*>(this); }

protected:
    /** Marks the edit state; the one place a kind hooks into the start and end of a gesture. */
    virtual void setEditing(bool state);
    /** True when an edit should become a step of the application's undo history. */
    virtual bool wantsUndo() const { return false; }
    /** Open and close the undo step of a gesture; called only when wantsUndo() is true. */
    virtual void openUndoStep() {}
    virtual void closeUndoStep() {}

    /** Tells the dependents of a changed value, unless `notify` is false. */
    void valueChanged(bool notify)
    {
        if (notify)
            changed(kChanged);
    }

private:
    /** Sends "BeginEdit" or "EndEdit" to the owner; false when edits are not reported. */
    bool reportEdit(const char8* messageName);

    String name;
    int32 tag;
    uint32 flags = 0;
    int32 style = kStylePlain;
    FObject* owner = nullptr;
};

/** Conversions between a plain range and 0..1 shared by the numeric kinds. A degenerate or
    inverted range maps everything to 0 and back to its minimum. */
namespace ValueRange
{
double toNormalized(double plain, double minimum, double maximum);
double fromNormalized(double normalized, double minimum, double maximum);
} // namespace ValueRange

} // namespace Quillmark
