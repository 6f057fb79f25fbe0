#include "base/values/uvalueproxy.h"

#include "base/updatehandler.h"

namespace Quillmark
{

namespace
{
FUnknown* identityOf(FUnknown* object)
{
    void* identity = nullptr;
    if (!object || object->queryInterface(FUnknown::iid.bytes, &identity) != kResultOk)
        return nullptr;
    static_cast<FUnknown*>(identity)->release();
    return static_cast<FUnknown*>(identity);
}
} // namespace

UValueProxy::UValueProxy(const ConstString& name, int32 tag, IValue* target) : UValue(name, tag)
{
    if (target)
        setTarget(target);
}

UValueProxy::~UValueProxy()
{
    detach(true);
}

tresult UValueProxy::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IValueProxy)
    return UValue::queryInterface(iid, obj);
}

void UValueProxy::detach(bool releaseTarget)
{
    if (!target)
        return;
    if (UpdateHandler* handler = UpdateHandler::instance())
        handler->removeDependent(target, this);
    IValue* old = target;
    target = nullptr;
    targetIdentity = nullptr;
    if (releaseTarget)
        old->release();
}

tresult UValueProxy::setTarget(IValue* newTarget)
{
    if (newTarget == target)
        return kResultOk;
    if (newTarget)
        newTarget->addRef();
    detach(true);
    if (newTarget)
    {
        target = newTarget;
        targetIdentity = identityOf(newTarget);
        if (UpdateHandler* handler = UpdateHandler::instance())
            handler->addDependent(target, this);
    }
    changed(kChanged);
    return kResultOk;
}

void UValueProxy::update(FUnknown* changedUnknown, int32 message)
{
    if (!target || identityOf(changedUnknown) != targetIdentity)
        return UValue::update(changedUnknown, message);
    if (message == kDestroyed)
    {
        // Only a target that was never counted, such as a member of another object, can end
        // while the proxy holds it; its count must not be touched any more.
        detach(false);
        changed(kChanged);
    }
    else if (message == kChanged || message == kStateChanged)
        changed(message);
}

double UValueProxy::getNormalized() const
{
    return target ? target->getNormalized() : 0.0;
}

tresult UValueProxy::setNormalized(double normalized)
{
    return target ? target->setNormalized(normalized) : kResultFalse;
}

double UValueProxy::getDefaultNormalized() const
{
    return target ? target->getDefaultNormalized() : 0.0;
}

int32 UValueProxy::getStepCount() const
{
    return target ? target->getStepCount() : 0;
}

tresult UValueProxy::beginEdit()
{
    return target ? target->beginEdit() : kResultFalse;
}

tresult UValueProxy::endEdit()
{
    return target ? target->endEdit() : kResultFalse;
}

int32 UValueProxy::getInt() const
{
    return target ? target->getInt() : 0;
}

tresult UValueProxy::setInt(int32 value)
{
    return target ? target->setInt(value) : kResultFalse;
}

double UValueProxy::getFloat() const
{
    return target ? target->getFloat() : 0.0;
}

tresult UValueProxy::setFloat(double value)
{
    return target ? target->setFloat(value) : kResultFalse;
}

void UValueProxy::getText(String& text) const
{
    if (target)
        target->getText(text);
    else
        text.clear();
}

tresult UValueProxy::setText(const ConstString& text)
{
    return target ? target->setText(text) : kResultFalse;
}

double UValueProxy::getMin() const
{
    return target ? target->getMin() : 0.0;
}

double UValueProxy::getMax() const
{
    return target ? target->getMax() : 0.0;
}

double UValueProxy::getDefault() const
{
    return target ? target->getDefault() : 0.0;
}

int32 UValueProxy::getStyle() const
{
    // Only a host value has a style; any other target is shown plain.
    auto* value = dynamic_cast<const UValue*>(target);
    return value ? value->getStyle() : kStylePlain;
}

} // namespace Quillmark
