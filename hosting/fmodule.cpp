#include "hosting/fmodule.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "hosting/qelhostcontext.h"

#include <atomic>
#include <exception>

namespace Quillmark
{

namespace
{
std::atomic<bool> gDeferredUnloading{false};
std::atomic<bool> gKeepLibrariesLoaded{false};

std::string exceptionText(const char8* call)
{
    try
    {
        throw;
    }
    catch (const std::exception& e)
    {
        return std::string(call) + " threw an exception: " + e.what();
    }
    catch (...)
    {
        return std::string(call) + " threw an exception";
    }
}
} // namespace

FModuleBase::FModuleBase(const std::string& path) : path(path) {}

FModuleBase::~FModuleBase()
{
    if (handle)
        unload();
}

void* FModuleBase::findSymbol(const char8* name) const
{
    return platform::findSymbol(handle, name);
}

bool FModuleBase::load()
{
    FGuard guard(lock);
    if (handle)
        return true;
    std::string error;
    handle = platform::loadLibrary(path, &error);
    if (!handle)
    {
        setLoadError("not a loadable library: " + error);
        return false;
    }
    if (auto init = reinterpret_cast<InitModuleProc>(findSymbol("InitDll")))
    {
        bool initialized = false;
        try
        {
            initialized = init();
        }
        catch (...)
        {
            setLoadError(exceptionText("InitDll"));
        }
        if (!initialized)
        {
            if (loadError.empty())
                setLoadError("InitDll answered false");
            platform::freeLibrary(handle);
            handle = nullptr;
            return false;
        }
    }
    if (loadEntries())
    {
        loadError.clear();
        return true;
    }
    unload();
    return false;
}

void FModuleBase::unload()
{
    FGuard guard(lock);
    if (!handle)
        return;
    unloadEntries();
    if (auto exitModule = reinterpret_cast<ExitModuleProc>(findSymbol("ExitDll")))
    {
        try
        {
            exitModule();
        }
        catch (...)
        {
            setLoadError(exceptionText("ExitDll"));
        }
    }
    if (!gKeepLibrariesLoaded.load())
        platform::freeLibrary(handle);
    handle = nullptr;
    useCount = 0;
}

bool FModuleBase::loadEntries()
{
    return true;
}

void FModuleBase::unloadEntries() {}

void FModuleBase::acquire()
{
    FGuard guard(lock);
    if (FMainLoop* loop = FMainLoop::instance())
        loop->cancel(this, "Unload");
    ++useCount;
}

void FModuleBase::releaseUse()
{
    FGuard guard(lock);
    if (--useCount > 0)
        return;
    useCount = 0;
    if (flags & kNeverUnload)
        return;
    FMainLoop* loop = gDeferredUnloading.load() ? FMainLoop::instance() : nullptr;
    if (loop)
        loop->post(this, "Unload", kUnloadDelayMs);
    else
        unload();
}

void FModuleBase::notify(FMessage* message)
{
    if (message && message->is("Unload"))
    {
        FGuard guard(lock);
        if (useCount < 1)
            unload();
    }
}

void FModuleBase::setDeferredUnloading(bool state)
{
    gDeferredUnloading.store(state);
}

bool FModuleBase::isDeferredUnloading()
{
    return gDeferredUnloading.load();
}

void FModuleBase::setKeepLibrariesLoaded(bool state)
{
    gKeepLibrariesLoaded.store(state);
}

FModule::FModule(const std::string& path) : FModuleBase(path) {}

FModule::~FModule()
{
    if (handle)
        unload();
}

bool FModule::loadEntries()
{
    auto getFactoryProc = reinterpret_cast<GetFactoryProc>(findSymbol("GetPluginFactory"));
    if (!getFactoryProc)
    {
        setLoadError("the library exports no GetPluginFactory");
        return false;
    }
    IPluginFactory* result = nullptr;
    try
    {
        result = getFactoryProc();
    }
    catch (...)
    {
        setLoadError(exceptionText("GetPluginFactory"));
        return false;
    }
    if (!result)
    {
        setLoadError("GetPluginFactory answered null");
        return false;
    }
    factory = result;
    try
    {
        void* factory3 = nullptr;
        if (factory->queryInterface(IPluginFactory3::iid.bytes, &factory3) == kResultOk && factory3)
        {
            static_cast<IPluginFactory3*>(factory3)->setHostContext(
                static_cast<Qel::IHostApplication*>(Qel::QelHostContext::instance()));
            static_cast<IPluginFactory3*>(factory3)->release();
        }
    }
    catch (...)
    {
        setLoadError(exceptionText("setHostContext"));
    }
    return true;
}

void FModule::unloadEntries()
{
    if (!factory)
        return;
    try
    {
        factory->release();
    }
    catch (...)
    {
        setLoadError(exceptionText("the factory's release"));
    }
    factory = nullptr;
}

IPluginFactory* FModule::getFactory()
{
    FGuard guard(lock);
    if (!factory && !load())
        return nullptr;
    return factory;
}

void FModule::setFactoryInfo(const PFactoryInfo& info)
{
    factoryInfo = info;
    if (info.flags & PFactoryInfo::kComponentNonDiscardable)
        flags |= kNeverUnload;
}

} // namespace Quillmark
