#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"

#include "base/fmainloop.h"
#include "base/fstreams.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Quillmark
{
namespace
{

/** Records every notification as "<port name> <code>". */
class Listener : public IPortRegistryNotification
{
public:
    void portNotification(IPort* port, int32 code) override
    {
        String name;
        if (auto* object = FCast<PPort>(port))
            object->getName(name);
        heard.push_back(name.toUtf8() + " " + std::to_string(code));
    }
    tresult queryInterface(const TUID, void**) override { return kNoInterface; }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

    std::vector<std::string> heard;
};

/** A port that refuses every connection offered to it. */
class RefusingPort : public PPort
{
public:
    using PPort::PPort;
    bool addConnection(PPort*) override { return false; }
};

/** A hardware port that remembers what its driver was told. */
class DriverPort : public PPort
{
public:
    DriverPort(const char8* name) : PPort(nullptr, name, "audio", "system", kHardware) {}
    void activeChanged(bool active) override { told.push_back(active); }
    std::vector<bool> told;
};

TEST(PPortID, TextHasThreeNonEmptyParts)
{
    const PPortID id(true, "QelBus", "Input-L");
    EXPECT_EQ(id.getText(), "I|QelBus|Input-L");
    EXPECT_TRUE(id.isInput());
    EXPECT_EQ(id.getDeviceName(), "QelBus");
    EXPECT_EQ(id.getPortName(), "Input-L");
    EXPECT_EQ(PPortID(false, "Dev", "Out").getText(), "O|Dev|Out");

    EXPECT_FALSE(PPortID(true, "", "x").isValid());
    EXPECT_FALSE(PPortID(true, "x", "").isValid());
    EXPECT_FALSE(PPortID(true, "a|b", "x").isValid());
    for (const char* text : {"", "I|", "I||x", "I|a|", "X|a|b", "I|a", "Ia|b|c", "O|a|b|c"})
        EXPECT_FALSE(PPortID::fromText(text).isValid()) << text;
    EXPECT_TRUE(PPortID::fromText("O|a|b").isValid());
    EXPECT_NE(PPortID::fromText("O|a|b"), PPortID::fromText("O|a|B"));
}

TEST(PPort, ConnectionsAreTwoSidedAndOrdered)
{
    POutput source(nullptr, "src");
    PInput a(nullptr, "a"), b(nullptr, "b");
    EXPECT_TRUE(source.connect(&a));
    EXPECT_TRUE(source.connect(&b));
    EXPECT_FALSE(source.connect(&a)) << "a second connection to the same port";
    EXPECT_FALSE(source.connect(&source));
    EXPECT_FALSE(source.connect(nullptr));
    ASSERT_EQ(source.getConnectionCount(), 2);
    EXPECT_EQ(source.getConnection(0), &a);
    EXPECT_EQ(source.getConnection(1), &b);
    EXPECT_EQ(source.getConnection(2), nullptr);
    EXPECT_TRUE(a.isConnectedTo(&source));

    EXPECT_TRUE(b.disconnect(&source));
    EXPECT_FALSE(b.disconnect(&source));
    EXPECT_EQ(source.getConnectionCount(), 1);
    EXPECT_EQ(b.getConnectionCount(), 0);

    source.connect(&b);
    source.disconnectAll();
    EXPECT_EQ(a.getConnectionCount(), 0);
    EXPECT_EQ(b.getConnectionCount(), 0);
}

TEST(PPort, RefusalOfTheOtherSideUndoesTheFirst)
{
    POutput source(nullptr, "src");
    RefusingPort sink(nullptr, "sink");
    EXPECT_FALSE(source.connect(&sink));
    EXPECT_EQ(source.getConnectionCount(), 0);
}

TEST(PPort, DestroyedPortLeavesNoPeerBehind)
{
    POutput source(nullptr, "src");
    {
        PInput sink(nullptr, "sink");
        source.connect(&sink);
    }
    EXPECT_EQ(source.getConnectionCount(), 0);
}

TEST(PPort, HardwarePortIsActiveWhileAnActivePeerIsConnected)
{
    DriverPort channel("Out 1");
    EXPECT_TRUE(channel.isInactive());
    PInput pin(nullptr, "pin");
    channel.connect(&pin);
    EXPECT_FALSE(channel.isInactive());
    DriverPort idle("In 1"); // inactive itself: does not wake its peer
    DriverPort other("Out 2");
    other.connect(&idle);
    EXPECT_TRUE(other.isInactive());
    channel.disconnect(&pin);
    EXPECT_TRUE(channel.isInactive());
    EXPECT_EQ(channel.told, (std::vector<bool>{true, false}));
}

class Registry : public ::testing::Test
{
protected:
    void SetUp() override { registry.addListener(&listener); }
    void TearDown() override { registry.removeListener(&listener); }

    PPortRegistry registry;
    Listener listener;
};

TEST_F(Registry, PortsGetIdsAndAreFoundByUniqueName)
{
    PDevice device("Card", true, &registry);
    PPort* in = device.addPort("In 1", false);
    PPort* out = device.addPort("Out 1", true);
    EXPECT_TRUE(in->isRegistered());
    EXPECT_NE(in->getPortId(), -1);
    EXPECT_NE(in->getPortId(), out->getPortId());
    EXPECT_EQ(registry.getPortCount(), 2);
    EXPECT_EQ(registry.findPort(PPortID::fromText("O|Card|In 1")), in);
    EXPECT_EQ(registry.findPort(PPortID::fromText("I|Card|Out 1")), out);
    EXPECT_EQ(registry.findPort(PPortID::fromText("I|Card|In 1")), nullptr);
    EXPECT_FALSE(registry.addPort(in)) << "registered twice";
}

TEST_F(Registry, NotifiesRenameEnableConnectionsAndRemoval)
{
    auto* device = new PDevice("Card", false, &registry);
    PPort* port = device->addPort("A", false);
    PInput pin(nullptr, "pin");
    port->setName("A");      // unchanged: silent
    port->setName("B");      // 101
    port->setUserName("Me"); // 101
    port->setEnabled(false); // 102
    port->setEnabled(false); // unchanged
    port->connect(&pin);     // 103 (the pin is not registered)
    port->disconnectAll();   // 103
    device->release();       // no connections: no alias; 100
    EXPECT_EQ(listener.heard,
              (std::vector<std::string>{"B 101", "B 101", "B 102", "B 103", "B 103", "B 100"}));
    EXPECT_EQ(registry.getPortCount(), 0);
    EXPECT_EQ(registry.getAliasCount(), 0);
}

TEST_F(Registry, MissingDeviceKeepsConnectionsOnAliasesUntilItReturns)
{
    PInput pinL(nullptr, "pin-L"), pinR(nullptr, "pin-R");
    auto* card = new PDevice("Card", true, &registry);
    card->addPort("In 1", false)->connect(&pinL);
    card->addPort("In 2", false)->connect(&pinR);
    card->addPort("In 3", false); // unconnected: needs no alias
    card->release();

    ASSERT_EQ(registry.getAliasCount(), 2);
    PAliasPort* alias = registry.findAlias(PPortID::fromText("O|Card|In 1"));
    ASSERT_NE(alias, nullptr);
    EXPECT_TRUE(alias->isSubtype("alias"));
    EXPECT_FALSE(alias->isEnabled());
    EXPECT_TRUE(alias->isRegistered());
    EXPECT_EQ(pinL.getConnection(0), alias);
    EXPECT_EQ(registry.findPort(PPortID::fromText("O|Card|In 1")), nullptr)
        << "an alias is not the port itself";

    // The same device comes back: connections return, and the empty aliases go on the next
    // turn of the main loop.
    auto* again = new PDevice("Card", true, &registry);
    PPort* in1 = again->addPort("In 1", false);
    PPort* in2 = again->addPort("In 2", false);
    EXPECT_EQ(pinL.getConnection(0), in1);
    EXPECT_EQ(pinR.getConnection(0), in2);
    EXPECT_EQ(pinL.getConnectionCount(), 1);
    EXPECT_EQ(registry.getAliasCount(), 2);
    listener.heard.clear();
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(registry.getAliasCount(), 0);
    EXPECT_EQ(listener.heard, (std::vector<std::string>{"In 1 100", "In 2 100"}));
    again->release();
}

TEST_F(Registry, AliasThatWasReconnectedElsewhereStays)
{
    PInput pin(nullptr, "pin");
    auto* card = new PDevice("Card", true, &registry);
    card->addPort("In 1", false)->connect(&pin);
    card->release();
    PAliasPort* alias = registry.getAlias(0);
    PInput other(nullptr, "other");
    alias->connect(&other);
    auto* again = new PDevice("Card", true, &registry);
    again->addPort("In 1", false);
    // A connection made after the move returns the alias to use; the check keeps it.
    alias->connect(&pin);
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(registry.getAliasCount(), 1);
    alias->disconnectAll();
    again->release();
}

TEST(PortMove, PairsByUserNameThenRoleThenOrder)
{
    PDevice oldDevice("Old", false, nullptr), newDevice("New", false, nullptr);
    std::vector<PPort*> from, to;
    std::vector<PInput*> peers;
    for (const char* name : {"a", "b", "c", "d"})
    {
        from.push_back(oldDevice.addPort(name, false));
        peers.push_back(new PInput(nullptr, name));
        from.back()->connect(peers.back());
    }
    for (const char* name : {"w", "x", "y", "z"})
        to.push_back(newDevice.addPort(name, false));
    from[0]->setRole(7);
    to[3]->setRole(7); // role pairs a with z
    from[1]->setUserName("Mic");
    to[0]->setUserName("Mic"); // user name pairs b with w, before roles
    from[2]->setRole(PPort::kNoRole);
    to[1]->setRole(PPort::kNoRole); // no role never pairs by role

    PPortRegistry::moveConnections(from, to);
    EXPECT_EQ(peers[0]->getConnection(0), to[3]);
    EXPECT_EQ(peers[1]->getConnection(0), to[0]);
    EXPECT_EQ(peers[2]->getConnection(0), to[1]); // remaining in order: c-x, d-y
    EXPECT_EQ(peers[3]->getConnection(0), to[2]);
    for (PPort* port : from)
        EXPECT_EQ(port->getConnectionCount(), 0);
    for (PInput* peer : peers)
        peer->release();
}

TEST(PortOrder, SubtypeRankThenDeviceName)
{
    PPort merged(nullptr, "m", "audio", "merged"), system(nullptr, "s", "audio", "system");
    PPort systemB(nullptr, "t", "audio", "system"), odd(nullptr, "o", "audio", "alias");
    system.setDeviceName("Alpha");
    systemB.setDeviceName("Beta");
    EXPECT_LT(PPortRegistry::comparePorts(merged, system), 0);
    EXPECT_GT(PPortRegistry::comparePorts(system, merged), 0);
    EXPECT_LT(PPortRegistry::comparePorts(system, systemB), 0);
    EXPECT_LT(PPortRegistry::comparePorts(systemB, odd), 0);
    PDevice device("Card", false, nullptr);
    EXPECT_EQ(PPortRegistry::comparePorts(*device.addPort("x", false), *device.addPort("y", true)),
              0);
}

TEST_F(Registry, SetupSurvivesStoreAndRestore)
{
    FDefaultPool pool("/nonexistent/Defaults");
    {
        PDevice card("Card", true, &registry);
        card.addPort("In 1", false)->setUserName("Guitar");
        registry.setHidden(PPortID::fromText("I|Card|Out 1"), true);
        registry.setMapping(PPortID::fromText("O|Old|In 1"), PPortID::fromText("O|Card|In 1"));
        registry.storeSetup(pool);
    }
    PPortRegistry restored;
    std::string problem;
    ASSERT_TRUE(restored.restoreSetup(pool, &problem)) << problem;
    EXPECT_TRUE(restored.isHidden(PPortID::fromText("I|Card|Out 1")));
    EXPECT_FALSE(restored.isHidden(PPortID::fromText("O|Card|In 1")));
    ASSERT_EQ(restored.getMappingCount(), 1);
    EXPECT_EQ(restored.getMapping(0)->dest.getText(), "O|Card|In 1");

    PDevice card("Card", true, &restored);
    PPort* in = card.addPort("In 1", false);
    EXPECT_EQ(in->getUserName().toUtf8(), "Guitar") << "the user name returns with the port";
    EXPECT_EQ(restored.findPort(PPortID::fromText("O|Old|In 1")), in) << "through the mapping";
}

TEST_F(Registry, DamagedSetupKeepsWhatWasReadable)
{
    std::string problem;
    EXPECT_FALSE(registry.restoreSetupText("<<<not xml", 10, &problem));
    EXPECT_FALSE(problem.empty());
    EXPECT_EQ(registry.getMappingCount(), 0);
    // Entries with invalid identifiers are skipped.
    FAttributes root;
    FSubList* list = root.setSubList("Mappings");
    FAttrList* bad = list->add();
    bad->setString("SourceID", "nonsense");
    bad->setString("DestID", "O|a|b");
    FAttrList* fine = list->add();
    fine->setString("SourceID", "O|x|y");
    fine->setString("DestID", "O|a|b");
    FMemoryStream stream;
    root.writeXml(&stream);
    EXPECT_TRUE(registry.restoreSetupText(stream.data(), size_t(stream.size())));
    ASSERT_EQ(registry.getMappingCount(), 1);
    EXPECT_EQ(registry.getMapping(0)->source.getText(), "O|x|y");
}

} // namespace
} // namespace Quillmark
