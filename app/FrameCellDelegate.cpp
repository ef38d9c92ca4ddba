#include "FrameCellDelegate.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QStyle>
#include <QTextLayout>

#include <algorithm>
#include <utility>

namespace {
// A line width no cell reaches: the text is laid out on one line, unwrapped.
constexpr qreal kUnwrapped = 1e6;

QStyle *styleOf(const QStyleOptionViewItem &opt) { return opt.widget ? opt.widget->style() : QApplication::style(); }
} // namespace

FrameCellDelegate::FrameCellDelegate(QObject *parent)
    : QStyledItemDelegate(parent)
{
}

void FrameCellDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    if (drawCached(painter, opt))
        return;
    // What the standard delegate does.
    styleOf(opt)->drawControl(QStyle::CE_ItemViewItem, &opt, painter, opt.widget);
}

// Draws the cell with the style doing all but the text and the text from the
// cache; false (nothing drawn) when the cell needs the standard path.
bool FrameCellDelegate::drawCached(QPainter *painter, QStyleOptionViewItem &opt) const
{

    if (opt.text.isEmpty() || opt.direction != Qt::LeftToRight || !opt.showDecorationSelected
        || (opt.features & (QStyleOptionViewItem::HasCheckIndicator | QStyleOptionViewItem::HasDecoration))
        || (opt.state & QStyle::State_Editing)
        || (QStyle::visualAlignment(opt.direction, opt.displayAlignment)
               & (Qt::AlignLeft | Qt::AlignRight | Qt::AlignHCenter | Qt::AlignJustify))
            != Qt::AlignLeft)
        return false;
    if (!styleAgrees(opt))
        return false;
    QStyle *style = styleOf(opt);
    // The standard text rectangle: the cell less the focus frame's margin on each side.
    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, opt.widget) + 1;
    const QRect textRect = opt.rect.adjusted(margin, 0, -margin, 0);
    const Shaped &text = shaped(opt.text, opt.font);
    // A text wider than its cell is wrapped or elided by the standard path.
    if (!text.oneLine || text.width > textRect.width() || text.height > textRect.height())
        return false;

    opt.text.clear();
    opt.features &= ~QStyleOptionViewItem::HasDisplay;
    if (!styleLeavesPlainCellsBlank(opt))
        style->drawControl(QStyle::CE_ItemViewItem, &opt, painter, opt.widget);

    // The text colour as the style's item drawing chooses it.
    QPalette::ColorGroup group = (opt.state & QStyle::State_Enabled) ? QPalette::Normal : QPalette::Disabled;
    if (group == QPalette::Normal && !(opt.state & QStyle::State_Active))
        group = QPalette::Inactive;
    const QPen before = painter->pen();
    painter->setPen(
        opt.palette.color(group, (opt.state & QStyle::State_Selected) ? QPalette::HighlightedText : QPalette::Text));
    // Left-aligned at the text rectangle's left edge, the line box placed by the vertical alignment.
    const int top = QStyle::alignedRect(Qt::LeftToRight, opt.displayAlignment, QSize(1, text.height), textRect).top();
    const QPointF at(textRect.x(), top);
    for (const QGlyphRun &run : text.glyphs)
        painter->drawGlyphRun(at, run);
    painter->setPen(before);
    return true;
}

const FrameCellDelegate::Shaped &FrameCellDelegate::shaped(const QString &text, const QFont &font) const
{
    if (font != m_font) {
        m_recent.clear();
        m_older.clear();
        m_font = font;
    }
    const auto hit = m_recent.constFind(text);
    if (hit != m_recent.constEnd())
        return *hit;
    Shaped entry;
    const auto old = m_older.find(text);
    if (old != m_older.end()) {
        entry = std::move(*old);
        m_older.erase(old);
    } else {
        // The same layout the standard path makes, on one unwrapped line.
        QTextLayout layout(text, font);
        QTextOption option;
        option.setWrapMode(QTextOption::ManualWrap);
        option.setTextDirection(Qt::LeftToRight);
        option.setAlignment(Qt::AlignLeft);
        layout.setTextOption(option);
        layout.beginLayout();
        QTextLine line = layout.createLine();
        if (line.isValid()) {
            line.setLineWidth(kUnwrapped);
            line.setPosition(QPointF(0, 0));
        }
        const bool more = layout.createLine().isValid();
        layout.endLayout();
        entry.oneLine = line.isValid() && !more;
        if (entry.oneLine) {
            entry.width = line.naturalTextWidth();
            entry.height = layout.boundingRect().size().toSize().height();
            entry.glyphs = layout.glyphRuns();
        }
    }
    if (m_recent.size() >= kCacheLimit / 2) {
        m_older = std::move(m_recent);
        m_recent = QHash<QString, Shaped>();
    }
    return *m_recent.insert(text, std::move(entry));
}

