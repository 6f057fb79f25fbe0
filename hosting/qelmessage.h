// A message between the two halves of a plug-in, made by the host context on request. Its
// identifier is the attribute "QelMessageID" of its own list, so a copy of the attributes
// carries the identifier along. Reference counted; the creator holds the first reference.
#pragma once

#include "hosting/qelattributelist.h"
#include "qel3/imessage.h"

namespace Quillmark
{
namespace Qel
{

class QelMessage : public CmObject, public IMessage
{
    QEL_DECLARE_CLASS(QelMessage, CmObject)
public:
    /** The attribute that holds the identifier. */
    static constexpr const char8* kMessageIDAttribute = "QelMessageID";

    QelMessage() = default;

    // IMessage
    /** Valid until the identifier changes. */
    FIDString getMessageID() override;
    void setMessageID(FIDString id) override;
    IAttributeList* getAttributes() override { return &attributes; }

    QelAttributeList& getAttributeList() { return attributes; }
    const QelAttributeList& getAttributeList() const { return attributes; }

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    QelAttributeList attributes;
};

} // namespace Qel
} // namespace Quillmark
