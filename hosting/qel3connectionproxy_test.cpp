#include "hosting/qel3connectionproxy.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "hosting/qelhostcontext.h"
#include "qel3/imessage.h"
#include "qel3/iunithandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

uint32 refCount(FUnknown* object)
{
    uint32 count = object->addRef();
    object->release();
    return count - 1;
}

/** What a plug-in half saw of one message. */
struct Received
{
    std::string id;
    std::thread::id thread;
    int64 number = 0;
    double gain = 0;
    std::u16string title;
    std::vector<uint8> blob;
};

/** One half of a plug-in with its connection point. It records what it is told and keeps no
    message. It also offers a second interface, to see queries pass through a proxy. */
class PlugHalf : public IConnectionPoint, public IUnitHandler
{
public:
    tresult connect(IConnectionPoint* other) override
    {
        ++connectCalls;
        if (connectResult == kResultOk)
            peer = other;
        return connectResult;
    }
    tresult disconnect(IConnectionPoint* other) override
    {
        ++disconnectCalls;
        if (other != peer)
            return kInvalidArgument;
        peer = nullptr;
        return kResultOk;
    }
    tresult notify(IMessage* message) override
    {
        Received seen;
        seen.thread = std::this_thread::get_id();
        if (message->getMessageID())
            seen.id = message->getMessageID();
        IAttributeList* attributes = message->getAttributes();
        attributes->getInt("number", seen.number);
        attributes->getFloat("gain", seen.gain);
        TChar title[64] = {};
        if (attributes->getString("title", title, sizeof(title)) == kResultOk)
            seen.title = title;
        const void* data = nullptr;
        uint32 size = 0;
        if (attributes->getBinary("blob", data, size) == kResultOk)
            seen.blob.assign(static_cast<const uint8*>(data),
                             static_cast<const uint8*>(data) + size);
        std::lock_guard<std::mutex> guard(mutex);
        received.push_back(seen);
        return notifyResult;
    }

    tresult notifyUnitSelection(UnitID) override { return kResultOk; }
    tresult notifyProgramListChange(ProgramListID, int32) override { return kResultOk; }

    tresult queryInterface(const TUID iid, void** obj) override
    {
        if (iidEqual(iid, IConnectionPoint::iid.bytes) || iidEqual(iid, FUnknown::iid.bytes))
            *obj = static_cast<IConnectionPoint*>(this);
        else if (iidEqual(iid, IUnitHandler::iid.bytes))
            *obj = static_cast<IUnitHandler*>(this);
        else
        {
            *obj = nullptr;
            return kNoInterface;
        }
        addRef();
        return kResultOk;
    }
    uint32 addRef() override { return uint32(++refs); }
    uint32 release() override { return uint32(--refs); }

    std::vector<Received> takeReceived()
    {
        std::lock_guard<std::mutex> guard(mutex);
        return std::move(received);
    }

    std::atomic<int32> refs{1};
    IConnectionPoint* peer = nullptr;
    int32 connectCalls = 0;
    int32 disconnectCalls = 0;
    tresult connectResult = kResultOk;
    tresult notifyResult = kResultOk;

private:
    std::mutex mutex;
    std::vector<Received> received;
};

/** A message made by the host context, as a plug-in asks for one. */
IMessage* newMessage(const char8* id)
{
    TUID cid;
    std::memcpy(cid, IMessage::iid.bytes, 16);
    void* object = nullptr;
    QelHostContext::instance()->createInstance(cid, cid, &object);
    auto* message = static_cast<IMessage*>(object);
    if (message)
        message->setMessageID(id);
    return message;
}

/** Two plug-in halves with a proxy each, joined as the rack joins them. */
class ConnectionProxy : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // Nothing left over from other tests may be delivered in the middle of these.
        FMainLoop::instance()->dispatchDue();
        componentProxy = new QEL3ConnectionProxy(&component);
        controllerProxy = new QEL3ConnectionProxy(&controller);
    }
    void TearDown() override
    {
        if (componentProxy->isConnected())
            componentProxy->disconnect(componentProxy->getDestination());
        if (controllerProxy->isConnected())
            controllerProxy->disconnect(controllerProxy->getDestination());
        componentProxy->release();
        controllerProxy->release();
        EXPECT_EQ(component.refs, 1);
        EXPECT_EQ(controller.refs, 1);
    }
    void join()
    {
        ASSERT_EQ(componentProxy->connect(&controller), kResultOk);
        ASSERT_EQ(controllerProxy->connect(&component), kResultOk);
    }

    PlugHalf component;
    PlugHalf controller;
    QEL3ConnectionProxy* componentProxy = nullptr;
    QEL3ConnectionProxy* controllerProxy = nullptr;
};

