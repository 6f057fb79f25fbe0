#include "hosting/fcomponentregistry.h"

#include "base/fdefaults.h"
#include "base/platform/dynlib.h"
#include "hosting/classlookup.h"
#include "hosting/fmodule.h"
#include "hosting/fpluginexception.h"
#include "hosting/fplugininstance.h"
#include "hosting/fpluginwrapper.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "qel3/ipluginbase.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;
namespace fs = std::filesystem;
using Quillmark::testing::copyInto;
using Quillmark::testing::exampleModule;
using Quillmark::testing::fixture;

namespace
{

class Registry : public ::testing::Test
{
protected:
    void SetUp() override { modules = temp.folder("modules"); }
    void TearDown() override
    {
        if (registry)
            registry->release();
    }

    /** A fresh registry that records what the scan says, as a new run of the program would. */
    FComponentRegistry& fresh()
    {
        if (registry)
            registry->release();
        registry = new FComponentRegistry;
        events.clear();
        registry->setScanListener([this](const ScanEvent& event) { events.push_back(event); });
        return *registry;
    }

    int scan(const std::string& folder)
    {
        if (!registry)
            fresh();
        return registry->scanFolder(folder);
    }

    const ScanEvent* eventFor(const std::string& fileName) const
    {
        for (const ScanEvent& event : events)
            if (fs::path(event.path).filename() == fileName)
                return &event;
        return nullptr;
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        for (int32 i = 0; i < registry->countDescriptions(); ++i)
            result.push_back(registry->getDescription(i)->getName().toUtf8());
        return result;
    }

    Quillmark::testing::TempFolder temp;
    Quillmark::testing::UserDataFolder userData{temp};
    std::string modules;
    FComponentRegistry* registry = nullptr;
    std::vector<ScanEvent> events;
};

std::string cacheFile(const Quillmark::testing::UserDataFolder& userData)
{
    return userData.get() + "/Module Cache";
}

} // namespace

TEST_F(Registry, ListsExampleClassesSortedWithWhatTheyDeclare)
{
    copyInto(exampleModule(kQelGainModule), modules);
    copyInto(exampleModule(kQelToneModule), modules);
    EXPECT_EQ(scan(modules), 2);

    // By category, then by name, whatever the order of discovery.
    EXPECT_EQ(names(), (std::vector<std::string>{kQelGainName, kQelToneName, kQelGainControllerName,
                                                 kQelGainTestsName}));

    FComponentDescription* gain = registry->findByCid(FUID(kQelGainCid));
    ASSERT_NE(gain, nullptr);
    EXPECT_EQ(gain->getCategory().toUtf8(), kAudioModuleClass);
    EXPECT_EQ(gain->getVendor().toUtf8(), kExampleVendor);
    EXPECT_EQ(gain->getVersion().toUtf8(), "1.0.0");
    EXPECT_EQ(gain->sdkVersion.toUtf8(), "Qel 3.0.0");
    EXPECT_EQ(gain->subCategories.toUtf8(), "Fx|Dynamics");
    EXPECT_EQ(gain->location.toUtf8(), "QelGain.qel3");
    auto* component = FCast<FPluginComponent>(gain);
    ASSERT_NE(component, nullptr);
    EXPECT_EQ(component->getModulePath(),
              modules + "/QelGain.qel3/Contents/x86_64-linux/QelGain.so");

    // The oldest record has no vendor field: the class takes its factory's.
    FComponentDescription* tone = registry->findByCid(FUID(kQelToneCid));
    ASSERT_NE(tone, nullptr);
    EXPECT_EQ(tone->getVendor().toUtf8(), kExampleVendor);
    EXPECT_EQ(tone->getVersion().toUtf8(), "");
}

