#include "base/testsupport.h"
#include "base/updatehandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

using namespace Quillmark;

namespace
{

using Log = std::vector<std::string>;

/** An object that announces changes and keeps the updateDone calls it receives. */
class Subject : public FObject
{
public:
    explicit Subject(Log* log = nullptr) : log(log) {}
    void updateDone(int32 message) override
    {
        done.push_back(message);
        if (log)
            log->push_back("done " + std::to_string(message));
    }
    std::vector<int32> done;
    Log* log;
};

/** A dependent that writes "<name> <message>" for every update and may act on it. */
class Listener : public FObject
{
public:
    explicit Listener(std::string name = {}, Log* log = nullptr) : name(std::move(name)), log(log)
    {
    }
    void update(FUnknown* changed, int32 message) override
    {
        heard.push_back(message);
        lastChanged = changed;
        if (log)
            log->push_back(name + " " + std::to_string(message));
        if (action)
            action(changed, message);
    }
    std::string name;
    Log* log;
    std::vector<int32> heard;
    FUnknown* lastChanged = nullptr;
    std::function<void(FUnknown*, int32)> action;
};

class CountingListener : public FObject
{
public:
    void update(FUnknown*, int32) override { count.fetch_add(1, std::memory_order_relaxed); }
    std::atomic<int64_t> count{0};
};

/** Takes another dependent off the changed object and puts it back, while other threads'
    updates may be calling it. */
class Juggler : public CountingListener
{
public:
    explicit Juggler(IDependent* juggled) : juggled(juggled) {}
    void update(FUnknown* changed, int32 message) override
    {
        UpdateHandler::instance()->removeDependent(changed, juggled);
        UpdateHandler::instance()->addDependent(changed, juggled);
        CountingListener::update(changed, message);
    }
    IDependent* juggled;
};

/** Answers no interface at all, so it has no identity. */
class Faceless : public FUnknown
{
public:
    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
};

/** A second interface, so that the object is reachable through a pointer that is not its
    identity. */
class ISecond : public FUnknown
{
public:
    virtual int32 value() = 0;
    QEL_INTERFACE_IID(0x5D1E4C2B, 0x11224A3C, 0x9B7A6E55, 0x00C0FFEE);
};

class TwoFaced : public Subject, public ISecond
{
public:
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, ISecond)
        return Subject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return Subject::addRef(); }
    uint32 release() override { return Subject::release(); }
    int32 value() override { return 7; }
};

