// The host's own view of a timed object that a player walks: its position, length and the
// next object to play. This interface never crosses into a plug-in module; its identifier
// was chosen by this host, and only its operation order is fixed.
#pragma once

#include "qel3/funknown.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{

class IPlaybackObject : public FUnknown
{
public:
    /** The interface `iid` of the object's owner, or null; the reference is dropped at once,
        so the answer lives only as long as the owner does. */
    virtual FUnknown* getContext(const TUID iid) = 0;
    virtual IPlaybackObject* getNextPlayback() = 0;
    /** Positions and lengths are in quarter notes. */
    virtual double getStart() = 0;
    virtual double getLength() = 0;
    virtual double getEnd() = 0;
    virtual double getOffset() = 0;

    QEL_INTERFACE_IID(0x7C1E52A9, 0x44B04D3F, 0x9A6E18C2, 0x5D0B7F31);
};

} // namespace Quillmark
