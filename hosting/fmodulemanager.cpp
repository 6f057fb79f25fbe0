#include "hosting/fmodulemanager.h"

#include "base/fdefaults.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "hosting/fmodule.h"

namespace Quillmark
{

namespace
{
constexpr const char8* kModuleExtension = "so";
constexpr const char8* kPackageExtension = "qel3";
constexpr const char8* kPackageBinaryFolder = "Contents/x86_64-linux";
} // namespace

FModuleManager::FModuleManager(const char8* name) : name(name) {}

FModuleManager::~FModuleManager()
{
    for (FModule* module : modules)
        module->release();
    if (ownsCachePool && cachePool)
        cachePool->release();
}

bool FModuleManager::isModule(const std::string& path)
{
    platform::FileInfo info = platform::fileInfo(path);
    std::string extension = platform::extensionOf(path);
    if (info.isFolder)
        return extension == kPackageExtension;
    return extension == kModuleExtension;
}

std::string FModuleManager::moduleBinary(const std::string& path)
{
    if (platform::extensionOf(path) != kPackageExtension)
        return path;
    std::string folder = platform::joinPath(path, kPackageBinaryFolder);
    return platform::joinPath(folder, platform::baseName(path) + "." + kModuleExtension);
}

FModule* FModuleManager::getModule(int32 index) const
{
    return index >= 0 && index < int32(modules.size()) ? modules[size_t(index)] : nullptr;
}

FModule* FModuleManager::findModule(const std::string& binaryPath) const
{
    for (FModule* module : modules)
        if (module->getPath() == binaryPath)
            return module;
    return nullptr;
}

FDefaultPool* FModuleManager::getCachePool()
{
    if (!cachePool)
    {
        std::string folder = cacheFolder.empty() ? platform::userDataFolder() : cacheFolder;
        std::string file = platform::joinPath(folder, cacheName.toUtf8());
        cachePool = new FDefaultPool(file);
        ownsCachePool = true;
        std::string problem;
        if (!cachePool->load(&problem))
            report(ScanEvent::kCacheProblem, file, problem);
    }
    return cachePool;
}

void FModuleManager::setCachePool(FDefaultPool* pool)
{
    if (ownsCachePool && cachePool)
        cachePool->release();
    cachePool = pool;
    ownsCachePool = false;
}

bool FModuleManager::saveCache()
{
    if (!cachePool || !cachePool->isDirty())
        return true;
    std::string problem;
    if (cachePool->save(&problem))
        return true;
    report(ScanEvent::kCacheProblem, cachePool->getFilePath(), problem);
    return false;
}

std::string FModuleManager::cacheKey(const std::string& entryPath) const
{
    std::string components = platform::programComponentsFolder() + "/";
    std::string middle = "/";
    if (entryPath.compare(0, components.size(), components) == 0)
    {
        std::string below = platform::folderOf(entryPath.substr(components.size()));
        if (!below.empty())
            middle = "/" + below + "/";
    }
    return name.toUtf8() + middle + platform::fileName(entryPath);
}

std::string FModuleManager::locationOf(const std::string& entryPath) const
{
    std::string prefix = currentFolder.empty() ? std::string() : currentFolder + "/";
    if (!prefix.empty() && entryPath.compare(0, prefix.size(), prefix) == 0)
        return entryPath.substr(prefix.size());
    return platform::fileName(entryPath);
}

void FModuleManager::setScanListener(std::function<void(const ScanEvent&)> listener)
{
    scanListener = std::move(listener);
}

void FModuleManager::setBootTextHandler(std::function<void(const std::string&)> handler)
{
    bootTextHandler = std::move(handler);
}

void FModuleManager::report(ScanEvent::Kind kind, const std::string& path,
                            const std::string& detail)
{
    if (scanListener)
        scanListener(ScanEvent{kind, path, detail});
}

void FModuleManager::setBootText(const std::string& text)
{
    if (bootTextHandler)
        bootTextHandler(text);
}

int32 FModuleManager::scanFolder(const std::string& folder, const char8* extension)
{
    if (!platform::fileInfo(folder).isFolder)
        return 0;
    getCachePool();

    // Libraries read during a scan are unloaded at once, not after a delay.
    bool deferred = FModuleBase::isDeferredUnloading();
    FModuleBase::setDeferredUnloading(false);
    currentFolder = folder;
    while (currentFolder.size() > 1 && currentFolder.back() == '/')
        currentFolder.pop_back();

    int32 found = 0;
    std::vector<std::string> names;
    std::string error;
    if (platform::listFolder(currentFolder, names, &error))
    {
        for (const std::string& entry : names)
            scanEntry(platform::joinPath(currentFolder, entry), extension, found);
    }
    else
        report(ScanEvent::kSkipped, currentFolder, "the folder cannot be read: " + error);

    FModuleBase::setDeferredUnloading(deferred);
    currentFolder.clear();
    saveCache();
    return found;
}

void FModuleManager::scanEntry(const std::string& entryPath, const char8* extension, int32& found)
{
    std::string path = entryPath;
    platform::FileInfo info = platform::fileInfo(path);
    if (info.isLink)
    {
        std::string target = platform::resolveLink(path);
        if (target.empty())
        {
            std::string ext = platform::extensionOf(path);
            if (ext == kModuleExtension || ext == kPackageExtension)
                report(ScanEvent::kSkipped, path, "the link leads nowhere");
            return;
        }
        path = target;
        info = platform::fileInfo(path);
    }

    bool hit =
        extension ? (info.isFile && platform::extensionOf(path) == extension) : isModule(path);
    if (!hit)
        return;

    std::string binary = moduleBinary(path);
    platform::FileInfo binaryInfo = platform::fileInfo(binary);
    if (!binaryInfo.isFile)
    {
        report(ScanEvent::kSkipped, path,
               "the package holds no " + std::string(kPackageBinaryFolder) + "/" +
                   platform::fileName(binary));
        return;
    }
    if (!platform::isReadable(binary))
    {
        report(ScanEvent::kSkipped, path, "the file cannot be read");
        return;
    }
    if (findModule(binary))
    {
        report(ScanEvent::kSkipped, path, "the module is already known");
        return;
    }

    auto* module = new FModule(binary);
    cacheNote.clear();
    if (readCache(module, path))
    {
        modules.push_back(module);
        ++found;
        report(ScanEvent::kFromCache, path, cacheNote);
        return;
    }
    if (readModule(module, path))
    {
        modules.push_back(module);
        ++found;
        report(ScanEvent::kLoaded, path);
        return;
    }
    std::string reason = module->getLoadError();
    module->release();
    report(ScanEvent::kSkipped, path, reason.empty() ? "the module offers nothing" : reason);
}

} // namespace Quillmark
