#include "ui/patternview.h"

#include "base/updatehandler.h"
#include "midi/eventeditor.h"

#include <QFontMetrics>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <functional>

namespace Quillmark
{

/** Hears the matrix's changes (a click, an edit action) and asks for a repaint. */
class PatternView::Watcher : public CmObject
{
public:
    Watcher(PatternDef& pattern, std::function<void()> repaint)
        : pattern(pattern), repaint(std::move(repaint))
    {
        UpdateHandler::instance()->addDependent(static_cast<FObject*>(&pattern), this);
    }
    ~Watcher() override
    {
        UpdateHandler::instance()->removeDependent(static_cast<FObject*>(&pattern), this);
    }
    using CmObject::update;
    void update(FUnknown*, int32) override { repaint(); }

private:
    PatternDef& pattern;
    std::function<void()> repaint;
};

PatternView::PatternView(PatternDef& pattern, QWidget* parent)
    : QWidget(parent), pattern(pattern), watcher(new Watcher(pattern, [this] { update(); }))
{
    setMinimumHeight(PatternDef::kRows * kRowHeight);
    setMinimumWidth(PatternDef::kNameColumnWidth + 16 * (PatternDef::kColumns - 1));
}

PatternView::~PatternView()
{
    watcher->release();
}

QSize PatternView::sizeHint() const
{
    return {PatternDef::kNameColumnWidth + 24 * (PatternDef::kColumns - 1),
            PatternDef::kRows * kRowHeight};
}

int PatternView::columnLeft(int column) const
{
    // The names need more room than the matrix's fixed first column gives at this font
    // ("C#-1" at the widest); the steps share the rest evenly.
    const int names =
        std::max<int>(PatternDef::kNameColumnWidth, fontMetrics().horizontalAdvance("C#-1") + 6);
    if (column <= 0)
        return 0;
    const int steps = PatternDef::kColumns - 1;
    return names + (width() - names) * (column - 1) / steps;
}

QPair<int, int> PatternView::cellAt(const QPoint& point) const
{
    const int row = point.y() / kRowHeight;
    if (point.x() < 0 || point.y() < 0 || row >= PatternDef::kRows)
        return {-1, -1};
    for (int column = 0; column < PatternDef::kColumns; ++column)
        if (point.x() < columnLeft(column + 1))
            return {row, column};
    return {-1, -1};
}

QPoint PatternView::cellCenter(int row, int column) const
{
    return {(columnLeft(column) + columnLeft(column + 1)) / 2, row * kRowHeight + kRowHeight / 2};
}

void PatternView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QPalette& colors = palette();
    painter.fillRect(rect(), colors.base());
    for (int row = 0; row < PatternDef::kRows; ++row)
    {
        const int top = row * kRowHeight;
        // The black keys get a darker band, so the octaves read at a glance.
        const QString name = pattern.cellText(row, 0).toUtf8().c_str();
        if (name.contains('#'))
            painter.fillRect(0, top, width(), kRowHeight, colors.alternateBase());
        painter.setPen(colors.color(QPalette::Text));
        painter.drawText(QRect(2, top, columnLeft(1) - 2, kRowHeight), Qt::AlignVCenter, name);
        for (int column = 1; column < PatternDef::kColumns; ++column)
            if (pattern.isCellMarked(row, column))
            {
                const int left = columnLeft(column);
                painter.fillRect(
                    QRect(left + 2, top + 2, columnLeft(column + 1) - left - 4, kRowHeight - 4),
                    colors.highlight());
            }
    }
    painter.setPen(colors.color(QPalette::Mid));
    for (int column = 1; column < PatternDef::kColumns; ++column)
        painter.drawLine(columnLeft(column), 0, columnLeft(column), height());
}

void PatternView::mousePressEvent(QMouseEvent* event)
{
    const QPair<int, int> cell = cellAt(event->position().toPoint());
    if (cell.first >= 0)
        pattern.click(cell.first, cell.second); // the matrix's change repaints
}

} // namespace Quillmark