TEST_F(Registry, ACachedModuleWithEightBitTextsIsLoadedToConfirmItsCategories)
{
    copyInto(exampleModule(kQelToneModule), modules);
    scan(modules);
    fresh();
    long loadsBefore = platform::loadedLibraryCount();
    scan(modules);
    EXPECT_EQ(platform::loadedLibraryCount(), loadsBefore + 1);
    const ScanEvent* event = eventFor(kQelToneModule);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->kind, ScanEvent::kFromCache);
    EXPECT_NE(event->detail.find("loaded to confirm"), std::string::npos);
    EXPECT_FALSE(
        FCast<FPluginComponent>(registry->findByCid(FUID(kQelToneCid)))->getModule()->isLoaded());

    // Once the host no longer accepts its category, the cache cannot stand in.
    fresh();
    registry->setAcceptedCategories({String(kComponentControllerClass)});
    EXPECT_EQ(scan(modules), 0);
    EXPECT_EQ(eventFor(kQelToneModule)->kind, ScanEvent::kSkipped);
}

TEST_F(Registry, SharedComponentsFolderComesFromThePreferences)
{
    auto* preferences = new FDefaultPool(temp.file("Defaults"));
    fresh().setPreferences(preferences);
    // With nothing stored, the default is written for the user to change.
    registry->scanSharedComponents();
    String stored;
    ASSERT_TRUE(
        preferences->lookup("Location", 1, false)->getString("Shared Components Path", stored));
    EXPECT_EQ(stored.toUtf8(), "/usr/local/share/quillmark/shared-components");

    std::string shared = temp.folder("shared");
    copyInto(exampleModule(kQelGainModule), shared);
    preferences->lookup("Location", 1, false)->setString("Shared Components Path", String(shared));
    EXPECT_EQ(registry->scanSharedComponents(), 1);
    EXPECT_NE(registry->findByCid(FUID(kQelGainCid)), nullptr);
    registry->release();
    registry = nullptr;
    preferences->release();
}

TEST_F(Registry, SecondScanComesFromTheCacheWithoutLoadingLibraries)
{
    copyInto(exampleModule(kQelGainModule), modules);
    for (int i = 0; i < 3; ++i)
        copyInto(fixture(kSelfNamedModule), modules, "self_" + std::to_string(i) + ".so");
    ASSERT_EQ(scan(modules), 4);
    std::vector<std::string> first = names();
    for (const ScanEvent& event : events)
        EXPECT_EQ(event.kind, ScanEvent::kLoaded) << event.path;

    fresh();
    long loadsBefore = platform::loadedLibraryCount();
    ASSERT_EQ(scan(modules), 4);
    EXPECT_EQ(platform::loadedLibraryCount(), loadsBefore);
    EXPECT_EQ(names(), first);
    ASSERT_EQ(events.size(), 4u);
    for (const ScanEvent& event : events)
        EXPECT_EQ(event.kind, ScanEvent::kFromCache) << event.path;

    // What the cache gives is what the module said.
    FComponentDescription* gain = registry->findByCid(FUID(kQelGainCid));
    ASSERT_NE(gain, nullptr);
    EXPECT_EQ(gain->getVendor().toUtf8(), kExampleVendor);
    EXPECT_EQ(gain->subCategories.toUtf8(), "Fx|Dynamics");
    EXPECT_EQ(gain->cardinality, PClassInfo::kManyInstances);
    FComponentDescription* self = registry->findByCategoryAndName(
        String(kAudioModuleClass), String((std::string(kSelfNamedPrefix) + "self_1").c_str()));
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->cid, FUID(selfNamedCid((fs::path(modules) / "self_1.so").string())));
}

TEST_F(Registry, AChangedFileIsLoadedOnceAndItsEntryRewritten)
{
    std::string path = copyInto(fixture(kSelfNamedModule), modules);
    scan(modules);

    fs::last_write_time(path, fs::last_write_time(path) + std::chrono::seconds(5));
    fresh();
    scan(modules);
    ASSERT_NE(eventFor(kSelfNamedModule), nullptr);
    EXPECT_EQ(eventFor(kSelfNamedModule)->kind, ScanEvent::kLoaded);

    fresh();
    scan(modules);
    EXPECT_EQ(eventFor(kSelfNamedModule)->kind, ScanEvent::kFromCache);
}

