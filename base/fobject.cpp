#include "base/fobject.h"

#include "base/iupdatehandler.h"

#include <cstdint>

namespace Quillmark
{

namespace
{
std::atomic<IUpdateHandler*> gUpdateHandler{nullptr};
}

tresult FObject::queryInterface(const TUID iid, void** obj)
{
    if (iidEqual(iid, FObject::iid.bytes))
    {
        addRef();
        *obj = this;
        return kResultOk;
    }
    QEL_QUERY_INTERFACE(iid, obj, IDependent)
    if (iidEqual(iid, FUnknown::iid.bytes))
    {
        addRef();
        *obj = static_cast<FUnknown*>(static_cast<IDependent*>(this));
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 FObject::addRef()
{
    return uint32(refCount.fetch_add(1) + 1);
}

uint32 FObject::release()
{
    int32 count = refCount.fetch_sub(1) - 1;
    if (count == 0)
    {
        refCount.store(kDestroyedRefCount);
        delete this;
        return 0;
    }
    return uint32(count);
}

void FObject::update(FUnknown*, int32) {}

bool FObject::isTypeOf(FClassID className, bool) const
{
    return classIDsEqual(className, "FObject");
}

void FObject::changed(int32 message)
{
    if (IUpdateHandler* handler = getUpdateHandler())
        handler->triggerUpdates(this, message);
    else
        updateDone(message);
}

void FObject::deferChanged(int32 message)
{
    if (IUpdateHandler* handler = getUpdateHandler())
        handler->deferUpdates(this, message);
    else
        updateDone(message);
}

void FObject::updateDone(int32) {}

FObject* FObject::unknownToObject(FUnknown* unknown)
{
    if (!unknown)
        return nullptr;
    void* object = nullptr;
    if (unknown->queryInterface(FObject::iid.bytes, &object) == kResultOk && object)
    {
        auto* result = static_cast<FObject*>(object);
        result->release();
        return result;
    }
    return nullptr;
}

IUpdateHandler* FObject::getUpdateHandler()
{
    return gUpdateHandler.load();
}

void FObject::setUpdateHandler(IUpdateHandler* handler)
{
    gUpdateHandler.store(handler);
}

void CmObject::update(FUnknown* changedUnknown, int32 message)
{
    update(FObject::unknownToObject(changedUnknown), message);
}

bool CmObject::isTypeOf(FClassID className, bool recursive) const
{
    if (classIDsEqual(className, "CmObject"))
        return true;
    return recursive && FObject::isTypeOf(className, true);
}

int32 CmObject::compare(const CmObject* other) const
{
    if (other == this)
        return 0;
    return reinterpret_cast<std::uintptr_t>(this) < reinterpret_cast<std::uintptr_t>(other) ? -1
                                                                                            : 1;
}

uint32 CmObject::hash(uint32 tableSize) const
{
    if (tableSize == 0)
        return 0;
    return uint32((reinterpret_cast<std::uintptr_t>(this) >> 4) % tableSize);
}

void CmObject::update(FObject*, int32) {}

void CmObject::notify(FMessage*) {}

} // namespace Quillmark
