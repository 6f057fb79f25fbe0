// The step editor: the values a view binds to ("eventsActive", "editAction", "stepLength") and
// the matrix "patternView" of notes against steps. Lives on the user interface thread; it
// writes the pattern that the audio thread plays, without a lock, one 32-bit step at a time.
#pragma once

#include "base/fstring.h"
#include "base/values/uvaluecontainer.h"
#include "midi/eventpattern.h"

namespace Quillmark
{

class UIntValue;
class UMenuValue;

/** The matrix of the step editor: 37 rows of notes, 72 at the top to 36 at the bottom, a
    column of note names and one column per step. A click sets the step's pitch. */
class PatternDef : public CmObject
{
public:
    static constexpr int32 kRows = 37;
    static constexpr int32 kColumns = 1 + EventPattern::kStepCount;
    static constexpr int32 kTopNote = 72;
    static constexpr int32 kNameColumnWidth = 20;
    static constexpr int32 kScrollBarSize = 16;

    explicit PatternDef(EventPattern& pattern) : pattern(pattern) {}

    static int32 noteOfRow(int32 row) { return kTopNote - row; }
    /** The width of a column in a view `viewWidth` pixels wide: the name column is fixed, the
        steps share the rest less a scroll bar. */
    static int32 columnWidth(int32 column, int32 viewWidth);
    /** The note name of row `row` ("C4", "F#2"; octave 0 shows the name alone). */
    static String noteName(int32 row);

    /** What a cell shows: the name in column 0, else whether the step plays this row. */
    String cellText(int32 row, int32 column) const;
    bool isCellMarked(int32 row, int32 column) const;
    /** Sets the pitch of the column's step and asks for a repaint; column 0 does nothing.
        True when something changed. */
    bool click(int32 row, int32 column);

    QEL_DECLARE_CLASS(PatternDef, CmObject)

private:
    EventPattern& pattern;
};

class EventEditor : public UValueContainer
{
public:
    enum Tags : int32
    {
        kEventsActiveTag = 100,
        kEditActionTag = 101,
        kStepLengthTag = 102,
    };
    enum EditAction : int32
    {
        kRandomize = 0,
        kChromatic = 1,
        kNoPattern = 2,
    };

    /** Edits the pattern of `player`, which must outlive the editor. */
    explicit EventEditor(PatternPlayer& player);
    ~EventEditor() override;

    PatternDef* getPatternView() const { return patternView; }
    /** Applies an edit action at once and redraws the matrix. */
    void performEditAction(int32 action);

    void onValueChanged(UValue* value) override;

    QEL_DECLARE_CLASS(EventEditor, UValueContainer)

private:
    PatternPlayer& player;
    PatternDef* patternView;
    UIntValue* eventsActive;
    UMenuValue* editAction;
    UMenuValue* stepLength;
};

} // namespace Quillmark
