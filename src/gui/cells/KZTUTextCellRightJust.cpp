#include "KZTUTextCellRightJust.h"

#include "KZAttributedStringUtilities.h"

KZTUTextCellRightJust::KZTUTextCellRightJust(QObject *parent)
    : KZTextFieldCell(parent)
{}

void KZTUTextCellRightJust::drawWithFrame(QPainter *painter, const QRectF &cellFrame) const
{
    if (m_title.isEmpty())
        return;
    const QRectF frame = cellFrame.adjusted(0, 0, -10, 0);
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            m_title, 12, titleColor(), false, Qt::AlignLeft, frame.width(), Qt::ElideRight);
    line.drawInRect(painter, cellTextFrame(frame, line, RightTextAlignment));
}

std::unique_ptr<KZTextFieldCell> KZTUTextCellRightJust::copy() const
{
    auto cell = std::make_unique<KZTUTextCellRightJust>();
    copyStateTo(*cell);
    return cell;
}