/** Blocks inside the update of message 1 until it is let go. */
class Gate : public FObject
{
public:
    void update(FUnknown*, int32 message) override
    {
        ++calls;
        if (message != 1)
            return;
        entered = true;
        while (!open.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    int heard() const { return calls.load(); }
    std::atomic<bool> entered{false};
    std::atomic<bool> open{false};
    std::atomic<int> calls{0};
};

using Quillmark::testing::eventually;

UpdateHandler& handler()
{
    UpdateHandler* instance = UpdateHandler::instance();
    EXPECT_NE(instance, nullptr);
    return *instance;
}

} // namespace

TEST(UpdateHandler, IsTheHandlerOfEveryObject)
{
    UpdateHandler* first = UpdateHandler::instance();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(UpdateHandler::instance(), first);
    EXPECT_EQ(FObject::getUpdateHandler(), static_cast<IUpdateHandler*>(first));

    void* manager = nullptr;
    ASSERT_EQ(first->queryInterface(IUpdateManager::iid.bytes, &manager), kResultOk);
    EXPECT_EQ(manager, static_cast<IUpdateManager*>(first));
    first->release();
}

TEST(UpdateHandler, RefusesMissingArgumentsAndObjectsWithoutIdentity)
{
    Subject subject;
    Listener listener;
    Faceless faceless;
    EXPECT_EQ(handler().addDependent(nullptr, &listener), kResultFalse);
    EXPECT_EQ(handler().addDependent(&subject, nullptr), kResultFalse);
    EXPECT_EQ(handler().addDependent(&faceless, &listener), kResultFalse);
    EXPECT_EQ(handler().removeDependent(nullptr, nullptr), kResultFalse);
    EXPECT_EQ(handler().removeDependent(&faceless, &listener), kResultFalse);
    EXPECT_EQ(handler().triggerUpdates(&faceless, 1), kResultFalse);
    EXPECT_EQ(handler().deferUpdates(&faceless, 1), kResultFalse);
    EXPECT_EQ(handler().cancelUpdates(&faceless), kResultFalse);
    EXPECT_EQ(handler().triggerDeferedUpdates(&faceless), kResultFalse);
    subject.changed(1);
    EXPECT_TRUE(listener.heard.empty());
}

TEST(UpdateHandler, KeysByIdentityAndHoldsNoReference)
{
    auto* object = new TwoFaced;
    Listener listener;
    ISecond* second = object;
    ASSERT_NE(static_cast<void*>(second),
              static_cast<void*>(static_cast<FUnknown*>(static_cast<FObject*>(object))));

    EXPECT_EQ(handler().addDependent(second, &listener), kResultOk);
    EXPECT_EQ(object->getRefCount(), 1);
    object->changed(4); // through the other interface pointer
    EXPECT_EQ(listener.heard, std::vector<int32>{4});
    EXPECT_EQ(listener.lastChanged, static_cast<FUnknown*>(static_cast<FObject*>(object)));
    EXPECT_EQ(object->done, std::vector<int32>{4});

    EXPECT_EQ(handler().removeDependent(static_cast<FObject*>(object), &listener), kResultOk);
    object->changed(5);
    EXPECT_EQ(listener.heard, std::vector<int32>{4});
    object->release();
}

TEST(UpdateHandler, DependentsOfObjectsSharingABucketKeepTheirOrder)
{
    // Objects 1 MiB apart share bits 12 to 19 of their address and so one bucket; five
    // dependents each give 40 entries, enough for the searched path.
    constexpr int kObjects = 8;
    constexpr int kRounds = 5;
    constexpr std::size_t kStride = std::size_t(1) << 20;
    void* memory = std::aligned_alloc(kStride, kStride * kObjects);
    ASSERT_NE(memory, nullptr);
    Subject* objects[kObjects];
    for (int i = 0; i < kObjects; ++i)
        objects[i] = new (static_cast<char*>(memory) + kStride * std::size_t(i) + 64) Subject;
    auto bucket = [](Subject* subject)
    { return (reinterpret_cast<std::uintptr_t>(static_cast<FUnknown*>(subject)) >> 12) & 255; };
    for (int i = 1; i < kObjects; ++i)
        ASSERT_EQ(bucket(objects[i]), bucket(objects[0]));

    Log log;
    std::vector<std::unique_ptr<Listener>> listeners;
    const int order[kObjects] = {5, 2, 7, 0, 3, 6, 1, 4}; // not the order of the addresses
    for (int round = 0; round < kRounds; ++round)
        for (int i : order)
        {
            listeners.push_back(
                std::make_unique<Listener>(std::to_string(i) + "." + std::to_string(round), &log));
            handler().addDependent(objects[i], listeners.back().get());
        }

    for (int i = 0; i < kObjects; ++i)
    {
        log.clear();
        objects[i]->changed(1);
        Log expected;
        for (int round = 0; round < kRounds; ++round)
            expected.push_back(std::to_string(i) + "." + std::to_string(round) + " 1");
        EXPECT_EQ(log, expected) << "object " << i;
    }

    // Taking one from the middle leaves the others in order.
    Listener* middle = listeners[2 * kObjects + 3].get(); // object 0, round 2
    handler().removeDependent(objects[0], middle);
    log.clear();
    objects[0]->changed(1);
    EXPECT_EQ(log, (Log{"0.0 1", "0.1 1", "0.3 1", "0.4 1"}));

    for (int i = 0; i < kObjects; ++i)
    {
        handler().removeDependent(objects[i], nullptr);
        log.clear();
        objects[i]->changed(1);
        EXPECT_TRUE(log.empty());
        objects[i]->~Subject();
    }
    std::free(memory);
}

TEST(UpdateHandler, ADependentRemovedDuringAnUpdateIsNotCalledInIt)
{
    Log log;
    Subject subject;
    Listener first("first", &log), second("second", &log), third("third", &log);
    Listener late("late", &log);
    handler().addDependent(&subject, &first);
    handler().addDependent(&subject, &second);
    handler().addDependent(&subject, &third);
    first.action = [&](FUnknown* changed, int32)
    {
        handler().removeDependent(changed, &first);
        handler().removeDependent(changed, &third);
        handler().addDependent(changed, &late); // hears the next update, not this one
    };

    subject.changed(1);
    EXPECT_EQ(log, (Log{"first 1", "second 1"}));
    first.action = nullptr;

    log.clear();
    subject.changed(2);
    EXPECT_EQ(log, (Log{"second 2", "late 2"}));

    // A dependent removed from all objects at once, from inside the update.
    second.action = [&](FUnknown*, int32) { handler().removeDependent(nullptr, &late); };
    log.clear();
    subject.changed(3);
    EXPECT_EQ(log, (Log{"second 3"}));
    handler().removeDependent(&subject, nullptr);
}

TEST(UpdateHandler, UpdateDoneFollowsEveryChangeButTheEnd)
{
    // Through the handler, not the fallback of a process that has none.
    handler();
    ASSERT_NE(FObject::getUpdateHandler(), nullptr);
    Log log;
    Subject lonely(&log);
    lonely.changed(5);
    lonely.changed(IDependent::kDestroyed);
    lonely.deferChanged(6); // nothing to defer for: at once
    lonely.deferChanged(IDependent::kDestroyed);
    EXPECT_EQ(log, (Log{"done 5", "done 6"}));
    handler().triggerDeferedUpdates(&lonely);
    EXPECT_EQ(lonely.done, (std::vector<int32>{5, 6}));

    Subject watched(&log);
    Listener listener("listener", &log);
    handler().addDependent(&watched, &listener);
    log.clear();
    watched.changed(1);
    watched.changed(IDependent::kDestroyed);
    EXPECT_EQ(log, (Log{"listener 1", "done 1", "listener 2"}));
    handler().removeDependent(&watched, &listener);
}

TEST(UpdateHandler, DeferredChangesCollapseAndKeepTheirOrder)
{
    Log log;
    Subject a(&log), b(&log);
    Listener onA("A", &log), onB("B", &log);
    handler().addDependent(&a, &onA);
    handler().addDependent(&b, &onB);

    a.deferChanged(1);
    b.deferChanged(9);
    a.deferChanged(1);
    a.deferChanged(4);
    a.deferChanged(1);
    EXPECT_TRUE(log.empty());

    handler().triggerDeferedUpdates(&b); // only b's
    EXPECT_EQ(log, (Log{"B 9", "done 9"}));
    log.clear();
    handler().triggerDeferedUpdates();
    EXPECT_EQ(log, (Log{"A 1", "done 1", "A 4", "done 4"}));
    log.clear();
    handler().triggerDeferedUpdates();
    EXPECT_TRUE(log.empty());

    // The end of an object with dependents is deferred like any change, with no updateDone.
    a.deferChanged(IDependent::kDestroyed);
    handler().triggerDeferedUpdates();
    EXPECT_EQ(log, (Log{"A 2"}));

    handler().removeDependent(&a, &onA);
    handler().removeDependent(&b, &onB);
}

TEST(UpdateHandler, ADeferredChangeOfAnObjectInUpdateWaitsForTheNextCall)
{
    Log log;
    Subject busy, other;
    Listener onBusy("busy", &log), onOther("other", &log);
    handler().addDependent(&busy, &onBusy);
    handler().addDependent(&other, &onOther);
    onBusy.action = [&](FUnknown*, int32 message)
    {
        if (message == 1)
            handler().triggerDeferedUpdates();
    };

    busy.deferChanged(7);
    other.deferChanged(8);
    busy.changed(1);
    // Inside the update of `busy` only the other object's change could be served.
    EXPECT_EQ(log, (Log{"busy 1", "other 8"}));

    log.clear();
    handler().triggerDeferedUpdates();
    EXPECT_EQ(log, (Log{"busy 7"}));

    handler().removeDependent(&busy, &onBusy);
    handler().removeDependent(&other, &onOther);
}

TEST(UpdateHandler, ChangesDeferredWhileDeliveringAreServedInTheSameCall)
{
    Log log;
    Subject first, second;
    Listener onFirst("first", &log), onSecond("second", &log);
    handler().addDependent(&first, &onFirst);
    handler().addDependent(&second, &onSecond);
    onFirst.action = [&](FUnknown*, int32) { second.deferChanged(3); };

    first.deferChanged(1);
    handler().triggerDeferedUpdates();
    EXPECT_EQ(log, (Log{"first 1", "second 3"}));

    handler().removeDependent(&first, &onFirst);
    handler().removeDependent(&second, &onSecond);
}

TEST(UpdateHandler, RemovingTheLastDependentCancelsDeferredChanges)
{
    Log log;
    Subject subject;
    Listener one("one", &log), two("two", &log);
    handler().addDependent(&subject, &one);
    handler().addDependent(&subject, &two);

    subject.deferChanged(3);
    handler().removeDependent(&subject, &one); // `two` stays: the change stays
    handler().triggerDeferedUpdates();
    EXPECT_EQ(log, (Log{"two 3"}));

    log.clear();
    subject.deferChanged(4);
    handler().removeDependent(&subject, &two);
    handler().addDependent(&subject, &one);
    handler().triggerDeferedUpdates();
    EXPECT_TRUE(log.empty());

    subject.deferChanged(5);
    handler().removeDependent(&subject, nullptr);
    handler().addDependent(&subject, &one);
    handler().triggerDeferedUpdates();
    EXPECT_TRUE(log.empty());

    subject.deferChanged(6);
    EXPECT_EQ(handler().cancelUpdates(&subject), kResultOk);
    handler().triggerDeferedUpdates();
    EXPECT_TRUE(log.empty());
    handler().removeDependent(&subject, &one);
}

TEST(UpdateHandler, OneUpdateCallsAtMostTheFirst10240Dependents)
{
    Subject subject;
    CountingListener many;
    Listener last;

    // Past the stack snapshot: the 1025th dependent is still called.
    for (int i = 0; i < UpdateHandler::kLocalSnapshotSize; ++i)
        handler().addDependent(&subject, &many);
    handler().addDependent(&subject, &last);
    subject.changed(1);
    EXPECT_EQ(many.count.load(), UpdateHandler::kLocalSnapshotSize);
    EXPECT_EQ(last.heard, std::vector<int32>{1});
    handler().removeDependent(&subject, nullptr);

    many.count = 0;
    last.heard.clear();
    for (int i = 0; i < UpdateHandler::kMaxSnapshotSize; ++i)
        handler().addDependent(&subject, &many);
    handler().addDependent(&subject, &last); // number 10241
    subject.changed(1);
    EXPECT_EQ(many.count.load(), UpdateHandler::kMaxSnapshotSize);
    EXPECT_TRUE(last.heard.empty());
    EXPECT_EQ(subject.done, (std::vector<int32>{1, 1}));
    handler().removeDependent(&subject, nullptr);
}

TEST(UpdateHandler, ThreadsAddRemoveAndTriggerWhileOthersUpdate)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 5000;
    FObject shared;
    CountingListener anchor;
    CountingListener stable; // taken off and put back by a dependent on every update
    Juggler juggler(&stable);
    handler().addDependent(&shared, &anchor);
    handler().addDependent(&shared, &juggler);
    handler().addDependent(&shared, &stable);

