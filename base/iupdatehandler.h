// The process-wide change dispatcher as objects see it: dependents are attached to an object
// and hear its changes, at once or deferred to idle time.
#pragma once

#include "base/idependent.h"

namespace Quillmark
{

class IUpdateHandler : public FUnknown
{
public:
    virtual tresult addDependent(FUnknown* object, IDependent* dependent) = 0;
    virtual tresult removeDependent(FUnknown* object, IDependent* dependent) = 0;
    virtual tresult triggerUpdates(FUnknown* object, int32 message) = 0;
    virtual tresult deferUpdates(FUnknown* object, int32 message) = 0;

    QEL_INTERFACE_IID(0xF5246D56, 0x86544D60, 0xB026AFB5, 0x7B697B37);
};

/** The idle side of the same dispatcher: drops or delivers the changes waiting for idle time. */
class IUpdateManager : public FUnknown
{
public:
    /** Drops every deferred change of `object`. */
    virtual tresult cancelUpdates(FUnknown* object) = 0;
    /** Delivers the deferred changes of `object`, or of every object when it is null. */
    virtual tresult triggerDeferedUpdates(FUnknown* object = nullptr) = 0;

    QEL_INTERFACE_IID(0xBD1BF57C, 0x06224521, 0x96C190F9, 0x7E656374);
};

} // namespace Quillmark
