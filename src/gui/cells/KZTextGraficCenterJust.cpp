#include "KZTextGraficCenterJust.h"

#include "KZAttributedStringUtilities.h"

#include <QPainter>
#include <QPainterPath>

KZTextGraficCenterJust::KZTextGraficCenterJust(QObject *parent)
    : KZTextFieldCell(parent)
{}

KZCellState KZTextGraficCenterJust::stateForRow(const QStyleOptionViewItem &option,
                                                const QModelIndex &index) const
{
    KZCellState state = KZTextFieldCell::stateForRow(option, index);
    state.checked = index.data(KZCheckedCountRole).toUInt();
    return state;
}

KZCellState KZTextGraficCenterJust::cellState() const
{
    KZCellState state = KZTextFieldCell::cellState();
    state.checked = m_checked;
    return state;
}

void KZTextGraficCenterJust::drawWithFrame(QPainter *painter, const QRectF &cellFrame) const
{
    const KZAttributedString line = drawWithState(painter, cellFrame, cellState());
    if (!line.isEmpty())
        m_attributedTitle = line;
}

KZAttributedString KZTextGraficCenterJust::drawWithState(QPainter *painter, const QRectF &cellFrame,
                                                         const KZCellState &state) const
{
    if (state.checked == 0 || state.title.isEmpty())
        return {};
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            state.title, 11, systemGreenColor(), false, Qt::AlignHCenter, cellFrame.width(),
            Qt::ElideRight);
    // Qt clips a delegate to its cell, so the text takes the cell less 2 points a side and the
    // rounded rectangle, 2 points larger than the text, just fills the cell.
    const QRectF textFrame
        = cellTextFrame(cellFrame.adjusted(2, 0, -2, 0), line, LeftTextAlignment, state.flipped);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(darkGrayColor());
    painter->drawRoundedRect(textFrame.adjusted(-2, -2, 2, 2), 6, 6);
    painter->restore();
    line.drawInRect(painter, textFrame);
    return line;
}

std::unique_ptr<KZTextFieldCell> KZTextGraficCenterJust::copy() const
{
    auto cell = std::make_unique<KZTextGraficCenterJust>();
    copyStateTo(*cell);
    cell->m_checked = m_checked;
    cell->m_attributedTitle = m_attributedTitle;
    m_attributedTitle = KZAttributedString();
    return cell;
}
