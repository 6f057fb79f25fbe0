#include "hosting/fcomponentregistry.h"

#include "base/fdefaults.h"
#include "base/fmainloop.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "hosting/fmodule.h"
#include "hosting/fpluginexception.h"
#include "hosting/fpluginwrapper.h"
#include "hosting/qelhostcontext.h"
#include "qel3/ipluginbase.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{

namespace
{

// A factory that claims more classes than this is not believed beyond it.
constexpr int32 kMaxClassesPerModule = 1024;
constexpr const char8* kDefaultSharedComponents = "/usr/local/share/quillmark/shared-components";

String text8(const char8* field, size_t capacity)
{
    return String(std::string(field, strnlen(field, capacity)));
}

String text16(const char16* field, size_t capacity)
{
    size_t length = 0;
    while (length < capacity && field[length])
        ++length;
    std::u16string copy(field, length);
    return String(copy.c_str());
}

// Older records are widened byte by byte into 16-bit units, cut at 63 units.
void widen(char16* target, const char8* source, size_t sourceCapacity)
{
    size_t length = std::min(strnlen(source, sourceCapacity), size_t(63));
    for (size_t i = 0; i < length; ++i)
        target[i] = char16(uint8(source[i]));
    target[length] = 0;
}

void copy8(char8* target, const char8* source, size_t capacity)
{
    size_t length = std::min(strnlen(source, capacity), capacity - 1);
    std::memcpy(target, source, length);
    target[length] = 0;
}

std::string classKey(int32 index, const char8* field)
{
    char8 key[64];
    std::snprintf(key, sizeof(key), "Class %02i - %s", index, field);
    return key;
}

int32 normalizeCardinality(int32 cardinality)
{
    return cardinality == 1 ? 1 : PClassInfo::kManyInstances;
}

} // namespace

struct FComponentRegistry::ClassRecord
{
    FUID cid;
    int32 cardinality = 0;
    String category;
    String name;
    uint32 classFlags = 0;
    String subCategories;
    String vendor;
    String version;
    String sdkVersion;

    static ClassRecord from(const PClassInfoW& info)
    {
        ClassRecord record;
        record.cid = FUID(info.cid);
        record.cardinality = normalizeCardinality(info.cardinality);
        record.category = text8(info.category, sizeof(info.category));
        record.name = text16(info.name, PClassInfo::kNameSize);
        record.classFlags = info.classFlags;
        record.subCategories = text8(info.subCategories, sizeof(info.subCategories));
        record.vendor = text16(info.vendor, PClassInfo2::kVendorSize);
        record.version = text16(info.version, PClassInfo2::kVersionSize);
        record.sdkVersion = text16(info.sdkVersion, PClassInfo2::kVersionSize);
        return record;
    }
};

FComponentRegistry::FComponentRegistry() : FModuleManager("Components")
{
    acceptedCategories = {String(kAudioModuleClass), String(kComponentControllerClass),
                          String(kTestClass), String(kServiceClass)};
    serviceCategories = {String(kServiceClass)};
}

FComponentRegistry::~FComponentRegistry()
{
    close();
}

void FComponentRegistry::setAcceptedCategories(std::vector<String> categories)
{
    acceptedCategories = std::move(categories);
}

void FComponentRegistry::setBlockedCategories(std::vector<String> categories)
{
    blockedCategories = std::move(categories);
}

void FComponentRegistry::setPreferences(FDefaultPool* store)
{
    preferences = store;
}

bool FComponentRegistry::isAccepted(const ConstString& category) const
{
    return std::any_of(acceptedCategories.begin(), acceptedCategories.end(),
                       [&](const String& accepted) { return accepted == category; });
}

bool FComponentRegistry::isBlocked(const ConstString& category) const
{
    return std::any_of(blockedCategories.begin(), blockedCategories.end(),
                       [&](const String& blocked) { return blocked == category; });
}

