#include "devices/ports/pdevice.h"
#include "devices/ports/pportregistry.h"
#include "devices/ports/pportvalue.h"

#include "base/fmainloop.h"

#include <gtest/gtest.h>

namespace Quillmark
{
namespace
{

std::vector<std::string> titles(const PPortValue& value)
{
    std::vector<std::string> result;
    for (int32 i = 0; i < value.countItems(); ++i)
        result.push_back(value.getItem(i)->getTitle().toUtf8());
    return result;
}

std::string text(const PPortValue& value)
{
    String label;
    value.getText(label);
    return label.toUtf8();
}

class PortValue : public ::testing::Test
{
protected:
    void SetUp() override
    {
        card = new PDevice("Card", true, &registry);
        in1 = card->addPort("In 1", false);
        in2 = card->addPort("In 2", false);
        card->addPort("Out 1", true);
        virtualDevice = new PDevice("Bus", false, &registry);
        virtualIn = virtualDevice->addPort("Send", false);
        registry.addPort(&pin);
    }
    void TearDown() override
    {
        registry.removePort(&pin);
        virtualDevice->release();
        card->release();
        FMainLoop::instance()->dispatchDue();
    }

    PPortRegistry registry;
    PDevice* card = nullptr;
    PDevice* virtualDevice = nullptr;
    PPort* in1 = nullptr;
    PPort* in2 = nullptr;
    PPort* virtualIn = nullptr;
    PInput pin{nullptr, "Synth-In-L"};
};

TEST_F(PortValue, OffersSourcesOfTheSameSystemInDisplayOrder)
{
    in2->setUserName("Guitar");
    auto* value = new PPortValue("input", 1, &registry, &pin);
    // Virtual ports come before system ports; inputs of devices are no sources.
    EXPECT_EQ(titles(*value),
              (std::vector<std::string>{"None", "Bus: Send", "Card: In 1", "Guitar"}));
    EXPECT_EQ(text(*value), "None");
    value->release();
}

TEST_F(PortValue, ChoosingConnectsThePortToTheChoiceAlone)
{
    auto* value = new PPortValue("input", 1, &registry, &pin);
    pin.connect(virtualIn);
    pin.connect(in2);
    FMainLoop::instance()->dispatchDue(); // the value hears the change and catches up
    EXPECT_EQ(value->getChosenPort(), virtualIn);
    EXPECT_EQ(text(*value), "Bus: Send (+1)...");

    value->setIndex(2); // "Card: In 1"
    EXPECT_EQ(pin.getConnectionCount(), 1);
    EXPECT_EQ(pin.getConnection(0), in1);
    EXPECT_EQ(text(*value), "Card: In 1");
    value->setIndex(0);
    EXPECT_EQ(pin.getConnectionCount(), 0);
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(text(*value), "None");
    value->release();
}

TEST_F(PortValue, FollowsARemovedPort)
{
    auto* value = new PPortValue("input", 1, &registry, &pin);
    value->setIndex(1);
    ASSERT_EQ(pin.getConnection(0), virtualIn);
    virtualDevice->release(); // connections move to an alias, which is no choice
    virtualDevice = new PDevice("Other", false, &registry);
    FMainLoop::instance()->dispatchDue();
    EXPECT_EQ(titles(*value), (std::vector<std::string>{"None", "Card: In 1", "Card: In 2"}));
    EXPECT_EQ(value->getChosenPort(), nullptr);
    pin.disconnectAll();
    value->release();
}

} // namespace
} // namespace Quillmark
