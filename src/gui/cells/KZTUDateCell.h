#pragma once

#include "KZTextFieldCell.h"

// The item list's "added" column: the date an item was put into the Trash, in a date style
// chosen by the column's width (wider columns get longer styles and the time). GUI thread only.
class KZTUDateCell : public KZTextFieldCell
{
    Q_OBJECT

public:
    explicit KZTUDateCell(QObject *parent = nullptr);

    // Seconds since 1 January 2001 UTC; nothing is drawn unless it is greater than 0.
    [[nodiscard]] double seconds() const { return m_seconds; }
    void setSeconds(double seconds) { m_seconds = seconds; }

    KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                     const KZCellState &state) const override;
    [[nodiscard]] KZCellState stateForRow(const QStyleOptionViewItem &option,
                                          const QModelIndex &index) const override;
    [[nodiscard]] KZCellState cellState() const override;
    [[nodiscard]] std::unique_ptr<KZTextFieldCell> copy() const override;

private:
    double m_seconds = 0;
};
