#include "presets/presetstorage.h"

#include "base/platform/files.h"
#include "presets/presetio.h"

#include <algorithm>

namespace Quillmark
{

namespace
{

class FolderStorage : public IPresetStorage
{
public:
    explicit FolderStorage(std::string folder) : folder(std::move(folder))
    {
        std::vector<std::string> names;
        platform::listFolder(this->folder, names);
        std::sort(names.begin(), names.end());
        for (const std::string& name : names)
        {
            std::string path = platform::joinPath(this->folder, name);
            platform::FileInfo info = platform::fileInfo(path);
            if (info.isFolder)
                subBanks.push_back(path);
            else if (info.isFile && platform::extensionOf(name) == "preset")
                presets.push_back(path);
        }
    }

    int32 countPresets() const override { return int32(presets.size()); }
    bool readPreset(int32 index, FAttributes& preset) const override
    {
        if (index < 0 || index >= countPresets())
            return false;
        std::string bytes;
        return Qel::readWholeFile(presets[size_t(index)], bytes) &&
               preset.readXml(bytes.data(), bytes.size());
    }
    int32 countSubBanks() const override { return int32(subBanks.size()); }
    std::unique_ptr<IPresetStorage> openSubBank(int32 index) const override
    {
        if (index < 0 || index >= countSubBanks())
            return nullptr;
        return std::make_unique<FolderStorage>(subBanks[size_t(index)]);
    }
    std::string getName() const override { return platform::fileName(folder); }

private:
    std::string folder;
    std::vector<std::string> presets;
    std::vector<std::string> subBanks;
};

} // namespace

std::unique_ptr<IPresetStorage> PresetManager::open(const std::string& bankID, int32 mode) const
{
    // An identifier names one folder below the root, never a path out of it.
    if (bankID.empty() || bankID == "." || bankID == ".." || bankID.find('/') != std::string::npos)
        return nullptr;
    std::string folder = platform::joinPath(root, bankID);
    if (!platform::fileInfo(folder).isFolder && !(mode == 2 && platform::makeFolders(folder)))
        return nullptr;
    return std::make_unique<FolderStorage>(folder);
}

} // namespace Quillmark
