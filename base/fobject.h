// The root classes of the host: FObject gives reference counting, interface queries and type
// checks by class name; CmObject adds identity comparison and the hooks most host classes use.
// The creator holds the first reference; release to zero destroys.
#pragma once

#include "base/idependent.h"

#include <atomic>
#include <cstring>

namespace Quillmark
{

using FClassID = const char8*;

/** True when both names are non-null and equal, case-sensitively. */
inline bool classIDsEqual(FClassID a, FClassID b)
{
    return a && b && std::strcmp(a, b) == 0;
}

class IUpdateHandler;
class FMessage;

class FObject : public IDependent
{
public:
    /** Written into the count when release reaches zero, so a later call is visibly wrong. */
    static constexpr int32 kDestroyedRefCount = -1000;

    FObject() = default;
    FObject(const FObject&) : FObject() {}
    FObject& operator=(const FObject&) { return *this; }
    virtual ~FObject() = default;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override;
    uint32 release() override;
    void update(FUnknown* changedUnknown, int32 message) override;

    virtual bool isA(FClassID className) const { return isTypeOf(className, false); }
    virtual FClassID isTypeName() const { return "FObject"; }
    virtual bool isTypeOf(FClassID className, bool recursive = true) const;
    /** Tells the dependents through the global update handler, or updateDone without one. */
    virtual void changed(int32 message = kChanged);
    /** Like changed, but delivered later from idle time. */
    virtual void deferChanged(int32 message = kChanged);
    virtual void updateDone(int32 message);

    int32 getRefCount() const { return refCount.load(); }

    static FClassID getFClassID() { return "FObject"; }
    /** The object behind a foreign interface pointer when it is one of the host's own. */
    static FObject* unknownToObject(FUnknown* unknown);

    /** The process-wide update handler, or null. */
    static IUpdateHandler* getUpdateHandler();
    static void setUpdateHandler(IUpdateHandler* handler);

    /** The all-zero identifier: a private request that no plug-in object answers. */
    static constexpr QelUid iid{0, 0, 0, 0};

private:
    std::atomic<int32> refCount{1};
};

/** The base of almost all host classes. */
class CmObject : public FObject
{
public:
    using FObject::update;
    void update(FUnknown* changedUnknown, int32 message) override;

    FClassID isTypeName() const override { return "CmObject"; }
    bool isTypeOf(FClassID className, bool recursive = true) const override;
    static FClassID getFClassID() { return "CmObject"; }

    virtual bool isEqual(const CmObject* other) const { return other == this; }
    virtual int32 compare(const CmObject* other) const;
    virtual uint32 hash(uint32 tableSize) const;
    virtual void update(FObject* sender, int32 message);
    /** Receives a message sent to this object, at once or through the main loop. */
    virtual void notify(FMessage* message);
};

/** Declares the class name of a host class and chains type checks to its base. */
#define QEL_DECLARE_CLASS(ClassName, BaseClass)                                                    \
public:                                                                                            \
    static ::Quillmark::FClassID getFClassID()                                                     \
    {                                                                                              \
        return #ClassName;                                                                         \
    }                                                                                              \
    ::Quillmark::FClassID isTypeName() const override                                              \
    {                                                                                              \
        return #ClassName;                                                                         \
    }                                                                                              \
    bool isTypeOf(::Quillmark::FClassID className, bool recursive = true) const override           \
    {                                                                                              \
        if (::Quillmark::classIDsEqual(className, #ClassName))                                     \
            return true;                                                                           \
        return recursive && BaseClass::isTypeOf(className, true);                                  \
    }

/** Answers one interface from queryInterface with a reference added. */
#define QEL_QUERY_INTERFACE(iidArg, objArg, Interface)                                             \
    if (::Quillmark::iidEqual(iidArg, Interface::iid.bytes))                                       \
    {                                                                                              \
        addRef();                                                                                  \
        *(objArg) = static_cast<Interface*>(this);                                                 \
        return ::Quillmark::kResultOk;                                                             \
    }

/** The host object behind `object` as class T, or null when it is of another class. */
template <class T> T* FCast(FObject* object)
{
    return object && object->isTypeOf(T::getFClassID(), true) ? static_cast<T*>(object) : nullptr;
}

template <class T> const T* FCast(const FObject* object)
{
    return object && object->isTypeOf(T::getFClassID(), true) ? static_cast<const T*>(object)
                                                              : nullptr;
}

/** Host object behind an interface pointer, as class T. */
template <class T> T* FCast(FUnknown* unknown)
{
    return FCast<T>(FObject::unknownToObject(unknown));
}

} // namespace Quillmark
