// The point through which the two halves of a plug-in exchange messages, directly or through a
// proxy of the host that stands between them.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace Qel
{

class IMessage;

class IConnectionPoint : public FUnknown
{
public:
    /** Joins this point to `other`; messages from this point go to `other` from now on. */
    virtual tresult connect(IConnectionPoint* other) = 0;
    /** Separates this point from `other`, which must be the connected peer. */
    virtual tresult disconnect(IConnectionPoint* other) = 0;
    /** Hands a message to this point; the message is borrowed for the call. */
    virtual tresult notify(IMessage* message) = 0;

    QEL_INTERFACE_IID(0x70A4156F, 0x6E6E4026, 0x989148BF, 0xAA60D8D1);
};

} // namespace Qel
} // namespace Quillmark
