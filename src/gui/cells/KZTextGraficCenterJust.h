#pragma once

#include "KZTextFieldCell.h"

// The source list's count badge: the title in green on a dark gray rounded rectangle, drawn
// only while the volume has ticked items. GUI thread only.
class KZTextGraficCenterJust : public KZTextFieldCell
{
    Q_OBJECT

public:
    explicit KZTextGraficCenterJust(QObject *parent = nullptr);

    [[nodiscard]] unsigned checked() const { return m_checked; }
    void setCheckedCount(unsigned count) { m_checked = count; }
    // The badge text as last drawn; empty until a badge was drawn.
    [[nodiscard]] KZAttributedString attributedTitle() const { return m_attributedTitle; }

    // Drawing by hand keeps the badge's text as attributedTitle.
    void drawWithFrame(QPainter *painter, const QRectF &cellFrame) const override;
    KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                     const KZCellState &state) const override;
    [[nodiscard]] KZCellState stateForRow(const QStyleOptionViewItem &option,
                                          const QModelIndex &index) const override;
    [[nodiscard]] KZCellState cellState() const override;
    // The copy has this cell's state, the last drawn text included; this cell forgets its
    // last drawn text. Established behaviour of the badge, kept as it is.
    [[nodiscard]] std::unique_ptr<KZTextFieldCell> copy() const override;

private:
    unsigned m_checked = 0;
    // Written only by drawing by hand and by copy(); a view's rows leave it alone.
    mutable KZAttributedString m_attributedTitle;
};
