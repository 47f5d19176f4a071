#pragma once

#include "KZTextFieldCell.h"

// The item list's size column: the title right-aligned 10 points in from the cell's right edge,
// never starting left of the cell. GUI thread only.
class KZTUTextCellRightJust : public KZTextFieldCell
{
    Q_OBJECT

public:
    explicit KZTUTextCellRightJust(QObject *parent = nullptr);

    KZAttributedString drawWithState(QPainter *painter, const QRectF &cellFrame,
                                     const KZCellState &state) const override;
    [[nodiscard]] std::unique_ptr<KZTextFieldCell> copy() const override;
};