// Draws one probe cell both ways, selected or not, on a plain or an alternate
// row; the cached path is used with this style and font only if every pixel
// agrees. Asked again when the style or the font changes.
bool FrameCellDelegate::styleAgrees(const QStyleOptionViewItem &opt) const
{
    QStyle *style = styleOf(opt);
    if (m_checkedStyle == style && m_checkedFont == opt.font)
        return m_styleAgrees;
    m_checkedStyle = style;
    m_checkedFont = opt.font;
    m_styleAgrees = true; // lets the probe below take the cached path
    const QString probe = QStringLiteral("0x18FF0010 扩展帧 數據 x| 0A ");
    const QFontMetrics metrics(opt.font);
    QStyleOptionViewItem cell = opt;
    cell.text = probe;
    cell.features |= QStyleOptionViewItem::HasDisplay;
    cell.rect = QRect(0, 0, metrics.horizontalAdvance(probe) + 24, std::max(opt.rect.height(), metrics.height() + 4));
    const QStyle::State plain
        = opt.state & ~(QStyle::State_Selected | QStyle::State_HasFocus | QStyle::State_MouseOver);
    for (const QStyle::State state : { plain, plain | QStyle::State_Selected }) {
        for (const bool alternate : { false, true }) {
            cell.state = state;
            if (alternate)
                cell.features |= QStyleOptionViewItem::Alternate;
            else
                cell.features &= ~QStyleOptionViewItem::Alternate;
            QImage standard(cell.rect.size(), QImage::Format_ARGB32_Premultiplied);
            QImage cached(cell.rect.size(), QImage::Format_ARGB32_Premultiplied);
            standard.fill(opt.palette.color(QPalette::Base));
            cached.fill(opt.palette.color(QPalette::Base));
            {
                QPainter p(&standard);
                QStyleOptionViewItem copy = cell;
                style->drawControl(QStyle::CE_ItemViewItem, &copy, &p, opt.widget);
            }
            bool drawn = false;
            {
                QPainter p(&cached);
                QStyleOptionViewItem copy = cell;
                drawn = drawCached(&p, copy);
            }
            if (!drawn || standard != cached) {
                m_styleAgrees = false;
                return false;
            }
        }
    }
    return true;
}

namespace {
// The states in which a cell is drawn by the style whatever the probe says.
constexpr QStyle::State kMarked = QStyle::State_Selected | QStyle::State_HasFocus | QStyle::State_MouseOver;
} // namespace

// True when `opt` (its text already taken away) is a plain cell and the style
// is known to draw nothing on a plain cell in this state. The probe draws one
// such cell, on a plain and on an alternate row, onto a filled picture and
// looks whether any pixel changed; it is asked again when the style, the
// font or the cell state (enabled, active window) changes.
bool FrameCellDelegate::styleLeavesPlainCellsBlank(const QStyleOptionViewItem &opt) const
{
    if ((opt.state & kMarked) || opt.backgroundBrush.style() != Qt::NoBrush || !opt.text.isEmpty()
        || (opt.features
            & (QStyleOptionViewItem::HasDisplay | QStyleOptionViewItem::HasCheckIndicator
                | QStyleOptionViewItem::HasDecoration)))
        return false;
    QStyle *style = styleOf(opt);
    const int state = int(opt.state);
    if (m_plainStyle == style && m_plainFont == opt.font && m_plainState == state)
        return m_plainBlank;
    m_plainStyle = style;
    m_plainFont = opt.font;
    m_plainState = state;
    m_plainBlank = true;
    const QColor fill(0x12, 0x34, 0x56);
    QStyleOptionViewItem cell = opt;
    cell.rect = QRect(0, 0, 64, std::max(opt.rect.height(), 8));
    for (const bool alternate : { false, true }) {
        if (alternate)
            cell.features |= QStyleOptionViewItem::Alternate;
        else
            cell.features &= ~QStyleOptionViewItem::Alternate;
        QImage image(cell.rect.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(fill);
        const QImage before = image.copy();
        {
            QPainter p(&image);
            QStyleOptionViewItem copy = cell;
            style->drawControl(QStyle::CE_ItemViewItem, &copy, &p, opt.widget);
        }
        if (image != before) {
            m_plainBlank = false;
            break;
        }
    }
    return m_plainBlank;
}

bool FrameCellDelegate::cachedPathUsed(const QWidget *view) const
{
    return view && m_checkedStyle == view->style() && m_styleAgrees;
}