    struct PerThread
    {
        CountingListener onShared;
        Subject own;
        CountingListener onOwn;
    };
    std::vector<std::unique_ptr<PerThread>> perThread;
    for (int t = 0; t < kThreads; ++t)
        perThread.push_back(std::make_unique<PerThread>());

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back(
            [&, t]
            {
                PerThread& mine = *perThread[size_t(t)];
                for (int round = 0; round < kRounds; ++round)
                {
                    handler().addDependent(&shared, &mine.onShared);
                    shared.changed(1);
                    handler().removeDependent(&shared, &mine.onShared);

                    handler().addDependent(&mine.own, &mine.onOwn);
                    mine.own.deferChanged(4);
                    mine.own.deferChanged(4);
                    handler().triggerDeferedUpdates(&mine.own);
                    mine.own.changed(3);
                    handler().removeDependent(&mine.own, nullptr);
                }
            });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(juggler.count.load(), kThreads * kRounds);
    EXPECT_EQ(anchor.count.load(), kThreads * kRounds);
    for (auto& mine : perThread)
    {
        // Its own trigger at least, and the triggers of others while it was attached.
        EXPECT_GE(mine->onShared.count.load(), kRounds);
        EXPECT_EQ(mine->onOwn.count.load(), 2 * kRounds);
        EXPECT_EQ(mine->own.done.size(), size_t(2 * kRounds));
    }

