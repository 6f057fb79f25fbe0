#include "base/fmainloop.h"

#include "base/fmessage.h"

#include <gtest/gtest.h>

#include <thread>

using namespace Quillmark;

namespace
{

class Listener : public CmObject
{
public:
    std::vector<std::string> heard;
    void notify(FMessage* message) override { heard.push_back(message->getName().toUtf8()); }
};

} // namespace

TEST(FMainLoop, DeliversInOrderOfDueTimeThenPosting)
{
    FMainLoop loop;
    auto* listener = new Listener;
    loop.post(listener, "later", 30);
    loop.post(listener, "first");
    loop.post(listener, "second");
    EXPECT_EQ(loop.dispatchDue(), 2);
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"first", "second"}));
    EXPECT_TRUE(loop.isPending(listener, "later"));
    EXPECT_GE(loop.nextDueIn(), 0);

    loop.dispatchWithin(2000);
    EXPECT_EQ(listener->heard.back(), "later");
    EXPECT_EQ(loop.countPending(), 0);
    EXPECT_EQ(loop.nextDueIn(), -1);
    listener->release();
}

TEST(FMainLoop, CancelDropsByTargetAndTextAndGivesBackReferences)
{
    FMainLoop loop;
    auto* listener = new Listener;
    auto* other = new Listener;
    loop.post(listener, "a", 0);
    loop.post(listener, "b", 0);
    loop.post(other, "a", 0);
    EXPECT_EQ(listener->getRefCount(), 3);
    EXPECT_EQ(loop.cancel(listener, "a"), 1);
    EXPECT_EQ(listener->getRefCount(), 2);
    EXPECT_EQ(loop.cancel(listener), 1);
    EXPECT_EQ(listener->getRefCount(), 1);
    loop.dispatchDue();
    EXPECT_TRUE(listener->heard.empty());
    EXPECT_EQ(other->heard, (std::vector<std::string>{"a"}));
    listener->release();
    other->release();
}

TEST(FMainLoop, APostFromAnotherThreadWakesTheWaitingLoop)
{
    FMainLoop loop;
    auto* listener = new Listener;
    std::thread poster(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            loop.post(listener, "from thread");
        });
    int delivered = 0;
    for (int i = 0; i < 100 && delivered == 0; ++i)
        delivered = loop.dispatchWithin(100);
    poster.join();
    EXPECT_EQ(delivered, 1);
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"from thread"}));
    listener->release();
}

TEST(FMainLoop, QueuedMessagesAreReleasedWithTheLoop)
{
    auto* listener = new Listener;
    {
        FMainLoop loop;
        loop.post(listener, "never delivered", 100000);
        EXPECT_EQ(listener->getRefCount(), 2);
    }
    EXPECT_EQ(listener->getRefCount(), 1);
    listener->release();
}

TEST(FMessage, CarriesAttributesAndHoldsItsObjects)
{
    auto* carried = new Listener;
    auto* message = new FMessage("msg");
    message->setInt("count", 3);
    message->setFloat("gain", 0.5);
    message->setString("text", ConstString(u"wide \u00e9"));
    message->setObject("object", carried);
    EXPECT_EQ(carried->getRefCount(), 2);
    message->setInt("count", 4); // replaces

    int64 count = 0;
    double gain = 0;
    String text;
    EXPECT_TRUE(message->getInt("count", count));
    EXPECT_EQ(count, 4);
    EXPECT_TRUE(message->getFloat("gain", gain));
    EXPECT_FALSE(message->getInt("gain", count)); // only of its own kind
    EXPECT_TRUE(message->getString("text", text));
    EXPECT_EQ(text.toUtf8(), "wide \xc3\xa9");
    EXPECT_EQ(message->getObject("object"),
              static_cast<FUnknown*>(static_cast<IDependent*>(carried)));
    EXPECT_TRUE(message->is("msg"));
    EXPECT_FALSE(message->is("Msg"));

    // Posted, the message lives until it is delivered; then the object goes with it.
    FMainLoop loop;
    auto* listener = new Listener;
    loop.post(listener, message);
    message->release();
    EXPECT_EQ(carried->getRefCount(), 2);
    loop.dispatchDue();
    EXPECT_EQ(listener->heard, (std::vector<std::string>{"msg"}));
    EXPECT_EQ(carried->getRefCount(), 1);

    message = new FMessage("again");
    message->setObject("object", carried);
    message->setObject("object", nullptr);
    EXPECT_EQ(carried->getRefCount(), 1);
    message->release();
    listener->release();
    carried->release();
}
