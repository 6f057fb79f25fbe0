#include "app/info/treeinformers.h"

#include "app/info/infonodes.h"
#include "app/info/recordtext.h"

#include <array>

namespace Quillmark
{

namespace
{

const char8* yesNo(bool state)
{
    return state ? "Yes" : "No";
}

constexpr std::array<const char8*, 12> kParameterHeadings{"Name",
                                                          "Short Name",
                                                          "Index",
                                                          "Parameter Type",
                                                          "Init Value",
                                                          "Units",
                                                          "ID",
                                                          "UnitID",
                                                          "Can be Automated",
                                                          "Is Read Only",
                                                          "Is Prog.Change",
                                                          "MidiCC (Bus/Ch./CC)"};

constexpr std::array<const char8*, 14> kNoteExpressionHeadings{
    "Name", "Short Name", "Index",  "ID",     "Type",       "Init Value",  "Min",
    "Max",  "Units",      "UnitId", "AssoId", "Is Bipolar", "Is One Shot", "Is Absolute"};

constexpr std::array<const char8*, 7> kKeySwitchHeadings{"Name",      "Short Name", "Index", "ID",
                                                         "KeySwitch", "Remapped",   "UnitId"};

constexpr std::array<const char8*, 6> kBusHeadings{"Name",       "Index",        "Bus Type",
                                                   "Media Type", "Num Channels", "Def Active"};

/** A note with its number, as the key switch columns show it. */
String noteText(int32 note)
{
    return String::format("%s (%d)", pitchText(note).toUtf8().c_str(), note);
}

/** A note expression value, with the plug-in's own text for it when it gives one. */
String expressionValueText(const QelNoteExpressionDisplayData& row, double value)
{
    String text;
    if (row.valueText(value, text))
        return String::format("%.4f \"%s\"", value, text.toUtf8().c_str());
    return String::format("%f", value);
}

} // namespace

String pitchText(int32 note)
{
    static constexpr const char8* kNames[12] = {"C",  "C#", "D",  "D#", "E",  "F",
                                                "F#", "G",  "G#", "A",  "A#", "B"};
    int32 octave = note / 12 - 2;
    // A plug-in may hand over a negative key; its name still comes from the table.
    const char8* name = kNames[((note % 12) + 12) % 12];
    if (octave == 0)
        return String(name);
    return String::format("%s%d", name, octave);
}

String QelNodeTreeInformer::getColumnTitle(int32 column) const
{
    auto list = headings();
    if (column < 0 || column >= int32(list.size()))
        return String();
    return String(list[size_t(column)]);
}

String QelNodeTreeInformer::getCellText(FNode* node, int32 column) const
{
    if (!node || column < 0 || column >= countColumns())
        return String();
    if (column == 0)
        return node->getName();
    return rowText(node, column);
}

std::span<const char8* const> QelParameterInformer::headings() const
{
    return kParameterHeadings;
}

int32 QelParameterInformer::getCellStyle(FNode* node, int32 column) const
{
    auto* row = FCast<QelParameterDisplayData>(node);
    if (row && (row->getInfo().flags & Qel::ParameterInfo::kIsBypass) && column != 2)
        return kSecondStyle;
    return kNormalStyle;
}

String QelParameterInformer::rowText(FNode* node, int32 column) const
{
    auto* row = FCast<QelParameterDisplayData>(node);
    if (!row)
        return String();
    const Qel::ParameterInfo& info = row->getInfo();
    switch (column)
    {
    case 1:
        return recordText(info.shortTitle);
    case 2:
        return String::format("%d", row->getIndex());
    case 3:
        if (info.stepCount < 1)
            return String("Float");
        if (info.stepCount == 1)
            return String("Toggle");
        return String::format(
            "%s : %d", (info.flags & Qel::ParameterInfo::kIsList) ? "Discrete List" : "Discrete",
            info.stepCount + 1);
    case 4:
        return String::format("%f", info.defaultNormalizedValue);
    case 5:
        return recordText(info.units);
    case 6:
        return String::format("%d", int32(info.id));
    case 7:
        return String::format("%d", info.unitId);
    case 8:
        return String(yesNo(info.flags & Qel::ParameterInfo::kCanAutomate));
    case 9:
        return String(yesNo(info.flags & Qel::ParameterInfo::kIsReadOnly));
    case 10:
        return String(yesNo(info.flags & Qel::ParameterInfo::kIsProgramChange));
    case 11:
    {
        const MidiAssignment& assignment = row->getAssignment();
        if (assignment.controller < 0)
            return String("-");
        return String::format("%d - %d - %d", assignment.bus, assignment.channel,
                              assignment.controller);
    }
    default:
        return String();
    }
}

std::span<const char8* const> QelNoteExpressionInformer::headings() const
{
    return kNoteExpressionHeadings;
}

String QelNoteExpressionInformer::rowText(FNode* node, int32 column) const
{
    auto* row = FCast<QelNoteExpressionDisplayData>(node);
    if (!row)
        return String();
    const Qel::NoteExpressionTypeInfo& info = row->getInfo();
    using Flags = Qel::NoteExpressionTypeInfo;
    switch (column)
    {
    case 1:
        return recordText(info.shortTitle);
    case 2:
        return String::format("%d", row->getIndex());
    case 3:
    {
        int32 id = int32(info.typeId);
        switch (info.typeId)
        {
        case Qel::kVolumeTypeID:
            return String::format("Volume (%d)", id);
        case Qel::kPanTypeID:
            return String::format("Pan (%d)", id);
        case Qel::kTuningTypeID:
            return String::format("Tuning (%d)", id);
        default:
            break;
        }
        // Compared unsigned: an id past the signed range is still a custom one.
        if (info.typeId < Qel::kCustomStart)
            return String::format("(%d)", id);
        return String::format("Custom (%d)", id);
    }
    case 4:
        if (info.stepCount < 1)
            return String("Ramp");
        if (info.stepCount == 1)
            return String("Toggle");
        return String::format("%s : %d", "Discrete", info.stepCount + 1);
    case 5:
        return expressionValueText(*row, info.defaultValue);
    case 6:
        return expressionValueText(*row, info.minimum);
    case 7:
        return expressionValueText(*row, info.maximum);
    case 8:
        return recordText(info.units);
    case 9:
        return String::format("%d", info.unitId);
    case 10:
        if (info.flags & Flags::kAssociatedParameterIDValid)
            return String::format("%d", int32(info.associatedParameterId));
        return String("-");
    // The texts from here on are those of a table that still has a column "Is Text Event"
    // before "Is Bipolar": each heading shows the flag of the one to its left, and the
    // absolute flag is not shown. Users compare these pages across hosts, so it stays so.
    case 11:
        return String();
    case 12:
        return String(yesNo(info.flags & Flags::kIsBipolar));
    case 13:
        return String(yesNo(info.flags & Flags::kIsOneShot));
    default:
        return String();
    }
}

std::span<const char8* const> QelKeySwitchInformer::headings() const
{
    return kKeySwitchHeadings;
}

String QelKeySwitchInformer::rowText(FNode* node, int32 column) const
{
    auto* row = FCast<QelKeyswitchDisplayData>(node);
    if (!row)
        return String();
    const Qel::KeyswitchInfo& info = row->getInfo();
    switch (column)
    {
    case 1:
        return recordText(info.shortTitle);
    case 2:
        return String::format("%d", row->getIndex());
    case 3:
        switch (info.typeId)
        {
        case Qel::kNoteOnKeyswitchTypeID:
            return String("NoteOn");
        case Qel::kOnTheFlyKeyswitchTypeID:
            return String("OnTheFly");
        case Qel::kOnReleaseKeyswitchTypeID:
            return String("OnRelease");
        case Qel::kKeyRangeTypeID:
            return String("KeyRange");
        default:
            return String::format("%d", int32(info.typeId));
        }
    case 4:
        if (info.keyswitchMin == info.keyswitchMax)
            return noteText(info.keyswitchMin);
        return String::format("%s - %s", noteText(info.keyswitchMin).toUtf8().c_str(),
                              noteText(info.keyswitchMax).toUtf8().c_str());
    case 5:
        if (info.keyRemapped < 0)
            return String();
        return noteText(info.keyRemapped);
    case 6:
        return String::format("%d", info.unitId);
    default:
        return String();
    }
}

int32 QelBusInformer::countColumns() const
{
    return int32(kBusHeadings.size());
}

String QelBusInformer::getColumnTitle(int32 column) const
{
    if (column < 0 || column >= countColumns())
        return String();
    return String(kBusHeadings[size_t(column)]);
}

String QelBusInformer::getCellText(FNode* node, int32 column) const
{
    if (!node || column < 0 || column >= countColumns())
        return String();
    if (column == 0)
        return node->getName();
    auto* row = FCast<QelBusDisplayData>(node);
    if (!row)
        return String();
    const Qel::BusInfo& info = row->getInfo();
    switch (column)
    {
    case 1:
        return String::format("%d", row->getIndex());
    case 2:
        return String(info.busType == Qel::kMain ? "Main" : "Aux");
    case 3:
        return String(info.mediaType == Qel::kAudio ? "Audio" : "Midi");
    case 4:
        return String::format("%d", info.channelCount);
    case 5:
        return String(yesNo(info.flags & Qel::BusInfo::kDefaultActive));
    default:
        return String();
    }
}

} // namespace Quillmark
