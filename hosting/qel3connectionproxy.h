// Stands between the host and the connection point of one half of a plug-in. Messages that the
// plug-in sends off the main thread are queued and delivered to the peer on the main thread.
// The rack creates one per half and owns it for as long as the connection lasts.
#pragma once

#include "base/fobject.h"
#include "qel3/iconnectionpoint.h"

#include <atomic>

namespace Quillmark
{
namespace Qel
{

class QEL3ConnectionProxy : public CmObject, public IConnectionPoint
{
    QEL_DECLARE_CLASS(QEL3ConnectionProxy, CmObject)
public:
    /** The name of the carrier that a message travels in through the main loop, and the
        attribute that holds the message in it. */
    static constexpr const char8* kCarrierName = "msg";
    static constexpr const char8* kMessageAttribute = "msg";

    /** `source` is the connection point of the plug-in half that this proxy wraps. */
    explicit QEL3ConnectionProxy(IConnectionPoint* source);
    ~QEL3ConnectionProxy() override;
    QEL3ConnectionProxy(const QEL3ConnectionProxy&) = delete;
    QEL3ConnectionProxy& operator=(const QEL3ConnectionProxy&) = delete;

    // IConnectionPoint, main thread only except notify.
    tresult connect(IConnectionPoint* other) override;
    tresult disconnect(IConnectionPoint* other) override;
    /** Any thread. On the main thread the peer's answer; elsewhere kResultOk at once, and the
        message reaches the peer from the main loop. */
    tresult notify(IMessage* message) override;

    /** Delivers a carrier posted by notify. */
    void notify(FMessage* message) override;

    IConnectionPoint* getSource() const { return source; }
    IConnectionPoint* getDestination() const { return destination.load(); }
    bool isConnected() const { return destination.load() != nullptr; }
    /** When set, queries for interfaces the proxy does not have go on to the peer. */
    void setForwardQueries(bool state) { forwardQueries = state; }
    bool getForwardQueries() const { return forwardQueries; }

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    IConnectionPoint* source;
    // Written on the main thread only; read by notify on any thread.
    std::atomic<IConnectionPoint*> destination{nullptr};
    bool forwardQueries = false;
};

} // namespace Qel
} // namespace Quillmark
