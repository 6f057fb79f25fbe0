// The matrix of the step pattern: a row per note (72 at the top down to 36), a column of note
// names and a column per step with a mark where the step plays that note; a click puts the
// step on the clicked note. Draws what the pattern holds now and repaints when it changes.
// Owned by its parent widget; the matrix definition is borrowed and outlives it.
#pragma once

#include <QWidget>

namespace Quillmark
{

class PatternDef;

class PatternView : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kRowHeight = 14;

    PatternView(PatternDef& pattern, QWidget* parent = nullptr);
    ~PatternView() override;

    /** The cell under a point of the widget as {row, column}, or {-1, -1}. */
    QPair<int, int> cellAt(const QPoint& point) const;
    /** The middle of a cell, for a click. */
    QPoint cellCenter(int row, int column) const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    class Watcher;
    int columnLeft(int column) const;

    PatternDef& pattern;
    Watcher* watcher;
};

} // namespace Quillmark
