#include "midi/eventeditor.h"

#include "base/values/uintvalues.h"
#include "base/values/umenuvalue.h"

namespace Quillmark
{

namespace
{
const char8* const kNoteNames[12] = {"C",  "C#", "D",  "D#", "E",  "F",
                                     "F#", "G",  "G#", "A",  "A#", "B"};
} // namespace

int32 PatternDef::columnWidth(int32 column, int32 viewWidth)
{
    if (column == 0)
        return kNameColumnWidth;
    int32 rest = viewWidth - kNameColumnWidth - kScrollBarSize;
    return rest > 0 ? rest / EventPattern::kStepCount : 0;
}

String PatternDef::noteName(int32 row)
{
    int32 note = noteOfRow(row);
    int32 octave = note / 12 - 2;
    const char8* name = kNoteNames[((note % 12) + 12) % 12];
    if (octave == 0)
        return String(name);
    return String::format("%s%d", name, octave);
}

String PatternDef::cellText(int32 row, int32 column) const
{
    return column == 0 ? noteName(row) : String();
}

bool PatternDef::isCellMarked(int32 row, int32 column) const
{
    return column > 0 && column < kColumns && pattern.getPitch(column - 1) == noteOfRow(row);
}

bool PatternDef::click(int32 row, int32 column)
{
    if (column <= 0 || column >= kColumns || row < 0 || row >= kRows)
        return false;
    pattern.setPitch(column - 1, noteOfRow(row));
    changed();
    return true;
}

EventEditor::EventEditor(PatternPlayer& player)
    : UValueContainer(this), player(player), patternView(new PatternDef(player.getPattern()))
{
    eventsActive =
        adopt(new UIntValue("eventsActive", kEventsActiveTag, 0, 1, player.isActive() ? 1 : 0));
    editAction = adopt(new UMenuValue("editAction", kEditActionTag));
    for (const char8* title : {"Randomize", "Chromatic", "No Pattern"})
        editAction->addEntry(title);
    stepLength = adopt(new UMenuValue("stepLength", kStepLengthTag));
    for (const char8* title : {"1", "1/2", "1/4", "1/8", "1/16", "1/32"})
        stepLength->addEntry(title);
    stepLength->setIndex(player.getPattern().getStepLengthIndex(), false);
}

EventEditor::~EventEditor()
{
    patternView->release();
}

void EventEditor::performEditAction(int32 action)
{
    EventPattern& pattern = player.getPattern();
    switch (action)
    {
    case kRandomize:
        pattern.randomize();
        break;
    case kChromatic:
        pattern.chromatic();
        break;
    case kNoPattern:
        pattern.clear();
        break;
    default:
        return;
    }
    patternView->changed();
}

void EventEditor::onValueChanged(UValue* value)
{
    switch (value->getTag())
    {
    case kEventsActiveTag:
        player.setActive(eventsActive->getValue() != 0);
        break;
    case kEditActionTag:
        performEditAction(editAction->getIndex());
        break;
    case kStepLengthTag:
        player.getPattern().setStepLengthIndex(stepLength->getIndex());
        break;
    default:
        break;
    }
}

} // namespace Quillmark
