#include "base/values/fcontroller.h"

#include <algorithm>

namespace Quillmark
{

// --- FController ----------------------------------------------------------------------------

tresult FController::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IController)
    QEL_QUERY_INTERFACE(iid, obj, IHostController)
    return CmObject::queryInterface(iid, obj);
}

tresult FController::getValue(const ConstString& path, IValue** value)
{
    if (!value)
        return kInvalidArgument;
    UValue* found = findValue(path);
    *value = found;
    if (!found)
        return kResultFalse;
    found->addRef();
    return kResultOk;
}

tresult FController::getController(const ConstString& name, IController** controller)
{
    if (!controller)
        return kInvalidArgument;
    FController* found = findController(name);
    *controller = found;
    if (!found)
        return kResultFalse;
    found->addRef();
    return kResultOk;
}

void FController::valueChanged(IValue* value)
{
    if (auto* hostValue = FCast<UValue>(value))
        onValueChanged(hostValue);
}

UValue* FController::findValue(const ConstString&) const
{
    return nullptr;
}

FController* FController::findController(const ConstString&) const
{
    return nullptr;
}

void FController::update(FObject* sender, int32 message)
{
    if (message != kChanged)
        return;
    if (auto* value = FCast<UValue>(sender))
        onValueChanged(value);
}

// --- FControllerList ------------------------------------------------------------------------

FControllerList::~FControllerList()
{
    removeAll();
}

bool FControllerList::add(FController* controller)
{
    if (!controller || indexOf(controller) >= 0)
        return false;
    controller->addRef();
    controllers.push_back(controller);
    return true;
}

bool FControllerList::remove(FController* controller)
{
    int32 index = indexOf(controller);
    if (index < 0)
        return false;
    controllers.erase(controllers.begin() + index);
    controller->release();
    return true;
}

void FControllerList::removeAll()
{
    std::vector<FController*> old;
    old.swap(controllers);
    for (FController* controller : old)
        controller->release();
}

FController* FControllerList::at(int32 index) const
{
    return index >= 0 && index < count() ? controllers[size_t(index)] : nullptr;
}

int32 FControllerList::indexOf(const FController* controller) const
{
    auto it = std::find(controllers.begin(), controllers.end(), controller);
    return it == controllers.end() ? -1 : int32(it - controllers.begin());
}

} // namespace Quillmark
