// One plug-in module: a shared library with its factory. FModuleBase loads and unloads the
// library and counts its uses; FModule adds the factory and what it says about its maker.
// The registry owns every module it found; instances hold a use so their code stays loaded.
#pragma once

#include "base/flock.h"
#include "base/fobject.h"
#include "base/platform/dynlib.h"
#include "qel3/ipluginfactory.h"

#include <string>

namespace Quillmark
{

class FModuleBase : public CmObject
{
    QEL_DECLARE_CLASS(FModuleBase, CmObject)
public:
    enum ModuleFlags : int32
    {
        kNeverUnload = 1,
    };
    /** The delay between the last use ending and the library being freed, when deferred. */
    static constexpr uint32 kUnloadDelayMs = 100;

    /** `path` is the library file itself; for a package folder, the binary inside it. */
    explicit FModuleBase(const std::string& path);
    ~FModuleBase() override;

    const std::string& getPath() const { return path; }
    bool isLoaded() const { return handle != nullptr; }
    int32 getUseCount() const { return useCount; }
    int32 getFlags() const { return flags; }
    void setFlags(int32 value) { flags = value; }
    /** Why the last load failed, in words for the verbose log. */
    const std::string& getLoadError() const { return loadError; }

    /** The platform load, "InitDll" when exported, then loadEntries. */
    virtual bool load();
    /** unloadEntries, "ExitDll" when exported, then the platform free. */
    virtual void unload();
    virtual bool loadEntries();
    virtual void unloadEntries();

    /** Takes a use; a pending deferred unload is cancelled. */
    void acquire();
    /** Gives a use back; the last one unloads the library, at once or after the delay. */
    void releaseUse();

    /** Receives the deferred "Unload". */
    void notify(FMessage* message) override;

    /** Process-wide: whether the last use ending unloads after a delay instead of at once. */
    static void setDeferredUnloading(bool state);
    static bool isDeferredUnloading();
    /** Process-wide: libraries stay mapped after unload, for tools that need their symbols. */
    static void setKeepLibrariesLoaded(bool state);

    void setLoadError(std::string text) { loadError = std::move(text); }

protected:
    void* findSymbol(const char8* name) const;

    std::string path;
    platform::LibraryHandle handle = nullptr;
    FLock lock{"FLock"};
    int32 useCount = 0;
    int32 flags = 0;
    std::string loadError;
};

class FModule : public FModuleBase
{
    QEL_DECLARE_CLASS(FModule, FModuleBase)
public:
    explicit FModule(const std::string& path);
    ~FModule() override;

    bool loadEntries() override;
    void unloadEntries() override;

    /** The factory, loading the library when needed; borrowed. Null when it cannot load. */
    IPluginFactory* getFactory();
    const PFactoryInfo& getFactoryInfo() const { return factoryInfo; }
    /** Stores what the factory says about its maker; flag 8 keeps the library loaded. */
    void setFactoryInfo(const PFactoryInfo& info);

private:
    PFactoryInfo factoryInfo{};
    IPluginFactory* factory = nullptr;
};

} // namespace Quillmark
