// The list of modules found in folders, with the cache that remembers what each module offers.
// A scan walks a folder, and for each module file tries the cache before loading the library.
// Owns its modules; the component registry builds on it.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

#include <functional>
#include <string>
#include <vector>

namespace Quillmark
{

class FDefaultPool;
class FDefaults;
class FModule;

/** What a scan tells a listener about each entry it looked at. */
struct ScanEvent
{
    enum Kind
    {
        kFromCache,    // the classes came from the cache
        kLoaded,       // the library was loaded to read its classes
        kSkipped,      // the entry counts for nothing; `detail` says why
        kCacheProblem, // the cache file itself was damaged; `detail` says how
    };
    Kind kind;
    std::string path;
    std::string detail;
};

class FModuleManager : public CmObject
{
    QEL_DECLARE_CLASS(FModuleManager, CmObject)
public:
    static constexpr int32 kCacheVersion = 1;

    explicit FModuleManager(const char8* name = "Components");
    ~FModuleManager() override;

    /** Scans one folder; `extension` null means any module file or package folder. Answers the
        number of modules found. */
    int32 scanFolder(const std::string& folder, const char8* extension = nullptr);
    /** A package folder, or a file with the module extension. */
    static bool isModule(const std::string& path);
    /** The library inside a package folder, or the path itself for a module file. */
    static std::string moduleBinary(const std::string& path);

    int32 countModules() const { return int32(modules.size()); }
    FModule* getModule(int32 index) const;
    FModule* findModule(const std::string& binaryPath) const;

    /** The cache pool; created on first use in the user data folder unless one was set. */
    FDefaultPool* getCachePool();
    /** Where "Module Cache" lives when no pool is set; the user data folder unless set. */
    void setCacheFolder(std::string folder) { cacheFolder = std::move(folder); }
    /** Uses `pool` (borrowed) for the cache instead of the file of its own. */
    void setCachePool(FDefaultPool* pool);
    bool saveCache();
    /** The key of the cache entry of a module entry found in a folder. */
    std::string cacheKey(const std::string& entryPath) const;

    void setScanListener(std::function<void(const ScanEvent&)> listener);
    /** Receives the texts a start-up screen shows while modules are read. */
    void setBootTextHandler(std::function<void(const std::string&)> handler);

    bool isScanned() const { return scanned; }
    void setScanned(bool state) { scanned = state; }
    const String& getName() const { return name; }

protected:
    /** Reads the classes of `module` from its cache entry; false when it cannot stand in. */
    virtual bool readCache(FModule* module, const std::string& entryPath) = 0;
    /** Loads `module` and reads its classes from the factory. */
    virtual bool readModule(FModule* module, const std::string& entryPath) = 0;

    void report(ScanEvent::Kind kind, const std::string& path, const std::string& detail = {});
    void setBootText(const std::string& text);
    /** The entry's folder below the scanned folder, for the class's location. */
    std::string locationOf(const std::string& entryPath) const;

    std::vector<FModule*> modules;
    String name;
    String cacheName{"Module Cache"};
    std::string cacheFolder;
    FDefaultPool* cachePool = nullptr;
    bool ownsCachePool = false;
    bool scanned = false;
    std::string currentFolder;
    /** What readCache adds to its report, such as a load it needed after all. */
    std::string cacheNote;

private:
    void scanEntry(const std::string& entryPath, const char8* extension, int32& found);

    std::function<void(const ScanEvent&)> scanListener;
    std::function<void(const std::string&)> bootTextHandler;
};

} // namespace Quillmark
