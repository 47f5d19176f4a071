#pragma once

#include "KZAttributedString.h"
#include "presentation/KZItemDataRoles.h"

#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <QStyledItemDelegate>

#include <memory>

// The base of the smart-delete window's cells. Qt views draw rows with item delegates, so each
// cell is a delegate: paint() first takes the row's state from the view (selection, window and
// focus) and from the model (the roles of KZItemDataRoles.h) into the cell's properties, as a table
// prepares a cell before it draws it, and then draws with drawWithFrame(). The properties can also
// be set by hand and drawWithFrame() called directly. GUI thread only.
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

    // Whether the window is the active one; taken from the view at each paint.
    [[nodiscard]] bool windowIsActive() const { return m_windowIsActive; }
    void setWindowIsActive(bool active) { m_windowIsActive = active; }
    // Whether the cell's view has the keyboard focus; taken from the view at each paint.
    [[nodiscard]] bool listIsActive() const { return m_listIsActive; }
    void setListIsActive(bool active) { m_listIsActive = active; }
    // 1 for the source list; the view does not know it, the window sets it once.
    [[nodiscard]] int selectionHighlightStyle() const { return m_selectionHighlightStyle; }
    void setSelectionHighlightStyle(int style) { m_selectionHighlightStyle = style; }
    // Whether the row is selected; taken from the view at each paint.
    [[nodiscard]] bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted) { m_highlighted = highlighted; }
    // Whether y grows downwards in the view the cell draws into. Every Qt widget is flipped;
    // false places text frames as a bottom-up view would.
    [[nodiscard]] bool isFlipped() const { return m_flipped; }
    void setFlipped(bool flipped) { m_flipped = flipped; }
    // The row's text.
    [[nodiscard]] QString title() const { return m_title; }
    void setTitle(const QString &title) { m_title = title; }

    [[nodiscard]] QColor titleColor() const;
    [[nodiscard]] QColor subTitleColor() const;
    [[nodiscard]] QColor subTitleGreenColor() const;

    // Where a line of text goes in cellFrame: vertically centred a point above the middle,
    // horizontally by alignment (0 left, 1 right, 2 centre, anything else x = 0); the width
    // is always the frame's. In a view that is not flipped only the vertical rule applies.
    [[nodiscard]] QRectF cellTextFrame(const QRectF &cellFrame,
                                       const KZAttributedString &withAttributedString,
                                       int alignment) const;

    // Draws the prepared cell into cellFrame.
    virtual void drawWithFrame(QPainter *painter, const QRectF &cellFrame) const;

    // A new cell with the same state, owned by the caller (no QObject parent).
    [[nodiscard]] virtual std::unique_ptr<KZTextFieldCell> copy() const;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;

    // The colour of the badge's rounded rectangle and of secondary text.
    [[nodiscard]] static QColor darkGrayColor();
    // The desktop has no system green; this one reads well on white and on dark gray.
    [[nodiscard]] static QColor systemGreenColor();

protected:
    // Takes the row's state into the cell's properties before drawing it. Overrides call the
    // base first.
    virtual void prepareForRow(const QStyleOptionViewItem &option, const QModelIndex &index) const;
    void copyStateTo(KZTextFieldCell &copy) const;

    // The row's icon as a pixmap side points square, at the view's (else the application's)
    // pixel ratio. Images from worker threads become pixmaps here, on the GUI thread, once per
    // image (QPixmapCache).
    [[nodiscard]] static QPixmap pixmapFromDecoration(const QStyleOptionViewItem &option,
                                                      const QModelIndex &index, qreal side);
    // Draws pixmap scaled into target at opacity.
    static void drawImage(QPainter *painter, const QPixmap &pixmap, const QRectF &target,
                          qreal opacity);

    // Cells are prepared per row inside the const paint(); the state therefore is mutable.
    mutable bool m_windowIsActive = false;
    mutable bool m_listIsActive = false;
    mutable bool m_highlighted = false;
    mutable QString m_title;
    int m_selectionHighlightStyle = 0;
    bool m_flipped = true;
};
