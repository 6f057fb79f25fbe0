// Whole-file operations on preset files: saving a plug-in's state, and replacing the meta
// information of a file in place. Both build the new bytes in memory and replace the file
// atomically, so a failure or a crash leaves the old file as it was.
#pragma once

#include "base/fuid.h"
#include "presets/mediaattributes.h"

#include <string>

namespace Quillmark
{
namespace Qel
{

class IComponent;
class IEditController;
class IProgramListData;

struct PresetSource
{
    FUID classId;
    IComponent* component = nullptr;
    /** Left out when null. */
    IEditController* controller = nullptr;
    /** With `programList` not -1, program `programIndex` of that list goes into "Prog". */
    IProgramListData* programData = nullptr;
    int32 programList = -1;
    int32 programIndex = 0;
    /** Written as the "Info" chunk when not null. */
    const MediaAttributeList* metaInfo = nullptr;
};

/** Writes a preset file at `path`. False with a reason in `error` when a plug-in refuses its
    state or the file cannot be written. */
bool savePresetFile(const std::string& path, const PresetSource& source, std::string& error);

/** Replaces the "Info" chunk of the preset file at `path` with `metaInfo`. Refused when the
    file is not a preset file or its "Info" chunk is not the last one. */
bool updateMetaInfo(const std::string& path, const MediaAttributeList& metaInfo,
                    std::string& error);

/** Reads a whole file; false when it cannot be read. */
bool readWholeFile(const std::string& path, std::string& bytes);

} // namespace Qel
} // namespace Quillmark