FComponentDescription* FComponentRegistry::getDescription(int32 index) const
{
    return index >= 0 && index < int32(descriptions.size()) ? descriptions[size_t(index)] : nullptr;
}

FComponentDescription* FComponentRegistry::findByCid(const FUID& cid) const
{
    for (FComponentDescription* description : descriptions)
        if (description->cid == cid)
            return description;
    return nullptr;
}

FComponentDescription*
FComponentRegistry::findInCategory(const ConstString& category,
                                   const std::function<bool(FComponentDescription*)>& match) const
{
    bool inRun = false;
    for (FComponentDescription* description : descriptions)
    {
        if (description->category == category)
        {
            inRun = true;
            if (match(description))
                return description;
        }
        else if (inRun)
            break;
    }
    return nullptr;
}

FComponentDescription* FComponentRegistry::findByCategoryAndName(const ConstString& category,
                                                                 const ConstString& name) const
{
    return findInCategory(category, [&](FComponentDescription* description)
                          { return description->name.compare(name, false) == 0; });
}

FComponentDescription* FComponentRegistry::findByCategoryAndIndex(const ConstString& category,
                                                                  int32 index) const
{
    int32 position = 0;
    return findInCategory(category, [&](FComponentDescription*) { return position++ == index; });
}

FComponentDescription* FComponentRegistry::findByCategoryAndNumber(const ConstString& category,
                                                                   int32 number) const
{
    return findInCategory(category, [&](FComponentDescription* description)
                          { return description->componentNumber == number; });
}

int32 FComponentRegistry::countInCategory(const ConstString& category)
{
    scanComponentsFolder();
    std::vector<FComponentDescription*> list;
    return collectCategory(category, list);
}

int32 FComponentRegistry::collectCategory(const ConstString& category,
                                          std::vector<FComponentDescription*>& list) const
{
    size_t before = list.size();
    findInCategory(category,
                   [&](FComponentDescription* description)
                   {
                       list.push_back(description);
                       return false;
                   });
    return int32(list.size() - before);
}

FUnknown* FComponentRegistry::createInstance(const FUID& cid, FUnknown* outer)
{
    FComponentDescription* description = findByCid(cid);
    return description ? description->createInstance(outer) : nullptr;
}

bool FComponentRegistry::isAvailable(const FUID& cid) const
{
    FComponentDescription* description = findByCid(cid);
    return description && description->available;
}

std::vector<FComponentRegistry::MenuItem>
FComponentRegistry::buildMenu(const ConstString& category) const
{
    std::vector<MenuItem> menu;
    std::vector<FComponentDescription*> list;
    collectCategory(category, list);
    for (FComponentDescription* description : list)
        menu.push_back({description->name, description->cid.toRegistryString()});
    return menu;
}

bool FComponentRegistry::releaseInstance(FUnknown* object)
{
    if (!object)
        return false;
    for (FComponentDescription* description : descriptions)
        if (auto* component = FCast<FPluginComponent>(description))
            if (component->releaseRawInstance(object))
                return true;
    return false;
}

void FComponentRegistry::insertSorted(FComponentDescription* description)
{
    if (descriptions.empty() || description->compare(descriptions.back()) >= 0)
        descriptions.push_back(description);
    else if (description->compare(descriptions.front()) <= 0)
        descriptions.insert(descriptions.begin(), description);
    else
    {
        auto above = std::find_if(descriptions.begin(), descriptions.end(),
                                  [&](FComponentDescription* existing)
                                  { return existing->compare(description) > 0; });
        descriptions.insert(above, description);
    }
}

std::string FComponentRegistry::availabilityGroup(const ConstString& category) const
{
    return "Components\\Category " + category.toUtf8() + "\\Available";
}

void FComponentRegistry::addDescription(FComponentDescription* description)
{
    if (!description)
        return;
    if (preferences)
    {
        std::string group = availabilityGroup(description->category);
        if (FDefaults* values = preferences->lookup(group.c_str(), 1, false))
            if (values->getInt(description->cid.toString().c_str(), 1) == 0)
                description->available = false;
    }
    changed();
    insertSorted(description);
}

