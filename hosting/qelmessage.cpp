#include "hosting/qelmessage.h"

namespace Quillmark
{
namespace Qel
{

FIDString QelMessage::getMessageID()
{
    return attributes.getString8(kMessageIDAttribute);
}

void QelMessage::setMessageID(FIDString id)
{
    attributes.setString8(kMessageIDAttribute, id);
}

tresult QelMessage::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IMessage)
    return CmObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
