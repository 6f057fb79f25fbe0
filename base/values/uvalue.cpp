#include "base/values/uvalue.h"

#include "base/fmessage.h"
#include "base/updatehandler.h"

#include <algorithm>
#include <cmath>

namespace Quillmark
{

UValue::UValue(const ConstString& name, int32 tag) : name(name), tag(tag) {}

UValue::~UValue()
{
    // The kinds' destructors have run, so a dependent that looks at the value now sees only
    // this base. The handler may be gone at process end; then nobody is left to tell.
    if (UpdateHandler* handler = UpdateHandler::instance())
    {
        handler->triggerUpdates(unknown(), kDestroyed);
        handler->cancelUpdates(unknown());
    }
}

tresult UValue::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IParameter)
    QEL_QUERY_INTERFACE(iid, obj, IValue)
    QEL_QUERY_INTERFACE(iid, obj, IValue2)
    QEL_QUERY_INTERFACE(iid, obj, IStringRepresentationTarget)
    return CmObject::queryInterface(iid, obj);
}

void UValue::setEnabled(bool state)
{
    if (state == isEnabled())
        return;
    flags = state ? (flags & ~uint32(kDisabled)) : (flags | kDisabled);
    changed(kStateChanged);
}

void UValue::setReportEdits(bool state)
{
    flags = state ? (flags | kReportEdits) : (flags & ~uint32(kReportEdits));
}

void UValue::setWrapAround(bool state)
{
    flags = state ? (flags | kWrapAround) : (flags & ~uint32(kWrapAround));
}

void UValue::setEditing(bool state)
{
    flags = state ? (flags | kEditing) : (flags & ~uint32(kEditing));
}

bool UValue::reportEdit(const char8* messageName)
{
    if (!(flags & kReportEdits) || !owner)
        return false;
    // Only a CmObject can receive a message; for any other owner the report is dropped, but
    // the edit still counts as reported so that it does not also become an undo step.
    if (auto* target = FCast<CmObject>(owner))
    {
        auto* message = new FMessage(messageName);
        message->setObject("Value", unknown());
        target->notify(message);
        message->release();
    }
    return true;
}

tresult UValue::beginEdit()
{
    setEditing(true);
    if (!reportEdit("BeginEdit") && wantsUndo())
        openUndoStep();
    return kResultOk;
}

tresult UValue::endEdit()
{
    setEditing(false);
    if (!reportEdit("EndEdit") && wantsUndo())
        closeUndoStep();
    return kResultOk;
}

namespace ValueRange
{

double toNormalized(double plain, double minimum, double maximum)
{
    if (!(maximum > minimum) || std::isnan(plain))
        return 0.0;
    return std::clamp((plain - minimum) / (maximum - minimum), 0.0, 1.0);
}

double fromNormalized(double normalized, double minimum, double maximum)
{
    if (!(maximum > minimum) || std::isnan(normalized))
        return minimum;
    return minimum + std::clamp(normalized, 0.0, 1.0) * (maximum - minimum);
}

} // namespace ValueRange

} // namespace Quillmark
