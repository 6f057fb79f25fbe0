// The registry of every class the host knows: classes of scanned modules and classes built
// into the host, kept sorted by category and name, with lookups, creation, availability and
// services. One per application; it owns the descriptions and, through its base, the modules.
#pragma once

#include "hosting/fcomponentdescription.h"
#include "hosting/fmodulemanager.h"
#include "qel3/ipluginfactory.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace Quillmark
{

class FDefaultPool;

class FComponentRegistry : public FModuleManager
{
    QEL_DECLARE_CLASS(FComponentRegistry, FModuleManager)
public:
    /** Answers whether a class of a module flagged for a licence check may enter. */
    using LicenseCheck = std::function<bool(FModule* module, const PClassInfoW& info)>;
    /** Shows a message to the user. */
    using MessageHandler = std::function<void(const std::string& text)>;

    struct MenuItem
    {
        String title;
        std::string tag; // the class identifier in registry text form
    };

    FComponentRegistry();
    ~FComponentRegistry() override;

    /** The categories a module without 16-bit texts may offer. */
    void setAcceptedCategories(std::vector<String> categories);
    const std::vector<String>& getAcceptedCategories() const { return acceptedCategories; }
    /** Categories whose classes are kept out. */
    void setBlockedCategories(std::vector<String> categories);
    /** The preference store for the availability of classes; borrowed, may be null. */
    void setPreferences(FDefaultPool* store);
    void setLicenseCheck(LicenseCheck check) { licenseCheck = std::move(check); }
    void setMessageHandler(MessageHandler handler) { messageHandler = std::move(handler); }

    int32 countDescriptions() const { return int32(descriptions.size()); }
    FComponentDescription* getDescription(int32 index) const;

    FComponentDescription* findByCid(const FUID& cid) const;
    FComponentDescription* findByCategoryAndName(const ConstString& category,
                                                 const ConstString& name) const;
    FComponentDescription* findByCategoryAndIndex(const ConstString& category, int32 index) const;
    FComponentDescription* findByCategoryAndNumber(const ConstString& category, int32 number) const;
    int32 countInCategory(const ConstString& category);
    int32 collectCategory(const ConstString& category,
                          std::vector<FComponentDescription*>& list) const;
    FUnknown* createInstance(const FUID& cid, FUnknown* outer = nullptr);
    bool isAvailable(const FUID& cid) const;
    std::vector<MenuItem> buildMenu(const ConstString& category) const;

    /** Hands back an object of createRawInstance(false): the module's use ends with it. */
    bool releaseInstance(FUnknown* object);

    /** Enters a class: availability from the preferences, then into the sorted list. */
    void addDescription(FComponentDescription* description);
    FComponentDescription*
    addCompiledInClass(const ConstString& category, const ConstString& name, int32 cardinality,
                       FCompiledInComponentDescription::CreateFunction create, void* userData,
                       const FUID& cid);

    /** Switches a class on or off for this and later runs. */
    bool setAvailable(FComponentDescription* description, bool state);

    /** Instantiates and initializes every available class of the service categories. */
    int32 startServices();
    /** Terminates the services; one that refuses stays. */
    void stopServices();
    int32 countServices() const { return int32(services.size()); }

    /** Scans the shared component folder named in the preferences. */
    int32 scanSharedComponents();
    /** Scans the program's "Components" folder once. */
    int32 scanComponentsFolder();

    /** Terminates services, saves the cache, drops every description and module. */
    void close();

protected:
    bool readCache(FModule* module, const std::string& entryPath) override;
    bool readModule(FModule* module, const std::string& entryPath) override;

private:
    struct ClassRecord;

    /** The first description of the category's run that `match` accepts, or null. The list
        is sorted by category, so the walk ends behind the run. */
    FComponentDescription*
    findInCategory(const ConstString& category,
                   const std::function<bool(FComponentDescription*)>& match) const;

    bool isAccepted(const ConstString& category) const;
    bool isBlocked(const ConstString& category) const;
    /** Reads class `index` through the best interface the factory has. */
    bool readClassInfo(IPluginFactory* factory, int32 index, PClassInfoW& info,
                       std::string& problem) const;
    FPluginComponent* makeComponent(FModule* module, const ClassRecord& record,
                                    const std::string& entryPath);
    void insertSorted(FComponentDescription* description);
    std::string availabilityGroup(const ConstString& category) const;
    void writeAvailability(const ConstString& category);
    bool startService(FComponentDescription* description);

    std::vector<FComponentDescription*> descriptions;
    std::vector<FCompiledInComponentDescription*> compiledIn;
    std::vector<String> acceptedCategories;
    std::vector<String> blockedCategories;
    std::vector<String> serviceCategories;
    std::vector<FUnknown*> services;
    std::set<std::string> failedPaths;
    FDefaultPool* preferences = nullptr;
    LicenseCheck licenseCheck;
    MessageHandler messageHandler;
};

} // namespace Quillmark
