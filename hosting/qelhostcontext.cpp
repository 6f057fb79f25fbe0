#include "hosting/qelhostcontext.h"

#include "base/singleton.h"
#include "hosting/qelmessage.h"

namespace Quillmark
{
namespace Qel
{

QelHostContext::QelHostContext() : displayName("Qel3PluginTestHost") {}

QelHostContext* QelHostContext::instance()
{
    return singletonInstance<QelHostContext>();
}

void QelHostContext::setDisplayName(const std::string& name)
{
    displayName = name;
}

tresult QelHostContext::getName(String128 name)
{
    if (!name)
        return kInvalidArgument;
    // The name is plain ASCII or UTF-8; each byte sequence is decoded to 16-bit units.
    size_t out = 0;
    const auto* text = reinterpret_cast<const unsigned char*>(displayName.c_str());
    while (*text && out < 127)
    {
        char32_t cp = *text++;
        int extra = cp >= 0xF0 ? 3 : cp >= 0xE0 ? 2 : cp >= 0xC0 ? 1 : 0;
        if (extra)
            cp &= (0x3F >> extra);
        for (; extra > 0 && (*text & 0xC0) == 0x80; --extra)
            cp = (cp << 6) | (*text++ & 0x3F);
        if (cp >= 0x10000)
        {
            if (out + 2 > 127)
                break;
            cp -= 0x10000;
            name[out++] = char16(0xD800 + (cp >> 10));
            name[out++] = char16(0xDC00 + (cp & 0x3FF));
        }
        else
            name[out++] = char16(cp);
    }
    name[out] = 0;
    return kResultOk;
}

tresult QelHostContext::createInstance(TUID cid, TUID iid, void** obj)
{
    if (!cid || !iid || !obj)
        return kInvalidArgument;
    // Messages are the only class a plug-in can ask the host for; attribute lists come with
    // their message.
    if (!iidEqual(cid, IMessage::iid.bytes))
        return kResultFalse;
    auto* message = new QelMessage;
    tresult result = message->queryInterface(iid, obj);
    message->release();
    return result;
}

tresult QelHostContext::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IHostApplication)
    return FObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