TEST_F(Registry, TheFirstClassWithAnIdentifierWins)
{
    std::string first = temp.folder("first");
    copyInto(exampleModule(kQelGainModule), first);
    copyInto(fixture(kDuplicateCidModule), modules);
    scan(first);
    scan(modules);

    EXPECT_EQ(registry->findByCid(FUID(kQelGainCid))->getName().toUtf8(), kQelGainName);
    EXPECT_EQ(
        registry->findByCategoryAndName(String(kAudioModuleClass), String(kDuplicateGainName)),
        nullptr);
    FComponentDescription* unique = registry->findByCid(FUID(kUniqueCid));
    ASSERT_NE(unique, nullptr);
    EXPECT_EQ(unique->cardinality, 1);

    // The same from the cache.
    fresh();
    scan(first);
    scan(modules);
    EXPECT_EQ(eventFor(kDuplicateCidModule)->kind, ScanEvent::kFromCache);
    EXPECT_EQ(registry->findByCid(FUID(kQelGainCid))->getName().toUtf8(), kQelGainName);
    EXPECT_NE(registry->findByCid(FUID(kUniqueCid)), nullptr);
}

TEST_F(Registry, DiscardableClassesAreReadFromTheModuleEveryTime)
{
    copyInto(fixture(kDiscardableModule), modules);
    scan(modules);
    ASSERT_NE(registry->findByCid(FUID(kDiscardableCid)), nullptr);
    fresh();
    scan(modules);
    EXPECT_EQ(eventFor(kDiscardableModule)->kind, ScanEvent::kLoaded);
    EXPECT_NE(registry->findByCid(FUID(kDiscardableCid)), nullptr);
}

TEST_F(Registry, AModuleWithAnUnacceptedCategoryIsSkippedWhole)
{
    copyInto(fixture(kBadCategoryModule), modules);
    copyInto(exampleModule(kQelGainModule), modules);
    EXPECT_EQ(scan(modules), 1);
    EXPECT_EQ(registry->findByCid(FUID(kOddCid)), nullptr);
    EXPECT_EQ(registry->findByCid(FUID(kAcceptedCid)), nullptr);
    const ScanEvent* event = eventFor(kBadCategoryModule);
    ASSERT_NE(event, nullptr);
    EXPECT_EQ(event->kind, ScanEvent::kSkipped);
    EXPECT_NE(event->detail.find(kOddCategory), std::string::npos) << event->detail;
}

TEST_F(Registry, ACachedClassInABlockedCategoryMakesTheLibraryLoad)
{
    copyInto(exampleModule(kQelGainModule), modules);
    scan(modules);
    fresh();
    registry->setBlockedCategories({String(kComponentControllerClass)});
    scan(modules);
    EXPECT_EQ(eventFor(kQelGainModule)->kind, ScanEvent::kLoaded);
    EXPECT_NE(registry->findByCid(FUID(kQelGainCid)), nullptr);
    EXPECT_EQ(registry->findByCid(FUID(kQelGainControllerCid)), nullptr);
}

TEST_F(Registry, OlderRecordsAreWidenedAndCut)
{
    copyInto(fixture(kFactory2Module), modules);
    scan(modules);
    for (int pass = 0; pass < 2; ++pass) // from the module, then from the cache
    {
        FComponentDescription* description = registry->findByCid(FUID(kFactory2Cid));
        ASSERT_NE(description, nullptr) << "pass " << pass;
        EXPECT_EQ(description->getName().toUtf8(), kFactory2Name);
        EXPECT_EQ(description->getVendor().toUtf8(), kFactory2Vendor);
        EXPECT_EQ(description->getVersion().toUtf8(),
                  std::string(kFactory2Version).substr(0, kFactory2TextLimit));
        fresh();
        scan(modules);
    }
}

