// UValueProxy: a value with its own name and tag that stands for another value; gets and sets
// go to the target, or answer neutrally without one. It holds a reference to the target and is
// its dependent, so the proxy's dependents hear the target's changes.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

class UValueProxy : public UValue, public IValueProxy
{
    QEL_DECLARE_CLASS(UValueProxy, UValue)
public:
    explicit UValueProxy(const ConstString& name = ConstString(), int32 tag = 0,
                         IValue* target = nullptr);
    ~UValueProxy() override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return UValue::addRef(); }
    uint32 release() override { return UValue::release(); }

    // IValueProxy. A new target is announced with kChanged: what the proxy shows changed.
    tresult setTarget(IValue* newTarget) override;
    IValue* getTarget() const override { return target; }

    /** Relays the target's changes to the proxy's own dependents; on the target's end the
        proxy lets go of it. */
    using UValue::update;
    void update(FUnknown* changedUnknown, int32 message) override;

    double getNormalized() const override;
    tresult setNormalized(double normalized) override;
    double getDefaultNormalized() const override;
    int32 getStepCount() const override;
    tresult beginEdit() override;
    tresult endEdit() override;

    int32 getInt() const override;
    tresult setInt(int32 value) override;
    double getFloat() const override;
    tresult setFloat(double value) override;
    void getText(String& text) const override;
    tresult setText(const ConstString& text) override;
    double getMin() const override;
    double getMax() const override;
    double getDefault() const override;
    /** The style of the target; plain without one. */
    int32 getStyle() const override;

private:
    void detach(bool releaseTarget);

    IValue* target = nullptr;
    /** The pointer the update handler knows the target by. */
    FUnknown* targetIdentity = nullptr;
};

} // namespace Quillmark
