#include "FrameTableView.h"

#include "FrameCellDelegate.h"
#include "RowHeaderMirror.h"

#include <QHeaderView>
#include <QPaintEvent>
#include <QPainter>
#include <QVector>

#include <algorithm>

FrameTableView::FrameTableView(QWidget *parent)
    : QTableView(parent)
    , m_delegate(new FrameCellDelegate(this))
{
    setItemDelegate(m_delegate);
    // The base class keeps drawing the grid's gap (showGrid stays on) but
    // strokes its lines, one call each, with no pen; drawGrid draws them.
    setGridStyle(Qt::NoPen);
}

void FrameTableView::setModel(QAbstractItemModel *model)
{
    if (model == this->model())
        return;
    QTableView::setModel(model);
    delete m_rowMirror;
    m_rowMirror = nullptr;
    if (model) {
        m_rowMirror = new RowHeaderMirror(model, this);
        verticalHeader()->setModel(m_rowMirror);
    }
}

void FrameTableView::paintEvent(QPaintEvent *event)
{
    QTableView::paintEvent(event);
    if (showGrid())
        drawGrid(event->region());
}

// The lines the base class would draw for the repainted region, as 1-pixel
// rectangles filled in one call: below each shown row, right of each shown
// column, across the part of the region the cells cover.
void FrameTableView::drawGrid(const QRegion &region)
{
    const QHeaderView *rows = verticalHeader();
    const QHeaderView *columns = horizontalHeader();
    if (!model() || rows->count() == 0 || columns->count() == 0)
        return;
    const bool rightToLeft = isRightToLeft();
    const int cellsRight = columns->length() - columns->offset() - (rightToLeft ? 0 : 1);
    const int cellsBottom = rows->length() - rows->offset() - 1;
    QRect area = region.boundingRect();
    area.setBottom(std::min(area.bottom(), cellsBottom));
    if (rightToLeft)
        area.setLeft(std::max(area.left(), viewport()->width() - cellsRight));
    else
        area.setRight(std::min(area.right(), cellsRight));
    if (!area.isValid())
        return;
    const int top = rows->visualIndexAt(area.top());
    int bottom = rows->visualIndexAt(area.bottom());
    if (bottom == -1)
        bottom = rows->count() - 1;
    int left = columns->visualIndexAt(area.left());
    int right = columns->visualIndexAt(area.right());
    if (rightToLeft)
        std::swap(left, right);
    if (left == -1)
        left = 0;
    if (right == -1)
        right = columns->count() - 1;
    if (top == -1 || top > bottom)
        return;

    QVector<QRect> lines;
    lines.reserve(bottom - top + 1 + right - left + 1);
    for (int visual = top; visual <= bottom; ++visual) {
        const int row = rows->logicalIndex(visual);
        if (rows->isSectionHidden(row))
            continue;
        const int y = rowViewportPosition(row) + rowHeight(row) - 1;
        lines.append(QRect(area.left(), y, area.width(), 1));
    }
    for (int visual = left; visual <= right; ++visual) {
        const int column = columns->logicalIndex(visual);
        if (columns->isSectionHidden(column))
            continue;
        const int x = columnViewportPosition(column) + (rightToLeft ? 0 : columnWidth(column) - 1);
        lines.append(QRect(x, area.top(), 1, area.height()));
    }
    QStyleOptionViewItem option = viewOptions();
    const QColor color
        = QColor::fromRgba(static_cast<QRgb>(style()->styleHint(QStyle::SH_Table_GridLineColor, &option, this)));
    QPainter painter(viewport());
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRects(lines.constData(), lines.size());
}
