// The column sources of the information page's trees: each informer names its columns in
// order and gives the text of a cell by node and column index; column 0 is the node's own name.
// A tree view holds a reference to its informer; the informers hold no state of their own.
#pragma once

#include "base/fnode.h"
#include "base/fstring.h"

#include <span>

namespace Quillmark
{

class GTreeInformer : public CmObject
{
    QEL_DECLARE_CLASS(GTreeInformer, CmObject)
public:
    /** How a cell is drawn: the normal text style, or the second one that sets a row apart. */
    enum CellStyle : int32
    {
        kNormalStyle = 0,
        kSecondStyle = 1,
    };

    virtual int32 countColumns() const = 0;
    /** The heading of `column`; empty outside the columns. */
    virtual String getColumnTitle(int32 column) const = 0;
    /** The text of `node` (borrowed) in `column`; empty for a column the node has nothing for. */
    virtual String getCellText(FNode* node, int32 column) const = 0;
    virtual int32 getCellStyle(FNode* node, int32 column) const { return kNormalStyle; }
};

/** An informer over a fixed list of headings whose first column is the node's name, so that a
    folder shows its name and nothing else. */
class QelNodeTreeInformer : public GTreeInformer
{
    QEL_DECLARE_CLASS(QelNodeTreeInformer, GTreeInformer)
public:
    int32 countColumns() const override { return int32(headings().size()); }
    String getColumnTitle(int32 column) const override;
    String getCellText(FNode* node, int32 column) const override;

protected:
    virtual std::span<const char8* const> headings() const = 0;
    /** The text of a column after the name, for the informer's own kind of row. */
    virtual String rowText(FNode* node, int32 column) const { return String(); }
};

class QelParameterInformer : public QelNodeTreeInformer
{
    QEL_DECLARE_CLASS(QelParameterInformer, QelNodeTreeInformer)
public:
    /** A bypass parameter's row stands apart in every cell but its index. */
    int32 getCellStyle(FNode* node, int32 column) const override;

protected:
    std::span<const char8* const> headings() const override;
    String rowText(FNode* node, int32 column) const override;
};

class QelNoteExpressionInformer : public QelNodeTreeInformer
{
    QEL_DECLARE_CLASS(QelNoteExpressionInformer, QelNodeTreeInformer)
protected:
    std::span<const char8* const> headings() const override;
    String rowText(FNode* node, int32 column) const override;
};

class QelKeySwitchInformer : public QelNodeTreeInformer
{
    QEL_DECLARE_CLASS(QelKeySwitchInformer, QelNodeTreeInformer)
protected:
    std::span<const char8* const> headings() const override;
    String rowText(FNode* node, int32 column) const override;
};

class QelBusInformer : public GTreeInformer
{
    QEL_DECLARE_CLASS(QelBusInformer, GTreeInformer)
public:
    int32 countColumns() const override;
    String getColumnTitle(int32 column) const override;
    String getCellText(FNode* node, int32 column) const override;
};

/** The name of a MIDI note with its octave, where note 60 is "C3" and octave 0 is left out:
    24 is "C", 0 is "C-2". */
String pitchText(int32 note);

} // namespace Quillmark