TEST_F(Registry, CardinalityOneStaysAndAnyOtherMeansMany)
{
    copyInto(fixture(kNeverUnloadModule), modules);
    copyInto(fixture(kDuplicateCidModule), modules);
    scan(modules);
    EXPECT_EQ(registry->findByCid(FUID(kNeverUnloadCid))->cardinality, PClassInfo::kManyInstances);
    EXPECT_EQ(registry->findByCid(FUID(kUniqueCid))->cardinality, 1);
}

TEST_F(Registry, BadEntriesAreSkippedWithTheirReasonAndTheScanGoesOn)
{
    copyInto(exampleModule(kQelGainModule), modules);
    copyInto(fixture(kNoEntryModule), modules);
    copyInto(fixture(kNullFactoryModule), modules);
    copyInto(fixture(kInitDllFalseModule), modules);
    copyInto(fixture(kNoClassesModule), modules);
    Quillmark::testing::writeFile(modules + "/text.so", "not a library");
    std::string whole = Quillmark::testing::readFile(fixture(kSelfNamedModule));
    Quillmark::testing::writeFile(modules + "/truncated.so", whole.substr(0, 4096));
    fs::create_symlink(modules + "/gone.so", modules + "/dangling.so");
    fs::create_directories(modules + "/Empty.qel3/Contents");
    Quillmark::testing::writeFile(modules + "/notes.txt", "ignored: not a module");

    EXPECT_EQ(scan(modules), 1);
    EXPECT_NE(registry->findByCid(FUID(kQelGainCid)), nullptr);

    const std::pair<const char*, const char*> expected[] = {
        {kNoEntryModule, "GetPluginFactory"},
        {kNullFactoryModule, "answered null"},
        {kInitDllFalseModule, "InitDll answered false"},
        {kNoClassesModule, "no classes"},
        {"text.so", "not a loadable library"},
        {"truncated.so", "not a loadable library"},
        {"dangling.so", "link leads nowhere"},
        {"Empty.qel3", "Contents/x86_64-linux/Empty.so"},
    };
    for (const auto& [file, reason] : expected)
    {
        const ScanEvent* event = eventFor(file);
        ASSERT_NE(event, nullptr) << file;
        EXPECT_EQ(event->kind, ScanEvent::kSkipped) << file;
        EXPECT_NE(event->detail.find(reason), std::string::npos) << file << ": " << event->detail;
    }
    EXPECT_EQ(eventFor("notes.txt"), nullptr);

    // A skipped module leaves no trace in the cache, so the next run tries it afresh.
    fresh();
    scan(modules);
    EXPECT_EQ(eventFor(kNoClassesModule)->kind, ScanEvent::kSkipped);
    EXPECT_EQ(eventFor(kQelGainModule)->kind, ScanEvent::kFromCache);
}

TEST_F(Registry, AnUnreadableModuleIsSkipped)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "root reads every file";
    std::string path = copyInto(fixture(kSelfNamedModule), modules);
    fs::permissions(path, fs::perms::none);
    EXPECT_EQ(scan(modules), 0);
    EXPECT_NE(eventFor(kSelfNamedModule)->detail.find("cannot be read"), std::string::npos);
}

TEST_F(Registry, AModuleThatFailedIsNotTriedAgainInTheSameRun)
{
    copyInto(fixture(kNoClassesModule), modules);
    scan(modules);
    std::string again = temp.folder("again");
    fs::create_symlink(modules + "/" + kNoClassesModule, again + "/" + kNoClassesModule);
    scan(again);
    const ScanEvent* event = &events.back();
    EXPECT_EQ(event->kind, ScanEvent::kSkipped);
    EXPECT_NE(event->detail.find("failed before"), std::string::npos) << event->detail;
}