FComponentDescription* FComponentRegistry::addCompiledInClass(
    const ConstString& category, const ConstString& name, int32 cardinality,
    FCompiledInComponentDescription::CreateFunction create, void* userData, const FUID& cid)
{
    auto* description = new FCompiledInComponentDescription(create, userData);
    description->category = String(category);
    description->name = String(name);
    description->cardinality = cardinality;
    description->cid = cid;
    compiledIn.push_back(description);
    addDescription(description);
    return description;
}

void FComponentRegistry::writeAvailability(const ConstString& category)
{
    if (!preferences)
        return;
    std::string group = availabilityGroup(category);
    FDefaults* values = preferences->lookup(group.c_str(), 1, true);
    std::vector<FComponentDescription*> list;
    collectCategory(category, list);
    for (FComponentDescription* description : list)
        values->setInt(description->cid.toString().c_str(), description->available ? 1 : 0);
}

bool FComponentRegistry::setAvailable(FComponentDescription* description, bool state)
{
    if (!description)
        return false;
    if (state && !description->available)
    {
        bool isService = std::any_of(serviceCategories.begin(), serviceCategories.end(),
                                     [&](const String& c) { return c == description->category; });
        description->available = true;
        if (isService && !startService(description))
        {
            description->available = false;
            if (messageHandler)
                messageHandler("The service \"" + description->name.toUtf8() +
                               "\" could not be started.");
            return false;
        }
    }
    else
        description->available = state;
    writeAvailability(description->category);
    changed();
    return true;
}

bool FComponentRegistry::startService(FComponentDescription* description)
{
    FUnknown* service = description->createInstance(nullptr);
    if (!service)
        return false;
    bool ok = true;
    PluginCallGuard guard(description->name, nullptr);
    guard.run("initialize",
              [&]
              {
                  void* base = nullptr;
                  if (service->queryInterface(IPluginBase::iid.bytes, &base) == kResultOk && base)
                  {
                      auto* context =
                          static_cast<Qel::IHostApplication*>(Qel::QelHostContext::instance());
                      ok = static_cast<IPluginBase*>(base)->initialize(context) == kResultOk;
                      static_cast<IPluginBase*>(base)->release();
                  }
              });
    if (!ok || guard.caught())
    {
        service->release();
        return false;
    }
    services.push_back(service);
    return true;
}

int32 FComponentRegistry::startServices()
{
    int32 started = 0;
    for (const String& category : serviceCategories)
    {
        std::vector<FComponentDescription*> list;
        collectCategory(category, list);
        for (FComponentDescription* description : list)
        {
            if (!description->available)
                continue;
            if (startService(description))
                ++started;
            else
                description->available = false;
        }
    }
    return started;
}

void FComponentRegistry::stopServices()
{
    std::vector<FUnknown*> remaining;
    for (FUnknown* service : services)
    {
        tresult result = kResultOk;
        PluginCallGuard guard(String("service"), nullptr);
        guard.run("terminate",
                  [&]
                  {
                      void* base = nullptr;
                      if (service->queryInterface(IPluginBase::iid.bytes, &base) == kResultOk &&
                          base)
                      {
                          result = static_cast<IPluginBase*>(base)->terminate();
                          static_cast<IPluginBase*>(base)->release();
                      }
                  });
        if (result == kResultOk && !guard.caught())
            service->release();
        else
            remaining.push_back(service);
    }
    services.swap(remaining);
}

int32 FComponentRegistry::scanSharedComponents()
{
    std::string folder = kDefaultSharedComponents;
    if (preferences)
    {
        FDefaults* location = preferences->lookup("Location", 1, true);
        String stored;
        if (location->getString("Shared Components Path", stored) && !stored.isEmpty())
            folder = stored.toUtf8();
        else
            location->setString("Shared Components Path", String(folder));
    }
    return scanFolder(folder);
}

