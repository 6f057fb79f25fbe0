// The unit tree and program lists of a plug-in as constant tables, and UnitTable, which answers
// the IUnitInfo questions over them and remembers the selected unit. The edit controller owns
// one and uses it on the main thread.
#pragma once

#include "common/plugintext.h"
#include "qel3/iunitinfo.h"

#include <cstring>
#include <span>

namespace Quillmark
{
namespace Qel
{

/** One unit: a group of parameters. The root has id kRootUnitId and parent kNoParentUnitId. */
struct UnitSpec
{
    UnitID id = kRootUnitId;
    UnitID parentId = kNoParentUnitId;
    const char16* name = u"";
    ProgramListID programListId = kNoProgramListId;
};

/** One program of a list. `instrument` answers the program attribute "MusicalInstrument". */
struct ProgramSpec
{
    const char16* name = u"";
    const char16* instrument = nullptr;
};

/** Names of single keys of a program, such as the drum of a key or a key switch; null when the
    key has no name of its own. */
using PitchNameFunction = const char16* (*)(int32 programIndex, int16 pitch);

struct ProgramListSpec
{
    ProgramListID id = 0;
    const char16* name = u"";
    std::span<const ProgramSpec> programs = {};
    PitchNameFunction pitchNames = nullptr; // null: the programs name no keys
};

inline constexpr const char8* kMusicalInstrumentAttribute = "MusicalInstrument";

class UnitTable
{
public:
    UnitTable() = default;
    /** Both tables are borrowed: constant data of the module. */
    UnitTable(std::span<const UnitSpec> units, std::span<const ProgramListSpec> lists)
        : units(units), lists(lists)
    {
    }

    int32 unitCount() const { return static_cast<int32>(units.size()); }

    tresult unitInfo(int32 index, UnitInfo& info) const
    {
        if (index < 0 || index >= unitCount())
            return kInvalidArgument;
        const UnitSpec& unit = units[static_cast<std::size_t>(index)];
        std::memset(&info, 0, sizeof info);
        info.id = unit.id;
        info.parentUnitId = unit.parentId;
        copyText(info.name, unit.name);
        info.programListId = unit.programListId;
        return kResultOk;
    }

    int32 programListCount() const { return static_cast<int32>(lists.size()); }

    tresult programListInfo(int32 index, ProgramListInfo& info) const
    {
        if (index < 0 || index >= programListCount())
            return kInvalidArgument;
        const ProgramListSpec& list = lists[static_cast<std::size_t>(index)];
        std::memset(&info, 0, sizeof info);
        info.id = list.id;
        copyText(info.name, list.name);
        info.programCount = static_cast<int32>(list.programs.size());
        return kResultOk;
    }

    tresult programName(ProgramListID listId, int32 programIndex, TChar* name) const
    {
        const ProgramSpec* program = findProgram(listId, programIndex);
        if (!program || !name)
            return kResultFalse;
        copyText(name, 128, program->name);
        return kResultOk;
    }

    tresult programInfo(ProgramListID listId, int32 programIndex, CString attribute,
                        TChar* value) const
    {
        const ProgramSpec* program = findProgram(listId, programIndex);
        if (!program || !attribute || !value || !program->instrument ||
            std::strcmp(attribute, kMusicalInstrumentAttribute) != 0)
            return kResultFalse;
        copyText(value, 128, program->instrument);
        return kResultOk;
    }

    tresult hasPitchNames(ProgramListID listId, int32 programIndex) const
    {
        const ProgramListSpec* list = findList(listId);
        return list && list->pitchNames && findProgram(listId, programIndex) ? kResultOk
                                                                             : kResultFalse;
    }

    tresult pitchName(ProgramListID listId, int32 programIndex, int16 pitch, TChar* name) const
    {
        if (hasPitchNames(listId, programIndex) != kResultOk || !name || pitch < 0 || pitch > 127)
            return kResultFalse;
        const char16* text = findList(listId)->pitchNames(programIndex, pitch);
        if (!text)
            return kResultFalse;
        copyText(name, 128, text);
        return kResultOk;
    }

    UnitID selectedUnit() const { return selected; }

    /** Only a unit of the table can be selected. */
    tresult selectUnit(UnitID id)
    {
        for (const UnitSpec& unit : units)
            if (unit.id == id)
            {
                selected = id;
                return kResultOk;
            }
        return kResultFalse;
    }

    const ProgramListSpec* findList(ProgramListID listId) const
    {
        for (const ProgramListSpec& list : lists)
            if (list.id == listId)
                return &list;
        return nullptr;
    }

    const ProgramSpec* findProgram(ProgramListID listId, int32 programIndex) const
    {
        const ProgramListSpec* list = findList(listId);
        if (!list || programIndex < 0 || programIndex >= static_cast<int32>(list->programs.size()))
            return nullptr;
        return &list->programs[static_cast<std::size_t>(programIndex)];
    }

private:
    std::span<const UnitSpec> units;
    std::span<const ProgramListSpec> lists;
    UnitID selected = kRootUnitId;
};

} // namespace Qel
} // namespace Quillmark
