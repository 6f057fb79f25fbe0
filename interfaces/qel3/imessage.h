// A message between the two halves of a plug-in: an identifier text and a list of typed
// attributes. The host creates messages on request through its host context.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

/** Named values of a message: integers, floating point numbers, 16-bit texts and binary
    blocks. Getters of texts and blocks hand out the list's own copy or copy into a buffer. */
class IAttributeList : public FUnknown
{
public:
    using AttrID = const char8*;

    virtual tresult setInt(AttrID id, int64 value) = 0;
    virtual tresult getInt(AttrID id, int64& value) = 0;
    virtual tresult setFloat(AttrID id, double value) = 0;
    virtual tresult getFloat(AttrID id, double& value) = 0;
    /** Stores a zero-terminated 16-bit text. */
    virtual tresult setString(AttrID id, const TChar* string) = 0;
    /** Copies a text into `string`, at most sizeInBytes / 2 units with the terminating zero. */
    virtual tresult getString(AttrID id, TChar* string, uint32 sizeInBytes) = 0;
    /** Stores a copy of `sizeInBytes` bytes. */
    virtual tresult setBinary(AttrID id, const void* data, uint32 sizeInBytes) = 0;
    /** Hands out the list's copy; the pointer stays valid as long as the list. */
    virtual tresult getBinary(AttrID id, const void*& data, uint32& sizeInBytes) = 0;

    QEL_INTERFACE_IID(0x1E5F0AEB, 0xCC7F4533, 0xA2544011, 0x38AD5EE4);
};

class IMessage : public FUnknown
{
public:
    /** The identifier text, or null when none is set. */
    virtual FIDString getMessageID() = 0;
    /** Sets the identifier text; null removes it. */
    virtual void setMessageID(FIDString id) = 0;
    /** The message's attributes, owned by the message (no reference added). */
    virtual IAttributeList* getAttributes() = 0;

    QEL_INTERFACE_IID(0x936F033B, 0xC6C047DB, 0xBB0882F8, 0x13C1E613);
};

} // namespace Qel
} // namespace Quillmark
