// The global lists that let other parts of the host take part in class creation: wrappers that
// turn a plug-in object of some kind into a host object, and observers told of each class that
// enters from a module. Entries are added by their owners and removed before those go away.
#pragma once

#include "base/fstring.h"
#include "base/fuid.h"

#include <vector>

namespace Quillmark
{

class FComponentDescription;

class FPluginWrapper
{
public:
    /** Gives the host object for `object` (one reference), or null to refuse it. */
    using WrapFunction = FUnknown* (*)(FUnknown* object, FComponentDescription* description);

    String category; // matches a class of this category when not empty
    FUID iid;        // otherwise matches an object that answers this interface, when valid
    WrapFunction wrap = nullptr;

    static void add(const FPluginWrapper& wrapper);
    static void remove(WrapFunction wrap);
    static const std::vector<FPluginWrapper>& list();
};

class IClassObserver
{
public:
    virtual void classAdded(FComponentDescription* description) = 0;

protected:
    ~IClassObserver() = default;
};

class FClassObservers
{
public:
    static void add(IClassObserver* observer);
    static void remove(IClassObserver* observer);
    static void tell(FComponentDescription* description);
};

} // namespace Quillmark
