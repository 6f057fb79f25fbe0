#include "hosting/qel3connectionproxy.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "qel3/imessage.h"

namespace Quillmark
{
namespace Qel
{

QEL3ConnectionProxy::QEL3ConnectionProxy(IConnectionPoint* source) : source(source)
{
    if (source)
        source->addRef();
}

QEL3ConnectionProxy::~QEL3ConnectionProxy()
{
    // Queued carriers hold references to the proxy, so none is left once it is destroyed.
    if (IConnectionPoint* peer = destination.exchange(nullptr))
        peer->release();
    if (source)
        source->release();
}

tresult QEL3ConnectionProxy::connect(IConnectionPoint* other)
{
    if (!other)
        return kInvalidArgument;
    if (destination.load())
        return kResultFalse;
    // The peer is stored before the plug-in half is told, so that a message it sends from
    // within its connect already finds the way.
    destination = other;
    tresult result = source ? source->connect(this) : kResultFalse;
    if (result != kResultOk)
    {
        destination = nullptr;
        return result;
    }
    other->addRef();
    return kResultOk;
}

tresult QEL3ConnectionProxy::disconnect(IConnectionPoint* other)
{
    IConnectionPoint* peer = destination.load();
    if (!other || other != peer)
        return kInvalidArgument;
    if (source)
        source->disconnect(this);
    destination = nullptr;
    peer->release();
    // A message still queued must not reach a peer that is gone.
    if (FMainLoop* loop = FMainLoop::instance())
        loop->cancel(this);
    return kResultOk;
}

tresult QEL3ConnectionProxy::notify(IMessage* message)
{
    IConnectionPoint* peer = destination.load();
    if (!peer)
        return kResultFalse;
    if (FMainLoop::isMainThread())
    {
        // The peer may disconnect from within its notify; it stays alive until the call ends.
        peer->addRef();
        tresult result = peer->notify(message);
        peer->release();
        return result;
    }

    if (!message)
        return kInvalidArgument;
    FMainLoop* loop = FMainLoop::instance();
    if (!loop)
        return kResultFalse;
    auto* carrier = new FMessage(kCarrierName);
    carrier->setObject(kMessageAttribute, message);
    loop->post(this, carrier);
    carrier->release();
    return kResultOk;
}

void QEL3ConnectionProxy::notify(FMessage* message)
{
    if (!message || !message->is(kCarrierName))
    {
        CmObject::notify(message);
        return;
    }
    IConnectionPoint* peer = destination.load();
    FUnknown* carried = message->getObject(kMessageAttribute);
    if (!peer || !carried)
        return;
    void* object = nullptr;
    if (carried->queryInterface(IMessage::iid.bytes, &object) != kResultOk || !object)
        return;
    auto* plugMessage = static_cast<IMessage*>(object);
    peer->addRef();
    peer->notify(plugMessage);
    peer->release();
    plugMessage->release();
}

tresult QEL3ConnectionProxy::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IConnectionPoint)
    if (IConnectionPoint* peer = destination.load(); forwardQueries && peer)
    {
        if (peer->queryInterface(iid, obj) == kResultOk)
            return kResultOk;
    }
    return CmObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