int32 FComponentRegistry::scanComponentsFolder()
{
    if (scanned)
        return 0;
    scanned = true;
    return scanFolder(platform::programComponentsFolder());
}

void FComponentRegistry::close()
{
    stopServices();
    saveCache();
    for (FComponentDescription* description : descriptions)
        description->release();
    descriptions.clear();
    compiledIn.clear();
    for (FModule* module : modules)
    {
        if (FMainLoop* loop = FMainLoop::instance())
            loop->cancel(module);
        module->release();
    }
    modules.clear();
}

bool FComponentRegistry::readClassInfo(IPluginFactory* factory, int32 index, PClassInfoW& info,
                                       std::string& problem) const
{
    std::memset(&info, 0, sizeof(info));
    tresult result = kResultFalse;
    PluginCallGuard guard(String("module"), &problem);
    guard.run(
        "getClassInfo",
        [&]
        {
            void* answer = nullptr;
            if (factory->queryInterface(IPluginFactory3::iid.bytes, &answer) == kResultOk && answer)
            {
                auto* factory3 = static_cast<IPluginFactory3*>(answer);
                result = factory3->getClassInfoUnicode(index, &info);
                factory3->release();
                return;
            }
            answer = nullptr;
            if (factory->queryInterface(IPluginFactory2::iid.bytes, &answer) == kResultOk && answer)
            {
                auto* factory2 = static_cast<IPluginFactory2*>(answer);
                PClassInfo2 info2{};
                result = factory2->getClassInfo2(index, &info2);
                factory2->release();
                std::memcpy(info.cid, info2.cid, sizeof(TUID));
                info.cardinality = info2.cardinality;
                copy8(info.category, info2.category, sizeof(info.category));
                widen(info.name, info2.name, sizeof(info2.name));
                info.classFlags = info2.classFlags;
                copy8(info.subCategories, info2.subCategories, sizeof(info.subCategories));
                widen(info.vendor, info2.vendor, sizeof(info2.vendor));
                widen(info.version, info2.version, sizeof(info2.version));
                widen(info.sdkVersion, info2.sdkVersion, sizeof(info2.sdkVersion));
                return;
            }
            // The oldest record fills only its own 116 bytes of a cleared record.
            PClassInfo2 info2{};
            result = factory->getClassInfo(index, reinterpret_cast<PClassInfo*>(&info2));
            std::memcpy(info.cid, info2.cid, sizeof(TUID));
            info.cardinality = info2.cardinality;
            copy8(info.category, info2.category, sizeof(info.category));
            widen(info.name, info2.name, sizeof(info2.name));
        });
    return !guard.caught() && result == kResultOk;
}

FPluginComponent* FComponentRegistry::makeComponent(FModule* module, const ClassRecord& record,
                                                    const std::string& entryPath)
{
    auto* component = new FPluginComponent(module, module->getPath());
    component->cid = record.cid;
    component->cardinality = record.cardinality;
    component->category = record.category;
    component->name = record.name;
    component->classFlags = record.classFlags;
    component->subCategories = record.subCategories;
    component->version = record.version;
    component->sdkVersion = record.sdkVersion;
    component->location = String(locationOf(entryPath));

    const PFactoryInfo& factoryInfo = module->getFactoryInfo();
    component->vendor = record.vendor;
    if (component->vendor.isEmpty())
        component->vendor = text8(factoryInfo.vendor, sizeof(factoryInfo.vendor));
    if (!component->vendor.isEmpty())
    {
        component->url = text8(factoryInfo.url, sizeof(factoryInfo.url));
        component->email = text8(factoryInfo.email, sizeof(factoryInfo.email));
    }
    return component;
}

