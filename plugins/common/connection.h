// The messaging side of a plug-in half: ConnectionPeer keeps the point a half is connected to,
// and createMessage asks the host for a new message. A component or controller that offers
// IConnectionPoint owns one ConnectionPeer and forwards connect and disconnect to it.
#pragma once

#include "common/iptr.h"
#include "qel3/iconnectionpoint.h"
#include "qel3/ihostapplication.h"
#include "qel3/imessage.h"

#include <cstring>

namespace Quillmark
{
namespace Qel
{

/** The other end of a connection, held with a reference of its own between connect and
    disconnect. The host joins and separates the halves on the main thread, while processing is
    off; `notify` may then be used from any thread in between. */
class ConnectionPeer
{
public:
    /** A null peer is refused, and so is a second connect: one peer at a time. */
    tresult connect(IConnectionPoint* other)
    {
        if (!other)
            return kInvalidArgument;
        if (peer)
            return kResultFalse;
        peer.reset(other);
        return kResultOk;
    }

    /** Only the connected peer can be disconnected. */
    tresult disconnect(IConnectionPoint* other)
    {
        if (!other || other != peer.get())
            return kInvalidArgument;
        peer.reset();
        return kResultOk;
    }

    bool isConnected() const { return static_cast<bool>(peer); }

    /** Hands `message` to the peer; kResultFalse when there is none. */
    tresult notify(IMessage* message) const
    {
        if (!peer || !message)
            return kResultFalse;
        return peer->notify(message);
    }

private:
    IPtr<IConnectionPoint> peer;
};

/** A new message from the host with identifier `id`, or null when the host makes none. Each call
    allocates inside the host. */
inline IPtr<IMessage> createMessage(IHostApplication* host, FIDString id)
{
    if (!host)
        return {};
    // createInstance takes writable identifiers: copies of the constant ones.
    TUID cid;
    TUID iid;
    std::memcpy(cid, IMessage::iid.bytes, sizeof(TUID));
    std::memcpy(iid, IMessage::iid.bytes, sizeof(TUID));
    void* object = nullptr;
    if (host->createInstance(cid, iid, &object) != kResultOk || !object)
        return {};
    IPtr<IMessage> message = IPtr<IMessage>::adopt(static_cast<IMessage*>(object));
    message->setMessageID(id);
    return message;
}

/** Whether `message` carries identifier `id`. */
inline bool isMessage(IMessage* message, FIDString id)
{
    if (!message || !id)
        return false;
    const FIDString messageId = message->getMessageID();
    return messageId && std::strcmp(messageId, id) == 0;
}

/** The host application interface of an initialize context, with a reference, or null. */
inline IPtr<IHostApplication> hostApplicationOf(FUnknown* context)
{
    void* object = nullptr;
    if (!context || context->queryInterface(IHostApplication::iid.bytes, &object) != kResultOk)
        return {};
    return IPtr<IHostApplication>::adopt(static_cast<IHostApplication*>(object));
}

} // namespace Qel
} // namespace Quillmark
