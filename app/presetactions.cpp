#include "app/presetactions.h"

#include "base/fstreams.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "presets/fxpconverter.h"
#include "presets/presetfile.h"
#include "presets/presetio.h"
#include "presets/qelpresetmedium.h"
#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "qel3/iunitinfo.h"
#include "qel3ext/iprogramdata.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <vector>

namespace Quillmark
{

using namespace Qel;

namespace PresetActions
{

namespace
{

/** Releases an interface pointer at the end of a scope. */
template <class T> struct Held
{
    T* pointer = nullptr;
    ~Held()
    {
        if (pointer)
            pointer->release();
    }
    template <class From> bool query(From* from)
    {
        return from &&
               from->queryInterface(T::iid.bytes, reinterpret_cast<void**>(&pointer)) ==
                   kResultOk &&
               pointer;
    }
};

/** A preset file read into memory with its chunk list checked against its size. */
struct OpenedPreset
{
    std::string bytes;
    std::unique_ptr<PresetFile> file;
};

bool openPreset(const std::string& path, OpenedPreset& preset, std::string& problem)
{
    if (!readWholeFile(path, preset.bytes))
    {
        problem = "cannot be read";
        return false;
    }
    if (preset.bytes.size() < 4 || preset.bytes.compare(0, 4, "QEL3") != 0)
    {
        problem = "not a preset file (no \"QEL3\" header)";
        return false;
    }
    auto* stream = new FMemoryStream(preset.bytes.data(), int64(preset.bytes.size()));
    preset.file = std::make_unique<PresetFile>(stream);
    stream->release();
    if (!preset.file->readChunkList() || preset.file->getEntryCount() == 0)
    {
        problem = "the chunk list is damaged or missing";
        return false;
    }
    for (int32 i = 0; i < preset.file->getEntryCount(); ++i)
    {
        const PresetFile::Entry& entry = preset.file->at(i);
        if (entry.offset < PresetFile::kHeaderSize || entry.size < 0 ||
            entry.offset > int64(preset.bytes.size()) ||
            entry.size > int64(preset.bytes.size()) - entry.offset)
        {
            problem = "chunk " + std::string(entry.id, 4) + " lies outside the file (offset " +
                      std::to_string(entry.offset) + ", size " + std::to_string(entry.size) + ")";
            return false;
        }
    }
    return true;
}

} // namespace

std::string convertedMessage(int count)
{
    return std::to_string(count) + " Presets were converted.";
}

bool save(const std::string& path, const PresetPlugIn& plugIn, int32 programIndex,
          std::string& problem)
{
    if (!plugIn.component)
    {
        problem = "no plug-in to save a preset from";
        return false;
    }
    try
    {
        MediaAttributeList meta;
        meta.setString("MediaType", "QelPreset", MediaAttributeList::kWriteProtected);
        meta.setString("PlugInName", plugIn.className, MediaAttributeList::kWriteProtected);
        meta.setString("PlugInVendor", plugIn.vendor, MediaAttributeList::kWriteProtected);
        meta.setString("PlugInCategory", plugIn.subCategories, MediaAttributeList::kWriteProtected);
        PresetSource source;
        source.classId = plugIn.classId;
        source.component = plugIn.component;
        source.controller = plugIn.controller;
        source.metaInfo = &meta;
        // Only when asked: restoring a program replaces the sound the state holds.
        Held<IProgramListData> programs;
        Held<IUnitInfo> units;
        if (programIndex >= 0 && programs.query(plugIn.component) && units.query(plugIn.controller))
            for (int32 i = 0; i < units.pointer->getProgramListCount(); ++i)
            {
                ProgramListInfo info{};
                if (units.pointer->getProgramListInfo(i, info) != kResultOk ||
                    programs.pointer->programDataSupported(info.id) != kResultOk)
                    continue;
                if (programIndex >= info.programCount)
                {
                    problem = "program " + std::to_string(programIndex) + " is beyond the " +
                              std::to_string(info.programCount) + " programs of the list";
                    return false;
                }
                source.programData = programs.pointer;
                source.programList = info.id;
                source.programIndex = programIndex;
                meta.setString("QEL3UnitTypePath", "program",
                               MediaAttributeList::kHidden | MediaAttributeList::kWriteProtected);
                break;
            }
        return savePresetFile(path, source, problem);
    }
    catch (const std::exception& exception)
    {
        problem = std::string("the plug-in threw: ") + exception.what();
        return false;
    }
}

bool load(const std::string& path, const PresetPlugIn& plugIn, std::string& problem,
          std::string* note)
{
    OpenedPreset preset;
    if (!openPreset(path, preset, problem))
        return false;
    PresetFile& file = *preset.file;
    if (!plugIn.component)
    {
        problem = "no plug-in to load the preset into";
        return false;
    }
    if (plugIn.classId != file.getClassID())
    {
        problem = "made by class " + file.getClassID().toString() + ", not by " +
                  (plugIn.className.empty() ? plugIn.classId.toString() : plugIn.className);
        return false;
    }
    try
    {
        if (!file.restoreComponentState(plugIn.component))
        {
            problem = "the component refused its state";
            return false;
        }
        if (plugIn.controller &&
            static_cast<FUnknown*>(plugIn.component) != static_cast<FUnknown*>(plugIn.controller) &&
            !file.restoreComponentState(plugIn.controller))
        {
            problem = "the controller refused the component's state";
            return false;
        }
        if (plugIn.controller && file.contains(kControllerState) &&
            !file.restoreControllerState(plugIn.controller))
        {
            problem = "the controller refused its state";
            return false;
        }
        if (file.contains(kProgramData))
        {
            Held<IProgramListData> programs;
            if (!programs.query(plugIn.component))
            {
                if (note)
                    *note = "the plug-in takes no program data; skipped";
            }
            else if (!file.restoreProgramData(programs.pointer))
            {
                problem = "the plug-in refused the program data";
                return false;
            }
        }
    }
    catch (const std::exception& exception)
    {
        problem = std::string("the plug-in threw: ") + exception.what();
        return false;
    }
    return true;
}

int convertFolder(const ConversionRequest& request, std::string& problems)
{
    if (!platform::fileInfo(request.sourceFolder).isFolder)
    {
        problems += request.sourceFolder + ": no such folder\n";
        return -1;
    }
    return FxpConverter::convertFolder(
        request.sourceFolder, request.destFolder,
        request.bank ? FxpConverter::Form::kBank : FxpConverter::Form::kProgram,
        FxpConverter::makeUniqueId(request.uid.substr(0, 4)), &problems);
}

int overwritePluginName(const std::string& folder, const std::string& newName,
                        std::string& problems)
{
    std::vector<std::string> names;
    std::string error;
    if (!platform::listFolder(folder, names, &error))
    {
        problems += folder + ": " + error + "\n";
        return -1;
    }
    std::sort(names.begin(), names.end());
    int changed = 0;
    for (const std::string& name : names)
    {
        const std::string path = platform::joinPath(folder, name);
        if (platform::extensionOf(name) != "qelpreset" || !platform::fileInfo(path).isFile)
            continue;
        QelPresetMedium medium(path);
        if (!medium.scan(nullptr))
        {
            problems += path + ": not a preset file, left alone\n";
            continue;
        }
        // Only a name that is there is replaced; a file without one keeps every byte.
        const auto* old = medium.getAttributes().find("PlugInName");
        if (!old)
            continue;
        medium.getAttributes().setString("PlugInName", newName, old->flags);
        if (!medium.commit(error))
        {
            problems += path + ": " + error + "\n";
            continue;
        }
        ++changed;
    }
    return changed;
}

} // namespace PresetActions
} // namespace Quillmark
