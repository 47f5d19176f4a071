#include "KZTextGraficCenterJust.h"

#include "KZAttributedStringUtilities.h"

#include <QPainter>
#include <QPainterPath>

KZTextGraficCenterJust::KZTextGraficCenterJust(QObject *parent)
    : KZTextFieldCell(parent)
{}

void KZTextGraficCenterJust::prepareForRow(const QStyleOptionViewItem &option,
                                           const QModelIndex &index) const
{
    KZTextFieldCell::prepareForRow(option, index);
    m_checked = index.data(KZCheckedCountRole).toUInt();
}

void KZTextGraficCenterJust::drawWithFrame(QPainter *painter, const QRectF &cellFrame) const
{
    if (m_checked == 0 || m_title.isEmpty())
        return;
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            m_title, 11, systemGreenColor(), false, Qt::AlignHCenter, cellFrame.width(),
            Qt::ElideRight);
    // Qt clips a delegate to its cell, so the text takes the cell less 2 points a side and the
    // rounded rectangle, 2 points larger than the text, just fills the cell.
    const QRectF textFrame
        = cellTextFrame(cellFrame.adjusted(2, 0, -2, 0), line, LeftTextAlignment);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(darkGrayColor());
    painter->drawRoundedRect(textFrame.adjusted(-2, -2, 2, 2), 6, 6);
    painter->restore();
    line.drawInRect(painter, textFrame);
    m_attributedTitle = line;
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
