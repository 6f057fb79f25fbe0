#include "hosting/qelhostcontext.h"
#include "hosting/qelmessage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

TEST(QelMessage, IdentifierIsAnAttributeOfItsList)
{
    QelMessage message;
    EXPECT_EQ(message.getMessageID(), nullptr);

    std::string id = "SetSample";
    message.setMessageID(id.c_str());
    id = "Overwritten";
    ASSERT_NE(message.getMessageID(), nullptr);
    EXPECT_STREQ(message.getMessageID(), "SetSample");

    // The plug-in can read the identifier like any other text of the list.
    TChar text[32];
    ASSERT_EQ(
        message.getAttributes()->getString(QelMessage::kMessageIDAttribute, text, sizeof(text)),
        kResultOk);
    EXPECT_EQ(std::u16string(text), u"SetSample");

    // A copy of the attributes carries the identifier.
    QelMessage copy;
    copy.getAttributeList().copyFrom(message.getAttributeList());
    ASSERT_NE(copy.getMessageID(), nullptr);
    EXPECT_STREQ(copy.getMessageID(), "SetSample");
}

TEST(QelMessage, NullIdentifierRemovesIt)
{
    QelMessage message;
    message.setMessageID("Ping");
    message.getAttributes()->setInt("value", 3);
    message.setMessageID(nullptr);
    EXPECT_EQ(message.getMessageID(), nullptr);
    EXPECT_EQ(message.getAttributeList().getType(QelMessage::kMessageIDAttribute),
              QelAttributeList::kNoValue);
    EXPECT_EQ(message.getAttributeList().count(), 1);
}

TEST(QelMessage, IdentifierSetAsAnotherTypeIsNoIdentifier)
{
    QelMessage message;
    message.getAttributes()->setInt(QelMessage::kMessageIDAttribute, 12);
    EXPECT_EQ(message.getMessageID(), nullptr);
}

TEST(QelHostContext, CreatesMessagesForTheAskedInterface)
{
    QelHostContext* host = QelHostContext::instance();
    ASSERT_NE(host, nullptr);
    TUID cid;
    TUID iid;
    std::memcpy(cid, IMessage::iid.bytes, 16);
    std::memcpy(iid, IMessage::iid.bytes, 16);

    void* object = nullptr;
    ASSERT_EQ(host->createInstance(cid, iid, &object), kResultOk);
    ASSERT_NE(object, nullptr);
    auto* message = static_cast<IMessage*>(object);
    message->setMessageID("Hello");
    EXPECT_STREQ(message->getMessageID(), "Hello");
    // The creation reference is gone: the caller holds the only one.
    EXPECT_EQ(message->addRef(), 2u);
    EXPECT_EQ(message->release(), 1u);
    EXPECT_EQ(message->release(), 0u);

    std::memcpy(iid, FUnknown::iid.bytes, 16);
    object = nullptr;
    ASSERT_EQ(host->createInstance(cid, iid, &object), kResultOk);
    ASSERT_NE(object, nullptr);
    static_cast<FUnknown*>(object)->release();

    // An interface that a message does not have: the query's own answer.
    std::memcpy(iid, IHostApplication::iid.bytes, 16);
    object = &cid;
    EXPECT_EQ(host->createInstance(cid, iid, &object), kNoInterface);
    EXPECT_EQ(object, nullptr);
}

TEST(QelHostContext, RefusesEveryOtherClassAndLeavesTheOutPointer)
{
    QelHostContext* host = QelHostContext::instance();
    ASSERT_NE(host, nullptr);
    TUID cid;
    TUID iid;
    std::memcpy(cid, IAttributeList::iid.bytes, 16);
    std::memcpy(iid, IAttributeList::iid.bytes, 16);
    int marker = 0;
    void* object = &marker;
    EXPECT_EQ(host->createInstance(cid, iid, &object), kResultFalse);
    EXPECT_EQ(object, &marker);

    EXPECT_EQ(host->createInstance(cid, iid, nullptr), kInvalidArgument);
}

} // namespace
