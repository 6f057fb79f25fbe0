// The reference-counted base of every object a module hands to the host. It implements the three
// FUnknown operations for a list of interfaces; the creator holds the first reference and the
// last release deletes the object.
#pragma once

#include "qel3/funknown.h"

#include <atomic>

namespace Quillmark
{
namespace Qel
{

/** `Primary` also stands for FUnknown; `Others` are further interfaces the object implements.
    queryInterface answers all of them. A class that implements an interface derived from one of
    these (or wants to answer fewer) overrides queryInterface and uses `offer`. */
template <class Primary, class... Others> class PluginObject : public Primary, public Others...
{
public:
    PluginObject(const PluginObject&) = delete;
    PluginObject& operator=(const PluginObject&) = delete;

    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (offer<Primary>(iid, obj) || (offer<Others>(iid, obj) || ...) ||
            offer<FUnknown, Primary>(iid, obj))
            return kResultOk;
        return refuse(iid, obj);
    }

    /** The object as FUnknown, through its primary interface. */
    FUnknown* asUnknown() { return static_cast<Primary*>(this); }

    uint32 addRef() override { return refCount.fetch_add(1, std::memory_order_relaxed) + 1; }

    uint32 release() override
    {
        // acq_rel: every write made through other references happens before the delete.
        const uint32 count = refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (count == 0)
            delete this;
        return count;
    }

protected:
    PluginObject() = default;
    virtual ~PluginObject() = default;

    /** Answers interface `I` when `iid` names it: `*obj` gets the object as `I` with one
        reference added. `Via` picks the path to `I` when several bases lead to it. */
    template <class I, class Via = I> bool offer(const TUID iid, void** obj)
    {
        if (!iid || !obj || !iidEqual(iid, I::iid.bytes))
            return false;
        addRef();
        *obj = static_cast<I*>(static_cast<Via*>(this));
        return true;
    }

    /** The answer to an identifier the object does not know, or to a null argument. */
    static tresult refuse(const TUID iid, void** obj)
    {
        if (obj)
            *obj = nullptr;
        return iid && obj ? kNoInterface : kInvalidArgument;
    }

private:
    std::atomic<uint32> refCount{1};
};

} // namespace Qel
} // namespace Quillmark
