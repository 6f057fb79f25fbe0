#include "conformity/scan/qelprograminfotest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/iunitinfo.h"

#include <algorithm>
#include <vector>

namespace Quillmark
{
namespace Qel
{

namespace
{

constexpr int16 kLastMidiPitch = 127;

} // namespace

bool QelProgramInfoTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    Queried<IUnitInfo> unitInfo(controller);
    const int32 listCount = unitInfo ? unitInfo->getProgramListCount() : 0;
    if (listCount == 0)
    {
        addMessage(result, "This component does not export any programs.");
        return true;
    }
    if (listCount < 0)
    {
        addError(result, "IUnitInfo::getProgramListCount () returned a negative number.");
        return false;
    }

    std::vector<ProgramListID> ids;
    for (int32 listIndex = 0; listIndex < listCount; ++listIndex)
    {
        ProgramListInfo list{};
        if (unitInfo->getProgramListInfo(listIndex, list) != kResultOk)
            continue;
        if (list.id < 0)
        {
            addError(result, String::format("Programlist%03d: Invalid ID!!!", listIndex));
            return false;
        }
        if (std::find(ids.begin(), ids.end(), list.id) != ids.end())
        {
            addError(result, String::format("Programlist%03d: ID already used!!!", listIndex));
            return false;
        }
        ids.push_back(list.id);
        if (isEmptyField(list.name))
        {
            addError(result,
                     String::format("Programlist%03d (ID = %d): No name!!!", listIndex, list.id));
            return false;
        }
        const std::string listName = fieldText(list.name);
        if (list.programCount < 1)
            addMessage(result, String::format("Programlist%03d (ID = %d): \"%s\" No programs!!! "
                                              "(programCount is null!)",
                                              listIndex, list.id, listName.c_str()));
        addMessage(result, String::format("Programlist%03d (ID = %d):  \"%s\" (%d programs).",
                                          listIndex, list.id, listName.c_str(), list.programCount));

        for (int32 program = 0; program < list.programCount; ++program)
        {
            String128 name{};
            if (unitInfo->getProgramName(list.id, program, name) != kResultOk)
                continue;
            if (isEmptyField(name))
            {
                addError(result, String::format("Programlist%03d-Program%03d: has no name!!!",
                                                listIndex, program));
                return false;
            }
            const std::string programName = fieldText(name);
            std::string line = String::format("Programlist%03d-Program%03d: \"%s\"", listIndex,
                                              program, programName.c_str())
                                   .toUtf8();
            String128 instrument{};
            if (unitInfo->getProgramInfo(list.id, program, "MusicalInstrument", instrument) ==
                kResultOk)
                line += " (instrument = \"" + fieldText(instrument) + "\")";
            addMessage(result, String(line));

            if (unitInfo->hasProgramPitchNames(list.id, program) != kResultOk)
                continue;
            addMessage(result,
                       String::format(" => \"%s\": supports PitchNames", programName.c_str()));
            for (int16 pitch = 0; pitch <= kLastMidiPitch; ++pitch)
            {
                String128 pitchName{};
                if (unitInfo->getProgramPitchName(list.id, program, pitch, pitchName) == kResultOk)
                    addMessage(result,
                               String(String::format("   => MIDI Pitch %d => \"", pitch).toUtf8() +
                                      fieldText(pitchName) + "\""));
            }
        }
    }
    return true;
}

} // namespace Qel
} // namespace Quillmark
