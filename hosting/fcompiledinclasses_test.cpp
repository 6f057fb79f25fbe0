#include "base/fdefaults.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"
#include "qel3/ipluginbase.h"

#include <gtest/gtest.h>

using namespace Quillmark;

namespace
{

// A host-side service that counts its life.
class CountingService : public FObject, public IPluginBase
{
public:
    static inline int initialized = 0;
    static inline int terminated = 0;
    static inline bool refuseTerminate = false;

    tresult initialize(FUnknown* context) override
    {
        ++initialized;
        return context ? kResultOk : kResultFalse;
    }
    tresult terminate() override
    {
        ++terminated;
        return refuseTerminate ? kResultFalse : kResultOk;
    }
    tresult queryInterface(const TUID iid, void** obj) override
    {
        QEL_QUERY_INTERFACE(iid, obj, IPluginBase)
        return FObject::queryInterface(iid, obj);
    }
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    static FUnknown* create(void*) { return static_cast<IPluginBase*>(new CountingService); }
};

FUnknown* createNothing(void*)
{
    return nullptr;
}

class CompiledIn : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CountingService::initialized = 0;
        CountingService::terminated = 0;
        CountingService::refuseTerminate = false;
        preferences = new FDefaultPool(temp.file("Defaults"));
        registry = new FComponentRegistry;
        registry->setPreferences(preferences);
    }
    void TearDown() override
    {
        registry->release();
        preferences->release();
    }

    FComponentDescription* add(const char* category, const char* name, uint32 id)
    {
        return registry->addCompiledInClass(String(category), String(name), 1, createNothing,
                                            nullptr, FUID(id, 0, 0, 1));
    }

    std::vector<std::string> order() const
    {
        std::vector<std::string> result;
        for (int32 i = 0; i < registry->countDescriptions(); ++i)
        {
            FComponentDescription* d = registry->getDescription(i);
            result.push_back(d->getCategory().toUtf8() + "/" + d->getName().toUtf8() + "#" +
                             std::to_string(d->getCid().getLong1()));
        }
        return result;
    }

    Quillmark::testing::TempFolder temp;
    FDefaultPool* preferences = nullptr;
    FComponentRegistry* registry = nullptr;
};

} // namespace

TEST_F(CompiledIn, InsertionKeepsOrderAndPlacesEqualsByTheRule)
{
    add("B", "m", 1);
    add("B", "m", 2); // equal to the last: goes to the end
    add("A", "z", 3); // below the first: goes to the front
    add("A", "z", 4); // equal to the first: goes ahead of it
    add("B", "a", 5); // between: before the first entry above it
    add("C", "a", 6);
    add("b", "a", 7); // lower case sorts after upper case
    EXPECT_EQ(order(), (std::vector<std::string>{"A/z#4", "A/z#3", "B/a#5", "B/m#1", "B/m#2",
                                                 "C/a#6", "b/a#7"}));
}

TEST_F(CompiledIn, LookupsByCategoryStayInsideTheirRun)
{
    add("Audio Module Class", "Delay", 1);
    add("Audio Module Class", "Chorus", 2);
    add("Component Controller Class", "Delay", 3);
    registry->getDescription(1)->componentNumber = 7;

    EXPECT_EQ(registry->findByCategoryAndName(String("Audio Module Class"), String("dElAy"))
                  ->getCid()
                  .getLong1(),
              1u);
    EXPECT_EQ(registry->findByCategoryAndName(String("audio module class"), String("Delay")),
              nullptr);
    EXPECT_EQ(registry->findByCategoryAndIndex(String("Audio Module Class"), 0)->getName().toUtf8(),
              "Chorus");
    EXPECT_EQ(registry->findByCategoryAndIndex(String("Audio Module Class"), 2), nullptr);
    EXPECT_EQ(
        registry->findByCategoryAndNumber(String("Audio Module Class"), 7)->getName().toUtf8(),
        "Delay");
    EXPECT_EQ(registry->findByCategoryAndNumber(String("Component Controller Class"), 7), nullptr);
    EXPECT_EQ(registry->countInCategory(String("Audio Module Class")), 2);
    EXPECT_EQ(registry->countInCategory(String("Nothing")), 0);

    auto menu = registry->buildMenu(String("Audio Module Class"));
    ASSERT_EQ(menu.size(), 2u);
    EXPECT_EQ(menu[0].title.toUtf8(), "Chorus");
    EXPECT_EQ(menu[0].tag, FUID(2, 0, 0, 1).toRegistryString());
    EXPECT_TRUE(registry->buildMenu(String("Nothing")).empty());
}

TEST_F(CompiledIn, AvailabilityIsReadFromAndWrittenToThePreferences)
{
    FUID switchedOff(9, 0, 0, 1);
    preferences->lookup("Components\\Category Tools\\Available", 1, true)
        ->setInt(switchedOff.toString().c_str(), 0);
    FComponentDescription* off = add("Tools", "Off", 9);
    FComponentDescription* on = add("Tools", "On", 10);
    EXPECT_FALSE(registry->isAvailable(switchedOff));
    EXPECT_TRUE(registry->isAvailable(on->getCid()));

    ASSERT_TRUE(registry->setAvailable(on, false));
    FDefaults* values = preferences->lookup("Components\\Category Tools\\Available", 1, false);
    ASSERT_NE(values, nullptr);
    // Every class of the category is written on each change.
    EXPECT_EQ(values->getInt(on->getCid().toString().c_str(), -1), 0);
    EXPECT_EQ(values->getInt(off->getCid().toString().c_str(), -1), 0);
    ASSERT_TRUE(registry->setAvailable(off, true));
    EXPECT_EQ(values->getInt(off->getCid().toString().c_str(), -1), 1);
}

TEST_F(CompiledIn, ServicesLiveFromStartToEnd)
{
    registry->addCompiledInClass(String("Service"), String("Counter"), 1, CountingService::create,
                                 nullptr, FUID(20, 0, 0, 1));
    FComponentDescription* broken = registry->addCompiledInClass(
        String("Service"), String("Broken"), 1, createNothing, nullptr, FUID(21, 0, 0, 1));
    EXPECT_EQ(registry->startServices(), 1);
    EXPECT_EQ(CountingService::initialized, 1);
    EXPECT_FALSE(broken->available);

    // Switching a failing service on shows a message and leaves it off.
    std::string shown;
    registry->setMessageHandler([&](const std::string& text) { shown = text; });
    EXPECT_FALSE(registry->setAvailable(broken, true));
    EXPECT_FALSE(broken->available);
    EXPECT_NE(shown.find("Broken"), std::string::npos);

    CountingService::refuseTerminate = true;
    registry->stopServices();
    EXPECT_EQ(CountingService::terminated, 1);
    EXPECT_EQ(registry->countServices(), 1); // it refused, so it stays
    CountingService::refuseTerminate = false;
    registry->stopServices();
    EXPECT_EQ(registry->countServices(), 0);
}