TEST_F(Registry, ADamagedCacheKeepsItsGoodEntriesAndIsMadeWhole)
{
    for (int i = 0; i < 6; ++i)
        copyInto(fixture(kSelfNamedModule), modules, "m" + std::to_string(i) + ".so");
    scan(modules);
    registry->release();
    registry = nullptr;

    std::string cache = Quillmark::testing::readFile(cacheFile(userData));
    ASSERT_FALSE(cache.empty());
    fs::remove(cacheFile(userData) + ".bak");
    Quillmark::testing::writeFile(cacheFile(userData), cache.substr(0, cache.size() * 2 / 3));

    fresh();
    EXPECT_EQ(scan(modules), 6);
    int cached = 0;
    bool problemReported = false;
    for (const ScanEvent& event : events)
    {
        cached += event.kind == ScanEvent::kFromCache;
        problemReported |= event.kind == ScanEvent::kCacheProblem;
    }
    EXPECT_TRUE(problemReported);
    EXPECT_GT(cached, 0);
    EXPECT_LT(cached, 6);

    fresh();
    scan(modules);
    for (const ScanEvent& event : events)
        EXPECT_EQ(event.kind, ScanEvent::kFromCache) << event.path;
}

TEST_F(Registry, ACacheThatIsNoXmlIsReportedAndRebuilt)
{
    copyInto(exampleModule(kQelGainModule), modules);
    Quillmark::testing::writeFile(cacheFile(userData), std::string("\x00\x01garbage<<", 11));
    fresh();
    EXPECT_EQ(scan(modules), 1);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front().kind, ScanEvent::kCacheProblem);
    fresh();
    scan(modules);
    EXPECT_EQ(eventFor(kQelGainModule)->kind, ScanEvent::kFromCache);
}

TEST_F(Registry, InstancesKeepTheirModuleLoaded)
{
    copyInto(exampleModule(kQelGainModule), modules);
    scan(modules);
    auto* component = FCast<FPluginComponent>(registry->findByCid(FUID(kQelGainCid)));
    ASSERT_NE(component, nullptr);
    FModule* module = component->getModule();
    EXPECT_FALSE(module->isLoaded());

    FUnknown* first = registry->createInstance(FUID(kQelGainCid));
    FUnknown* second = registry->createInstance(FUID(kQelGainCid));
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(module->isLoaded());
    EXPECT_EQ(module->getUseCount(), 2);

    // The host object answers the plug-in's interfaces.
    void* base = nullptr;
    ASSERT_EQ(first->queryInterface(IPluginBase::iid.bytes, &base), kResultOk);
    static_cast<IPluginBase*>(base)->release();
    EXPECT_NE(FCast<FPluginInstance>(first), nullptr);

    first->release();
    EXPECT_TRUE(module->isLoaded());
    second->release();
    EXPECT_FALSE(module->isLoaded());
}

TEST_F(Registry, RawInstancesAreHandedBackThroughTheRegistry)
{
    copyInto(exampleModule(kQelGainModule), modules);
    scan(modules);
    FComponentDescription* gain = registry->findByCid(FUID(kQelGainCid));
    FModule* module = FCast<FPluginComponent>(gain)->getModule();

    FUnknown* plain = gain->createRawInstance(false);
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(FObject::unknownToObject(plain), nullptr); // the plug-in's own object
    EXPECT_EQ(module->getUseCount(), 1);
    EXPECT_TRUE(registry->releaseInstance(plain));
    EXPECT_FALSE(module->isLoaded());
    EXPECT_FALSE(registry->releaseInstance(plain));

    FUnknown* wrapped = gain->createRawInstance(true);
    ASSERT_NE(FCast<FPluginInstance>(wrapped), nullptr);
    EXPECT_FALSE(registry->releaseInstance(wrapped));
    wrapped->release();
    EXPECT_FALSE(module->isLoaded());
}

namespace
{

int gWrapCalls = 0;

FUnknown* wrapIntoHostObject(FUnknown* object, FComponentDescription*)
{
    ++gWrapCalls;
    object->addRef();
    return object; // the host object itself, so the test can tell the path taken
}

FUnknown* refuse(FUnknown*, FComponentDescription*)
{
    ++gWrapCalls;
    return nullptr;
}

} // namespace

