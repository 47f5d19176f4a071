#include "KZTUTextCellRightJust.h"

#include "KZAttributedStringUtilities.h"

KZTUTextCellRightJust::KZTUTextCellRightJust(QObject *parent)
    : KZTextFieldCell(parent)
{}

KZAttributedString KZTUTextCellRightJust::drawWithState(QPainter *painter, const QRectF &cellFrame,
                                                        const KZCellState &state) const
{
    if (state.title.isEmpty())
        return {};
    const QRectF frame = cellFrame.adjusted(0, 0, -10, 0);
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            state.title, 12, titleColor(state), false, Qt::AlignLeft, frame.width(),
            Qt::ElideRight);
    line.drawInRect(painter, cellTextFrame(frame, line, RightTextAlignment, state.flipped));
    return line;
}

std::unique_ptr<KZTextFieldCell> KZTUTextCellRightJust::copy() const
{
    auto cell = std::make_unique<KZTUTextCellRightJust>();
    copyStateTo(*cell);
    return cell;
}