TEST_F(ConnectionProxy, ConnectMakesTheProxyThePeerOfItsSource)
{
    EXPECT_EQ(componentProxy->connect(nullptr), kInvalidArgument);
    EXPECT_EQ(component.connectCalls, 0);

    // Each half is already held by its own proxy as its source.
    EXPECT_EQ(component.refs, 2);
    ASSERT_EQ(componentProxy->connect(&controller), kResultOk);
    EXPECT_EQ(component.peer, static_cast<IConnectionPoint*>(componentProxy));
    EXPECT_EQ(componentProxy->getDestination(), &controller);
    EXPECT_EQ(controller.refs, 3) << "the proxy holds its destination";
}

TEST_F(ConnectionProxy, SecondConnectChangesNothing)
{
    PlugHalf other;
    ASSERT_EQ(componentProxy->connect(&controller), kResultOk);
    EXPECT_EQ(componentProxy->connect(&other), kResultFalse);
    EXPECT_EQ(componentProxy->connect(&controller), kResultFalse);
    EXPECT_EQ(componentProxy->getDestination(), &controller);
    EXPECT_EQ(component.connectCalls, 1);
    EXPECT_EQ(other.refs, 1);
    EXPECT_EQ(controller.refs, 3);
}

TEST_F(ConnectionProxy, RefusedConnectLeavesItUnconnected)
{
    component.connectResult = kNotImplemented;
    EXPECT_EQ(componentProxy->connect(&controller), kNotImplemented);
    EXPECT_FALSE(componentProxy->isConnected());
    EXPECT_EQ(controller.refs, 2);

    IMessage* message = newMessage("Lost");
    EXPECT_EQ(componentProxy->notify(message), kResultFalse);
    message->release();
    EXPECT_TRUE(controller.takeReceived().empty());

    // A later attempt may succeed.
    component.connectResult = kResultOk;
    EXPECT_EQ(componentProxy->connect(&controller), kResultOk);
}

TEST_F(ConnectionProxy, DisconnectOnlyFromThePeer)
{
    join();
    PlugHalf stranger;
    EXPECT_EQ(componentProxy->disconnect(&stranger), kInvalidArgument);
    EXPECT_EQ(componentProxy->disconnect(nullptr), kInvalidArgument);
    EXPECT_EQ(componentProxy->getDestination(), &controller);
    EXPECT_EQ(component.disconnectCalls, 0);

    EXPECT_EQ(componentProxy->disconnect(&controller), kResultOk);
    EXPECT_EQ(component.disconnectCalls, 1);
    EXPECT_EQ(component.peer, nullptr);
    EXPECT_FALSE(componentProxy->isConnected());
    EXPECT_EQ(controller.refs, 2);
    EXPECT_EQ(componentProxy->disconnect(&controller), kInvalidArgument);

    IMessage* message = newMessage("AfterDisconnect");
    EXPECT_EQ(componentProxy->notify(message), kResultFalse);
    message->release();
}

TEST_F(ConnectionProxy, OnTheMainThreadAMessagePassesStraightThrough)
{
    join();
    controller.notifyResult = kNotImplemented;
    IMessage* message = newMessage("Now");
    message->getAttributes()->setInt("number", 7);
    // The plug-in half talks to its peer, which is the proxy.
    EXPECT_EQ(component.peer->notify(message), kNotImplemented);
    EXPECT_FALSE(FMainLoop::instance()->isPending(componentProxy));
    std::vector<Received> received = controller.takeReceived();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].id, "Now");
    EXPECT_EQ(received[0].number, 7);
    EXPECT_EQ(refCount(message), 1u);
    message->release();
}

