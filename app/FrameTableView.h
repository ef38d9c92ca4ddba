#pragma once
// The frame table's view: a QTableView that draws its grid in one call per
// repaint instead of one line per row and column, and its cells through
// FrameCellDelegate. The picture is the standard table's: the view keeps its
// one-pixel grid gap between cells, and the lines fall on the same pixels.

#include <QTableView>

class FrameCellDelegate;
class RowHeaderMirror;

class FrameTableView : public QTableView {
    Q_OBJECT
public:
    explicit FrameTableView(QWidget *parent = nullptr);

    FrameCellDelegate *cellDelegate() const { return m_delegate; }

    // The vertical header follows the model through a RowHeaderMirror, so a
    // run of single-row removals from the top costs it one update, not one
    // walk over all of its rows per removed row.
    void setModel(QAbstractItemModel *model) override;
    RowHeaderMirror *rowHeaderMirror() const { return m_rowMirror; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void drawGrid(const QRegion &region);

    FrameCellDelegate *m_delegate = nullptr;
    RowHeaderMirror *m_rowMirror = nullptr;
};
