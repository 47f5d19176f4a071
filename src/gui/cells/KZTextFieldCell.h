#pragma once

#include "KZAttributedString.h"
#include "KZCellState.h"
#include "presentation/KZItemDataRoles.h"

#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <QStyledItemDelegate>

#include <memory>

// The base of the smart-delete window's cells. Qt views draw rows with item delegates, so each
// cell is a delegate: paint() builds the row's state (KZCellState) from the view (selection,
// window, focus, palette) and the model (the roles of KZItemDataRoles.h) and draws from it alone;
// it never writes the cell's properties, so one cell draws every row of a column. The properties
// are for drawing by hand: set them and call drawWithFrame(). Every colour comes from the
// palette. GUI thread only.
class KZTextFieldCell : public QStyledItemDelegate
{
    Q_OBJECT

public:
    // Alignments of cellTextFrame().
    enum TextAlignment : int {
        LeftTextAlignment = 0,
        RightTextAlignment = 1,
        CenterTextAlignment = 2,
    };
    // The source list's selection highlight style.
    static constexpr int kSourceListHighlightStyle = 1;

    explicit KZTextFieldCell(QObject *parent = nullptr);

    // Whether the window is the active one (a row takes it from the view).
    [[nodiscard]] bool windowIsActive() const { return m_windowIsActive; }
    void setWindowIsActive(bool active) { m_windowIsActive = active; }
    // Whether the cell's list has the keyboard focus (a row drawn in a view takes the view's).
    [[nodiscard]] bool listIsActive() const { return m_listIsActive; }
    void setListIsActive(bool active) { m_listIsActive = active; }
    // 1 for the source list; the view does not know it, the window sets it once.
    [[nodiscard]] int selectionHighlightStyle() const { return m_selectionHighlightStyle; }
    void setSelectionHighlightStyle(int style) { m_selectionHighlightStyle = style; }
    // Whether the row is selected (a row takes it from the view).
    [[nodiscard]] bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted) { m_highlighted = highlighted; }
    // Whether y grows downwards in the view the cell draws into. Every Qt widget is flipped;
    // false places text frames as a bottom-up view would.
    [[nodiscard]] bool isFlipped() const { return m_flipped; }
    void setFlipped(bool flipped) { m_flipped = flipped; }
    // The row's text.
    [[nodiscard]] QString title() const { return m_title; }
    void setTitle(const QString &title) { m_title = title; }

    // The text colours of a row: the palette's highlighted text on a strong selection, else
    // its text (title), placeholder (dimmed second line) or a green that reads on its base.
    [[nodiscard]] static QColor titleColor(const KZCellState &state);
    [[nodiscard]] static QColor subTitleColor(const KZCellState &state);
    [[nodiscard]] static QColor subTitleGreenColor(const KZCellState &state);
    // The same for the cell's properties and the application's palette.
    [[nodiscard]] QColor titleColor() const { return titleColor(cellState()); }
    [[nodiscard]] QColor subTitleColor() const { return subTitleColor(cellState()); }
    [[nodiscard]] QColor subTitleGreenColor() const { return subTitleGreenColor(cellState()); }

    // The row that index and option describe, with the column's settings of the cell.
    [[nodiscard]] virtual KZCellState stateForRow(const QStyleOptionViewItem &option,
                                                  const QModelIndex &index) const;
    // The row the cell's properties describe, in the application's palette.
    [[nodiscard]] virtual KZCellState cellState() const;

    // Where a line of text goes in cellFrame: vertically centred a point above the middle,
    // horizontally by alignment (0 left, 1 right, 2 centre, anything else x = 0); the width
    // is always the frame's. In a view that is not flipped only the vertical rule applies.
    [[nodiscard]] QRectF cellTextFrame(const QRectF &cellFrame,
                                       const KZAttributedString &withAttributedString,
                                       int alignment) const
    {
        return cellTextFrame(cellFrame, withAttributedString, alignment, m_flipped);
    }
    [[nodiscard]] static QRectF cellTextFrame(const QRectF &cellFrame,
                                              const KZAttributedString &withAttributedString,
                                              int alignment, bool flipped);

    // Draws the cell's properties into cellFrame.
    virtual void drawWithFrame(QPainter *painter, const QRectF &cellFrame) const;
    // Draws state into cellFrame and answers the main line as drawn (empty when none was).
    virtual KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                             const KZCellState &state) const;

    // A new cell with the same state, owned by the caller (no QObject parent).
    [[nodiscard]] virtual std::unique_ptr<KZTextFieldCell> copy() const;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;

    // The colour of the badge's rounded rectangle.
    [[nodiscard]] static QColor darkGrayColor();
    // The desktop has no system green; this one reads well on white and on dark gray.
    [[nodiscard]] static QColor systemGreenColor();

protected:
    void copyStateTo(KZTextFieldCell &copy) const;

    // The row's icon as a pixmap side points square, at the view's (else the application's)
    // pixel ratio. Images from worker threads become pixmaps here, on the GUI thread, once per
    // image (QPixmapCache).
    [[nodiscard]] static QPixmap pixmapFromDecoration(const QStyleOptionViewItem &option,
                                                      const QModelIndex &index, qreal side);
    // Draws pixmap scaled into target at opacity.
    // Draws text as a row's second line (11 points, the subtitle colour, elided on the right)
    // below a title drawn in textFrame.
    static void drawSecondLine(QPainter *painter, const QString &text, const QRectF &textFrame,
                               const KZCellState &state);
    static void drawImage(QPainter *painter, const QPixmap &pixmap, const QRectF &target,
                          qreal opacity);

    bool m_windowIsActive = false;
    bool m_listIsActive = false;
    bool m_highlighted = false;
    QString m_title;
    int m_selectionHighlightStyle = 0;
    bool m_flipped = true;
};
