#pragma once
// Draws the cells of the frame table as the standard delegate does, without
// laying out and shaping each cell's text again on every repaint: a frame's
// texts never change once made, so each distinct text is shaped once and its
// glyphs are kept (a bounded cache) for the next repaints.
//
// The style still draws everything but the text (row background, selection,
// focus frame); the text is drawn from the cache when it fits its cell on
// one line, which is the only case in which the standard delegate draws it
// unchanged. Any other cell (a text that must be wrapped or elided, an icon,
// a check box, right-to-left, an edited cell) takes the standard path. Before
// the cached path is used with a style, one probe cell is drawn both ways;
// if the two pictures differ in any pixel, the standard path is kept.
//
// A plain cell (not selected, not current, not under the mouse, no
// background of its own) is one on which the style draws nothing once its
// text is taken away: the row background is the view's. If a probe shows
// that the style indeed leaves such a cell untouched, the style is not asked
// for it at all (it would save, clip and restore the painter for each cell).

#include <QFont>
#include <QGlyphRun>
#include <QHash>
#include <QList>
#include <QPointer>
#include <QStyledItemDelegate>

class QStyle;

class FrameCellDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    // At most this many texts are kept (about four screens of frame rows).
    static constexpr int kCacheLimit = 4096;

    explicit FrameCellDelegate(QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;

    // What the cache holds now (tests).
    int cachedTexts() const { return m_recent.size() + m_older.size(); }
    // Whether cells are drawn from the cache with the given view's style (tests).
    bool cachedPathUsed(const QWidget *view) const;

private:
    struct Shaped {
        QList<QGlyphRun> glyphs; // positions relative to the line's top left
        qreal width = 0; // natural width, as the standard layout measures it
        int height = 0; // line height, rounded up as the standard layout does
        bool oneLine = false;
    };

    bool drawCached(QPainter *painter, QStyleOptionViewItem &opt) const;
    const Shaped &shaped(const QString &text, const QFont &font) const;
    bool styleAgrees(const QStyleOptionViewItem &opt) const;
    bool styleLeavesPlainCellsBlank(const QStyleOptionViewItem &opt) const;

    // Two generations: a text not seen for a whole generation is dropped.
    mutable QHash<QString, Shaped> m_recent;
    mutable QHash<QString, Shaped> m_older;
    mutable QFont m_font;
    mutable QPointer<QStyle> m_checkedStyle;
    mutable QFont m_checkedFont;
    mutable bool m_styleAgrees = false;
    mutable bool m_probing = false;
    // The answer of the plain-cell probe, for this style, font and state.
    mutable QPointer<QStyle> m_plainStyle;
    mutable QFont m_plainFont;
    mutable int m_plainState = -1;
    mutable bool m_plainBlank = false;
};
