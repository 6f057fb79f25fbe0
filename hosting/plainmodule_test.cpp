// The host against a module written in plain C by someone who had only the record and interface
// tables: the registry must list its class exactly as declared, from the module and from the
// cache, and drive its objects through nothing but the binary tables.
#include "hosting/fcomponentregistry.h"

#include "base/fuid.h"
#include "hosting/fmodule.h"
#include "hosting/qelhostcontext.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "qel3/ipluginbase.h"
#include "qel3/ipluginfactory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
using Quillmark::testing::copyInto;
using Quillmark::testing::fixture;

namespace
{

class PlainCModule : public ::testing::Test
{
protected:
    void SetUp() override
    {
        modules = temp.folder("modules");
        path = copyInto(fixture(kPlainCModule), modules);
    }
    void TearDown() override
    {
        if (registry)
            registry->release();
    }

    /** A fresh registry that has scanned the module folder, as a new run of the program. */
    FComponentRegistry& scanned()
    {
        if (registry)
            registry->release();
        registry = new FComponentRegistry;
        events.clear();
        registry->setScanListener([this](const ScanEvent& event) { events.push_back(event); });
        classCount = registry->scanFolder(modules);
        return *registry;
    }

    static uint32 referencesOf(FUnknown* object)
    {
        object->addRef();
        return object->release();
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    std::string modules;
    std::string path;
    FComponentRegistry* registry = nullptr;
    std::vector<ScanEvent> events;
    int32 classCount = 0;
};

} // namespace

TEST_F(PlainCModule, TheClassIsListedAsDeclaredFromTheModuleAndFromTheCache)
{
    FUID cidFromText;
    ASSERT_TRUE(cidFromText.fromString(kPlainCCidText));
    ASSERT_EQ(cidFromText, FUID(kPlainCCid));

    const ScanEvent::Kind expectedKind[] = {ScanEvent::kLoaded, ScanEvent::kFromCache};
    for (int pass = 0; pass < 2; ++pass)
    {
        SCOPED_TRACE(pass == 0 ? "from the module" : "from the cache");
        scanned();
        ASSERT_EQ(classCount, 1);
        ASSERT_EQ(events.size(), 1u);
        EXPECT_EQ(events[0].kind, expectedKind[pass]) << events[0].detail;
        ASSERT_EQ(registry->countDescriptions(), 1);

        FComponentDescription* description = registry->getDescription(0);
        ASSERT_NE(description, nullptr);
        EXPECT_EQ(description->cid, cidFromText);
        EXPECT_EQ(description->cid.toString(), kPlainCCidText);
        EXPECT_EQ(description->getName().toUtf8(), kPlainCName);
        EXPECT_EQ(description->getCategory().toUtf8(), kAudioModuleClass);
        EXPECT_EQ(description->getVendor().toUtf8(), kPlainCVendor);
        EXPECT_EQ(description->getVersion().toUtf8(), kPlainCVersion);
        EXPECT_EQ(description->sdkVersion.toUtf8(), kPlainCSdkVersion);
        EXPECT_EQ(description->subCategories.toUtf8(), kPlainCSubCategories);
        EXPECT_EQ(description->classFlags, 0u);
        EXPECT_EQ(description->cardinality, PClassInfo::kManyInstances);
        EXPECT_EQ(description->location.toUtf8(), kPlainCModule);

        auto* component = FCast<FPluginComponent>(description);
        ASSERT_NE(component, nullptr);
        EXPECT_EQ(component->url.toUtf8(), kPlainCUrl);
        EXPECT_EQ(component->email.toUtf8(), kPlainCEmail);
        EXPECT_EQ(component->getModulePath(), path);

        EXPECT_EQ(registry->findByCid(FUID(kPlainCCid)), description);
        EXPECT_EQ(registry->findByCategoryAndName(String(kAudioModuleClass), String(kPlainCName)),
                  description);
    }
}

TEST_F(PlainCModule, AnInstanceAnswersIPluginBaseAndCountsTheHostContext)
{
    scanned();
    FUnknown* instance = registry->createInstance(FUID(kPlainCCid));
    ASSERT_NE(instance, nullptr);
    FModule* module = FCast<FPluginComponent>(registry->findByCid(FUID(kPlainCCid)))->getModule();
    EXPECT_TRUE(module->isLoaded());

    void* answer = reinterpret_cast<void*>(1);
    EXPECT_EQ(instance->queryInterface(IPluginFactory::iid.bytes, &answer), kNoInterface);
    EXPECT_EQ(answer, nullptr);

    ASSERT_EQ(instance->queryInterface(IPluginBase::iid.bytes, &answer), kResultOk);
    ASSERT_NE(answer, nullptr);
    auto* base = static_cast<IPluginBase*>(answer);
    void* unknown = nullptr;
    ASSERT_EQ(base->queryInterface(FUnknown::iid.bytes, &unknown), kResultOk);
    EXPECT_EQ(unknown, base); // one object, one table
    static_cast<FUnknown*>(unknown)->release();
    // The host object's reference and ours.
    EXPECT_EQ(referencesOf(base), 2u);

    Qel::QelHostContext* host = Qel::QelHostContext::instance();
    ASSERT_NE(host, nullptr);
    FUnknown* context = static_cast<Qel::IHostApplication*>(host);
    const int32 before = host->getRefCount();
    ASSERT_EQ(base->initialize(context), kResultOk);
    EXPECT_EQ(host->getRefCount(), before + 1); // held while initialized
    ASSERT_EQ(base->terminate(), kResultOk);
    EXPECT_EQ(host->getRefCount(), before);

    EXPECT_EQ(base->release(), 1u);
    instance->release();
    // The object let go of its last reference, so nothing of the module is in use any more.
    EXPECT_EQ(module->getUseCount(), 0);
    EXPECT_FALSE(module->isLoaded());
    EXPECT_EQ(host->getRefCount(), before);
}

TEST_F(PlainCModule, EveryFactoryInterfaceAndRecordMatchesTheHostsLayout)
{
    auto* module = new FModule(path);
    ASSERT_TRUE(module->load()) << module->getLoadError();
    IPluginFactory* factory = module->getFactory();
    ASSERT_NE(factory, nullptr);

    PFactoryInfo factoryInfo;
    std::memset(&factoryInfo, 0x55, sizeof(factoryInfo));
    ASSERT_EQ(factory->getFactoryInfo(&factoryInfo), kResultOk);
    EXPECT_STREQ(factoryInfo.vendor, kPlainCVendor);
    EXPECT_STREQ(factoryInfo.url, kPlainCUrl);
    EXPECT_STREQ(factoryInfo.email, kPlainCEmail);
    EXPECT_EQ(factoryInfo.flags, PFactoryInfo::kUnicode);
    EXPECT_EQ(factory->countClasses(), 1);

    PClassInfo info;
    std::memset(&info, 0x55, sizeof(info));
    ASSERT_EQ(factory->getClassInfo(0, &info), kResultOk);
    EXPECT_EQ(FUID(info.cid), FUID(kPlainCCid));
    EXPECT_EQ(info.cardinality, PClassInfo::kManyInstances);
    EXPECT_STREQ(info.category, kAudioModuleClass);
    EXPECT_STREQ(info.name, kPlainCName);
    EXPECT_NE(factory->getClassInfo(1, &info), kResultOk);

    // Each factory identifier answers, with the same table; others do not.
    const QelUid* factoryIids[] = {&FUnknown::iid, &IPluginFactory::iid, &IPluginFactory2::iid,
                                   &IPluginFactory3::iid};
    for (const QelUid* iid : factoryIids)
    {
        void* answer = nullptr;
        ASSERT_EQ(factory->queryInterface(iid->bytes, &answer), kResultOk);
        EXPECT_EQ(answer, factory);
        static_cast<FUnknown*>(answer)->release();
    }
    void* refused = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->queryInterface(IPluginBase::iid.bytes, &refused), kNoInterface);
    EXPECT_EQ(refused, nullptr);

