#include "app/info/infonodes.h"

#include "app/info/recordtext.h"
#include "hosting/fpluginexception.h"

namespace Quillmark
{

QelNodeFolder* QelNodeFolder::findFolder(int32 unitId)
{
    if (id == unitId)
        return this;
    for (int32 index = 0; index < countChildren(); ++index)
        if (auto* folder = FCast<QelNodeFolder>(getChild(index)))
            if (QelNodeFolder* found = folder->findFolder(unitId))
                return found;
    return nullptr;
}

QelBusDisplayData::QelBusDisplayData(const Qel::BusInfo& info, int32 index)
    : FNode(recordText(info.name)), info(info), index(index)
{
}

QelParameterDisplayData::QelParameterDisplayData(const Qel::ParameterInfo& info, int32 index,
                                                 MidiAssignment assignment)
    : FNode(recordText(info.title)), info(info), index(index), assignment(assignment)
{
}

QelNoteExpressionDisplayData::QelNoteExpressionDisplayData(
    const Qel::NoteExpressionTypeInfo& info, int32 index, int16 bus, int16 channel,
    Qel::INoteExpressionController* controller, const ConstString& className)
    : FNode(recordText(info.title)), info(info), index(index), bus(bus), channel(channel),
      controller(controller), className(className)
{
    if (controller)
        controller->addRef();
}

QelNoteExpressionDisplayData::~QelNoteExpressionDisplayData()
{
    if (controller)
        controller->release();
}

bool QelNoteExpressionDisplayData::valueText(double value, String& text) const
{
    if (!controller)
        return false;
    RecordTextBuffer buffer;
    tresult result = kResultFalse;
    PluginCallGuard guard(className, &lastProblem);
    if (!guard.run("getNoteExpressionStringByValue",
                   [&]
                   {
                       result = controller->getNoteExpressionStringByValue(
                           bus, channel, info.typeId, value, buffer.units);
                   }))
        return false;
    if (result != kResultOk)
        return false;
    text = buffer.text();
    return true;
}

QelKeyswitchDisplayData::QelKeyswitchDisplayData(const Qel::KeyswitchInfo& info, int32 index,
                                                 int16 bus, int16 channel)
    : FNode(recordText(info.title)), info(info), index(index), bus(bus), channel(channel)
{
}

} // namespace Quillmark