TEST_F(ConnectionProxy, MessageFromAnotherThreadArrivesOnTheMainThread)
{
    join();
    IMessage* kept = nullptr;
    tresult sent = kNotImplemented;
    std::thread audio(
        [&]
        {
            IMessage* message = newMessage("Meter");
            IAttributeList* attributes = message->getAttributes();
            attributes->setInt("number", -42);
            attributes->setFloat("gain", 0.5);
            attributes->setString("title", u"Level");
            const uint8 bytes[] = {0xDE, 0xAD, 0xBE, 0xEF};
            attributes->setBinary("blob", bytes, 4);
            sent = component.peer->notify(message);
            kept = message; // the plug-in keeps its message after notify
        });
    audio.join();

    EXPECT_EQ(sent, kResultOk);
    ASSERT_NE(kept, nullptr);
    EXPECT_TRUE(controller.takeReceived().empty()) << "nothing may arrive off the main thread";
    EXPECT_TRUE(
        FMainLoop::instance()->isPending(componentProxy, QEL3ConnectionProxy::kCarrierName));
    EXPECT_EQ(refCount(kept), 2u) << "the queued carrier holds the message";

    EXPECT_GE(FMainLoop::instance()->dispatchWithin(1000), 1);
    std::vector<Received> received = controller.takeReceived();
    ASSERT_EQ(received.size(), 1u);
    EXPECT_EQ(received[0].thread, std::this_thread::get_id());
    EXPECT_EQ(received[0].id, "Meter");
    EXPECT_EQ(received[0].number, -42);
    EXPECT_EQ(received[0].gain, 0.5);
    EXPECT_EQ(received[0].title, u"Level");
    EXPECT_EQ(received[0].blob, (std::vector<uint8>{0xDE, 0xAD, 0xBE, 0xEF}));
    EXPECT_EQ(refCount(kept), 1u) << "delivery drops the carrier's reference";
    kept->release();
}

TEST_F(ConnectionProxy, MessagesFromAnotherThreadKeepTheirOrder)
{
    join();
    std::thread audio(
        [&]
        {
            for (int64 i = 0; i < 5; ++i)
            {
                IMessage* message = newMessage("Step");
                message->getAttributes()->setInt("number", i);
                component.peer->notify(message);
                message->release(); // the carrier keeps it alive
            }
        });
    audio.join();
    FMainLoop::instance()->dispatchDue();
    std::vector<Received> received = controller.takeReceived();
    ASSERT_EQ(received.size(), 5u);
    for (int64 i = 0; i < 5; ++i)
        EXPECT_EQ(received[size_t(i)].number, i);
}

TEST_F(ConnectionProxy, DisconnectDropsEveryQueuedMessage)
{
    join();
    std::vector<IMessage*> kept;
    std::thread audio(
        [&]
        {
            for (int i = 0; i < 3; ++i)
            {
                kept.push_back(newMessage("Pending"));
                component.peer->notify(kept.back());
            }
        });
    audio.join();
    ASSERT_EQ(kept.size(), 3u);
    EXPECT_EQ(refCount(kept[0]), 2u);

    ASSERT_EQ(componentProxy->disconnect(&controller), kResultOk);
    EXPECT_FALSE(FMainLoop::instance()->isPending(componentProxy));
    FMainLoop::instance()->dispatchDue();
    EXPECT_TRUE(controller.takeReceived().empty());
    for (IMessage* message : kept)
    {
        EXPECT_EQ(refCount(message), 1u);
        message->release();
    }
}

TEST_F(ConnectionProxy, CarrierForAProxyWithoutPeerIsDropped)
{
    IMessage* message = newMessage("Orphan");
    auto* carrier = new FMessage(QEL3ConnectionProxy::kCarrierName);
    carrier->setObject(QEL3ConnectionProxy::kMessageAttribute, message);
    componentProxy->notify(carrier);
    carrier->release();
    EXPECT_EQ(refCount(message), 1u);
    message->release();
    EXPECT_TRUE(controller.takeReceived().empty());
    EXPECT_TRUE(component.takeReceived().empty());
}

TEST_F(ConnectionProxy, QueriesGoToThePeerOnlyWhenForwarded)
{
    void* answer = nullptr;
    ASSERT_EQ(componentProxy->queryInterface(IConnectionPoint::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IConnectionPoint*>(componentProxy));
    static_cast<IConnectionPoint*>(answer)->release();

    join();
    EXPECT_EQ(componentProxy->queryInterface(IUnitHandler::iid.bytes, &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);

    componentProxy->setForwardQueries(true);
    ASSERT_EQ(componentProxy->queryInterface(IUnitHandler::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IUnitHandler*>(&controller));
    static_cast<IUnitHandler*>(answer)->release();

    // The proxy's own interfaces come before the peer's.
    ASSERT_EQ(componentProxy->queryInterface(IConnectionPoint::iid.bytes, &answer), kResultOk);
    EXPECT_EQ(answer, static_cast<IConnectionPoint*>(componentProxy));
    static_cast<IConnectionPoint*>(answer)->release();

    // The host still recognises its own object behind the interface.
    EXPECT_EQ(FCast<QEL3ConnectionProxy>(static_cast<IConnectionPoint*>(componentProxy)),
              componentProxy);
}

} // namespace
