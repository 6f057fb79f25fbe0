// The interface of an object that hears about changes of another: one operation with a
// message code. Code 2 announces the end of the changed object's life.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

class IDependent : public FUnknown
{
public:
    enum ChangeMessage : int32
    {
        kWillChange = 0,
        kChanged = 1,
        kDestroyed = 2,
        kWillDestroy = 3,
    };

    virtual void update(FUnknown* changedUnknown, int32 message) = 0;

    QEL_INTERFACE_IID(0xF52B7AAE, 0xDE72416D, 0x8AF18ACE, 0x9DD7BD5E);
};

} // namespace Quillmark