bool FComponentRegistry::readCache(FModule* module, const std::string& entryPath)
{
    FDefaultPool* pool = getCachePool();
    std::string key = cacheKey(entryPath);
    FDefaults* entry = pool->lookup(key.c_str(), kCacheVersion, false);
    if (!entry)
        return false;

    int64 lastModified = 0;
    String storedPath;
    platform::FileInfo info = platform::fileInfo(module->getPath());
    if (!entry->getInt("LastModified", lastModified) || lastModified != info.modified ||
        !entry->getString("Path", storedPath) || storedPath.toUtf8() != module->getPath())
    {
        pool->removeGroup(key.c_str());
        return false;
    }

    PFactoryInfo factoryInfo{};
    String text;
    if (entry->getString("Vendor", text))
        text.copyTo8(factoryInfo.vendor, sizeof(factoryInfo.vendor));
    if (entry->getString("Url", text))
        text.copyTo8(factoryInfo.url, sizeof(factoryInfo.url));
    if (entry->getString("Email", text))
        text.copyTo8(factoryInfo.email, sizeof(factoryInfo.email));
    factoryInfo.flags = int32(entry->getInt("Flags", 0));
    int64 numClasses = entry->getInt("NumClasses", 0);
    if (numClasses <= 0 || numClasses > kMaxClassesPerModule)
        return false;
    // Classes that may change from run to run, or that pass a licence check, are always read
    // from the module itself.
    if (factoryInfo.flags & (PFactoryInfo::kClassesDiscardable | PFactoryInfo::kLicenseCheck))
        return false;

    std::vector<ClassRecord> records;
    for (int32 index = 0; index < int32(numClasses); ++index)
    {
        ClassRecord record;
        String cidText;
        int64 cardinality = 0;
        if (!entry->getString(classKey(index, "CID").c_str(), cidText) ||
            !record.cid.fromString(cidText.toUtf8().c_str()) ||
            !entry->getInt(classKey(index, "Cardinality").c_str(), cardinality) ||
            !entry->getString(classKey(index, "Category").c_str(), record.category) ||
            !entry->getString(classKey(index, "Name").c_str(), record.name))
            return false;
        if (isBlocked(record.category))
            return false;
        record.cardinality = normalizeCardinality(int32(cardinality));
        record.classFlags = uint32(entry->getInt(classKey(index, "ClassFlags").c_str(), 0));
        entry->getString(classKey(index, "SubCategories").c_str(), record.subCategories);
        entry->getString(classKey(index, "Vendor").c_str(), record.vendor);
        entry->getString(classKey(index, "Version").c_str(), record.version);
        entry->getString(classKey(index, "SdkVersion").c_str(), record.sdkVersion);
        records.push_back(std::move(record));
    }

    if (!(factoryInfo.flags & PFactoryInfo::kUnicode))
    {
        // A module with 8-bit texts is loaded to confirm that its classes are of categories
        // this host accepts.
        module->acquire();
        bool loaded = module->getFactory() != nullptr;
        module->releaseUse();
        cacheNote = "the library was loaded to confirm its categories";
        if (!loaded)
            return false;
        for (const ClassRecord& record : records)
            if (!isAccepted(record.category))
                return false;
    }

    module->setFactoryInfo(factoryInfo);
    for (const ClassRecord& record : records)
    {
        if (findByCid(record.cid))
            continue;
        FPluginComponent* component = makeComponent(module, record, entryPath);
        addDescription(component);
        FClassObservers::tell(component);
    }
    return true;
}