    // Nothing of the threads stays attached.
    const int64_t before = perThread[0]->onShared.count.load();
    shared.changed(1);
    EXPECT_EQ(perThread[0]->onShared.count.load(), before);
    EXPECT_EQ(anchor.count.load(), kThreads * kRounds + 1);
    handler().removeDependent(&shared, nullptr);
}

TEST(UpdateHandler, UpdatesOfTwoThreadsEndInAnyOrder)
{
    // The update started first ends first; the other one must still see removals.
    FObject first, second;
    Gate firstGate, secondGate;
    CountingListener afterSecondGate;
    handler().addDependent(&first, &firstGate);
    handler().addDependent(&second, &secondGate);
    handler().addDependent(&second, &afterSecondGate);

    std::thread one([&] { first.changed(1); });
    ASSERT_TRUE(eventually([&] { return firstGate.entered.load(); }));
    std::thread two([&] { second.changed(1); });
    ASSERT_TRUE(eventually([&] { return secondGate.entered.load(); }));
    firstGate.open = true;
    one.join();

    handler().removeDependent(&second, &afterSecondGate);
    second.deferChanged(5);
    handler().triggerDeferedUpdates(); // `second` is still in its update: this waits
    secondGate.open = true;
    two.join();
    EXPECT_EQ(afterSecondGate.count.load(), 0);
    EXPECT_EQ(secondGate.heard(), 1);

    handler().triggerDeferedUpdates();
    EXPECT_EQ(secondGate.heard(), 2);
    handler().removeDependent(&first, nullptr);
    handler().removeDependent(&second, nullptr);
}