    void* answer = nullptr;
    ASSERT_EQ(factory->queryInterface(IPluginFactory3::iid.bytes, &answer), kResultOk);
    auto* factory3 = static_cast<IPluginFactory3*>(answer);

    PClassInfo2 info2;
    std::memset(&info2, 0x55, sizeof(info2));
    ASSERT_EQ(factory3->getClassInfo2(0, &info2), kResultOk);
    EXPECT_EQ(FUID(info2.cid), FUID(kPlainCCid));
    EXPECT_EQ(info2.cardinality, PClassInfo::kManyInstances);
    EXPECT_STREQ(info2.category, kAudioModuleClass);
    EXPECT_STREQ(info2.name, kPlainCName);
    EXPECT_EQ(info2.classFlags, 0u);
    EXPECT_STREQ(info2.subCategories, kPlainCSubCategories);
    EXPECT_STREQ(info2.vendor, kPlainCVendor);
    EXPECT_STREQ(info2.version, kPlainCVersion);
    EXPECT_STREQ(info2.sdkVersion, kPlainCSdkVersion);

    PClassInfoW infoW;
    std::memset(&infoW, 0x55, sizeof(infoW));
    ASSERT_EQ(factory3->getClassInfoUnicode(0, &infoW), kResultOk);
    EXPECT_EQ(FUID(infoW.cid), FUID(kPlainCCid));
    EXPECT_EQ(infoW.cardinality, PClassInfo::kManyInstances);
    EXPECT_STREQ(infoW.category, kAudioModuleClass);
    EXPECT_EQ(std::u16string(infoW.name), u"Plain C Chorus");
    EXPECT_STREQ(infoW.subCategories, kPlainCSubCategories);
    EXPECT_EQ(std::u16string(infoW.vendor), u"Plain C Audio Works");
    EXPECT_EQ(std::u16string(infoW.version), u"2.5.1");
    EXPECT_EQ(std::u16string(infoW.sdkVersion), u"Qel 3.0.0");

    // An unknown class or interface gives nothing; the known pair gives an object.
    void* object = reinterpret_cast<void*>(1);
    EXPECT_NE(factory3->createInstance(IPluginBase::iid.bytes, IPluginBase::iid.bytes, &object),
              kResultOk);
    EXPECT_EQ(object, nullptr);
    object = reinterpret_cast<void*>(1);
    EXPECT_EQ(
        factory3->createInstance(FUID(kPlainCCid).bytes(), IPluginFactory::iid.bytes, &object),
        kNoInterface);
    EXPECT_EQ(object, nullptr);
    ASSERT_EQ(factory3->createInstance(FUID(kPlainCCid).bytes(), IPluginBase::iid.bytes, &object),
              kResultOk);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(static_cast<IPluginBase*>(object)->release(), 0u);

    factory3->release();
    module->unload();
    EXPECT_FALSE(module->isLoaded());
    module->release();
}