bool FComponentRegistry::readModule(FModule* module, const std::string& entryPath)
{
    if (failedPaths.count(module->getPath()))
    {
        module->setLoadError("the module failed before in this run");
        return false;
    }
    setBootText(module->getPath());

    module->acquire();
    IPluginFactory* factory = module->getFactory();
    if (!factory)
    {
        module->releaseUse();
        return false;
    }

    std::string problem;
    PluginCallGuard guard(String(module->getPath()), &problem);
    PFactoryInfo factoryInfo{};
    int32 count = 0;
    guard.run("getFactoryInfo",
              [&]
              {
                  factory->getFactoryInfo(&factoryInfo);
                  count = factory->countClasses();
              });
    if (guard.caught())
    {
        module->setLoadError(problem);
        module->releaseUse();
        return false;
    }
    count = std::clamp(count, 0, kMaxClassesPerModule);
    module->setFactoryInfo(factoryInfo);

    FDefaultPool* pool = getCachePool();
    std::string key = cacheKey(entryPath);
    pool->removeGroup(key.c_str());
    FDefaults* entry = pool->lookup(key.c_str(), kCacheVersion, true);
    entry->setInt("LastModified", platform::fileInfo(module->getPath()).modified);
    entry->setString("Path", String(module->getPath()));
    entry->setString("Vendor", text8(factoryInfo.vendor, sizeof(factoryInfo.vendor)));
    entry->setString("Url", text8(factoryInfo.url, sizeof(factoryInfo.url)));
    entry->setString("Email", text8(factoryInfo.email, sizeof(factoryInfo.email)));
    entry->setInt("Flags", factoryInfo.flags);
    bool discardable = factoryInfo.flags & PFactoryInfo::kClassesDiscardable;
    bool dynamic =
        factoryInfo.flags & (PFactoryInfo::kClassesDiscardable | PFactoryInfo::kLicenseCheck);
    entry->setInt("NumClasses", discardable ? -1 : count);

    std::vector<ClassRecord> records;
    for (int32 index = 0; index < count; ++index)
    {
        PClassInfoW info;
        std::string classProblem;
        if (!readClassInfo(factory, index, info, classProblem))
        {
            if (!classProblem.empty())
                module->setLoadError(classProblem);
            continue;
        }
        records.push_back(ClassRecord::from(info));
        if (!dynamic)
        {
            const ClassRecord& record = records.back();
            entry->setString(classKey(index, "CID").c_str(), String(record.cid.toString()));
            entry->setInt(classKey(index, "Cardinality").c_str(), record.cardinality);
            entry->setString(classKey(index, "Category").c_str(), record.category);
            entry->setString(classKey(index, "Name").c_str(), record.name);
            entry->setInt(classKey(index, "ClassFlags").c_str(), record.classFlags);
            entry->setString(classKey(index, "SubCategories").c_str(), record.subCategories);
            entry->setString(classKey(index, "Vendor").c_str(), record.vendor);
            entry->setString(classKey(index, "Version").c_str(), record.version);
            entry->setString(classKey(index, "SdkVersion").c_str(), record.sdkVersion);
        }
    }

    auto fail = [&](const std::string& reason)
    {
        pool->removeGroup(key.c_str());
        module->setLoadError(reason);
        module->releaseUse();
        return false;
    };

    if (!(factoryInfo.flags & PFactoryInfo::kUnicode))
        for (const ClassRecord& record : records)
            if (!isAccepted(record.category))
                return fail("the class \"" + record.name.toUtf8() + "\" has the category \"" +
                            record.category.toUtf8() + "\", which this host does not accept");

    int32 added = 0;
    for (const ClassRecord& record : records)
    {
        if (findByCid(record.cid) || isBlocked(record.category))
            continue;
        if ((factoryInfo.flags & PFactoryInfo::kLicenseCheck) && licenseCheck)
        {
            PClassInfoW info{};
            record.cid.toTUID(info.cid);
            record.category.copyTo8(info.category, sizeof(info.category));
            record.name.copyTo16(info.name, PClassInfo::kNameSize);
            if (!licenseCheck(module, info))
                continue;
        }
        FPluginComponent* component = makeComponent(module, record, entryPath);
        addDescription(component);
        setBootText(record.category.toUtf8() + " -> " + record.name.toUtf8());
        FClassObservers::tell(component);
        ++added;
    }
    module->releaseUse();

    if (added == 0)
    {
        failedPaths.insert(module->getPath());
        pool->removeGroup(key.c_str());
        if (module->getLoadError().empty())
            module->setLoadError(count == 0 ? "the factory offers no classes"
                                            : "the module offers no class that is new");
        return false;
    }
    return true;
}

} // namespace Quillmark
