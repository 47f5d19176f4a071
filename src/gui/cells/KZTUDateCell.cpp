#include "KZTUDateCell.h"

#include "KZAttributedStringUtilities.h"
#include "format/KZDateUtilities.h"

KZTUDateCell::KZTUDateCell(QObject *parent)
    : KZTextFieldCell(parent)
{}

KZCellState KZTUDateCell::stateForRow(const QStyleOptionViewItem &option,
                                      const QModelIndex &index) const
{
    KZCellState state = KZTextFieldCell::stateForRow(option, index);
    const QVariant seconds = index.data(KZSecondsRole);
    state.seconds = seconds.isValid() ? seconds.toDouble() : index.data(Qt::DisplayRole).toDouble();
    return state;
}

KZCellState KZTUDateCell::cellState() const
{
    KZCellState state = KZTextFieldCell::cellState();
    state.seconds = m_seconds;
    return state;
}

KZAttributedString KZTUDateCell::drawWithState(QPainter *painter, const QRectF &cellFrame,
                                               const KZCellState &state) const
{
    if (!(state.seconds > 0))
        return {};
    const qreal width = cellFrame.width() - 10;
    unsigned style = KZDateUtilities::ShortStyle;
    bool withTime = false;
    if (width >= 220) {
        style = KZDateUtilities::FullStyle;
        withTime = true;
    } else if (width >= 170) {
        style = KZDateUtilities::FullStyle;
    } else if (width >= 140) {
        style = KZDateUtilities::LongStyle;
        withTime = true;
    } else if (width >= 100) {
        style = KZDateUtilities::LongStyle;
    }
    const QString text
        = KZDateUtilities::sharedControl().stringWithSeconds(state.seconds, style, true, withTime);
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            text, 12, titleColor(state), false, Qt::AlignLeft, width, Qt::ElideRight);
    const QRectF frame(cellFrame.x() + 10, cellFrame.y(), width, cellFrame.height());
    line.drawInRect(painter, cellTextFrame(frame, line, LeftTextAlignment, state.flipped));
    return line;
}

std::unique_ptr<KZTextFieldCell> KZTUDateCell::copy() const
{
    auto cell = std::make_unique<KZTUDateCell>();
    copyStateTo(*cell);
    cell->m_seconds = m_seconds;
    return cell;
}