TEST_F(Registry, WrappersMatchByCategoryOrInterfaceAndMayRefuse)
{
    copyInto(exampleModule(kQelGainModule), modules);
    scan(modules);

    gWrapCalls = 0;
    FPluginWrapper byCategory;
    byCategory.category = String(kComponentControllerClass);
    byCategory.wrap = refuse;
    FPluginWrapper::add(byCategory);
    EXPECT_EQ(registry->createInstance(FUID(kQelGainControllerCid)), nullptr);
    EXPECT_EQ(gWrapCalls, 1);

    // The effect is of another category: the refusing wrapper does not match it.
    FUnknown* effect = registry->createInstance(FUID(kQelGainCid));
    ASSERT_NE(effect, nullptr);
    effect->release();
    EXPECT_EQ(gWrapCalls, 1);
    FPluginWrapper::remove(refuse);

    FPluginWrapper byInterface;
    byInterface.iid = FUID(IPluginBase::iid);
    byInterface.wrap = wrapIntoHostObject;
    FPluginWrapper::add(byInterface);
    FUnknown* wrapped = registry->createInstance(FUID(kQelGainCid));
    EXPECT_EQ(gWrapCalls, 2);
    ASSERT_NE(wrapped, nullptr);
    wrapped->release();
    FPluginWrapper::remove(wrapIntoHostObject);
}

TEST_F(Registry, AnExceptionFromCreateInstanceIsCaughtAndNamesTheClass)
{
    copyInto(fixture(kThrowingModule), modules);
    scan(modules);
    FComponentDescription* throwing = registry->findByCid(FUID(kThrowingCid));
    ASSERT_NE(throwing, nullptr);
    EXPECT_EQ(throwing->createInstance(), nullptr);
    EXPECT_EQ(throwing->lastError.find(kPluginExceptionText), 0u) << throwing->lastError;
    EXPECT_NE(throwing->lastError.find(kThrowingName), std::string::npos);
    EXPECT_NE(throwing->lastError.find(kThrowingMessage), std::string::npos);
    EXPECT_FALSE(FCast<FPluginComponent>(throwing)->getModule()->isLoaded());
}

TEST_F(Registry, ObserversAreToldOfEachClassFromAModule)
{
    struct Recorder : IClassObserver
    {
        std::vector<std::string> seen;
        void classAdded(FComponentDescription* description) override
        {
            seen.push_back(description->getName().toUtf8());
        }
    } recorder;
    FClassObservers::add(&recorder);
    copyInto(exampleModule(kQelGainModule), modules);
    scan(modules);
    FClassObservers::remove(&recorder);
    EXPECT_EQ(recorder.seen.size(), 3u);
}

TEST_F(Registry, AClassIsFoundByNameOrEitherFormOfItsIdentifier)
{
    copyInto(exampleModule(kQelGainModule), modules);
    ASSERT_EQ(scan(modules), 1);
    FComponentDescription* gain = registry->findByCid(FUID(kQelGainCid));
    ASSERT_NE(gain, nullptr);

    std::string plain = gain->getCid().toString();
    std::string braced = gain->getCid().toRegistryString();
    std::string lower = plain;
    for (char& c : lower)
        c = char(std::tolower(static_cast<unsigned char>(c)));

    for (const std::string& wanted : {std::string(kQelGainName), plain, braced, lower})
        EXPECT_EQ(findAudioModuleClass(*registry, wanted), gain) << wanted;
    EXPECT_EQ(findAudioModuleClass(*registry, "Qel gain"), nullptr);
    // The controller class shares the module but cannot be brought to life on its own.
    EXPECT_EQ(findAudioModuleClass(*registry, kQelGainControllerName), nullptr);
    EXPECT_TRUE(matchesClass(*gain, ""));

    gain->available = false;
    EXPECT_EQ(findAudioModuleClass(*registry, kQelGainName), nullptr);
    EXPECT_EQ(noClassFoundText("Qel Gain"), "Qel3PluginTestHost: no class found named Qel Gain\n");
    EXPECT_EQ(noClassFoundText(""), "Qel3PluginTestHost: no class found\n");
}
