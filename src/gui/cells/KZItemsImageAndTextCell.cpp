#include "KZItemsImageAndTextCell.h"

#include "KZAttributedStringUtilities.h"
#include "model/KZPath.h"

#include <QPainter>
#include <QtMath>

namespace {
// Only rows of exactly this height have room for the second line and the large icon.
constexpr qreal kTwoLineRowHeight = 36;
} // namespace

KZItemsImageAndTextCell::KZItemsImageAndTextCell(QObject *parent)
    : KZTextFieldCell(parent)
{}

KZCellState KZItemsImageAndTextCell::stateForRow(const QStyleOptionViewItem &option,
                                                 const QModelIndex &index) const
{
    KZCellState state = KZTextFieldCell::stateForRow(option, index);
    const qreal side = option.rect.height() == kTwoLineRowHeight ? 36 : 24;
    state.image = pixmapFromDecoration(option, index, side);
    const QVariant path = index.data(KZPathRole);
    state.path = path.typeId() == QMetaType::QByteArray ? KZPath::displayString(path.toByteArray())
                                                        : path.toString();
    state.isInvisible = index.data(KZIsInvisibleRole).toBool();
    return state;
}

KZCellState KZItemsImageAndTextCell::cellState() const
{
    KZCellState state = KZTextFieldCell::cellState();
    state.image = m_image;
    state.path = m_path;
    state.isInvisible = m_isInvisible;
    return state;
}

KZAttributedString KZItemsImageAndTextCell::drawWithState(QPainter *painter,
                                                          const QRectF &cellFrame,
                                                          const KZCellState &state) const
{
    KZAttributedStringUtilities &strings = KZAttributedStringUtilities::sharedControl();
    const bool twoLineRow = cellFrame.height() == kTwoLineRowHeight;
    QRectF textFrame = cellFrame;
    if (!state.image.isNull()) {
        const qreal side = twoLineRow ? 36 : 24;
        const QRectF imageFrame(cellFrame.x(), cellFrame.y() + (cellFrame.height() - side) / 2,
                                side, side);
        drawImage(painter, state.image, imageFrame, state.isInvisible ? 0.5 : 1.0);
        textFrame.setLeft(cellFrame.left() + side + 3);
    }

    const KZAttributedString title
        = strings.attributedStringWithString(state.title, 12, titleColor(state), false,
                                             Qt::AlignLeft, textFrame.width(), Qt::ElideRight);
    const bool secondLine = twoLineRow && !state.path.isEmpty();
    // Centred on the whole row the title would run into the second line; with one it takes
    // the upper 18 points, the mirror of the line's lower 18.
    const QRectF titleFrame
        = secondLine ? QRectF(textFrame.x(), textFrame.y(), textFrame.width(), 18) : textFrame;
    title.drawInRect(painter, cellTextFrame(titleFrame, title, LeftTextAlignment, state.flipped));

    if (!secondLine)
        return title;
    drawSecondLine(painter, state.path, textFrame, state);
    return title;
}

std::unique_ptr<KZTextFieldCell> KZItemsImageAndTextCell::copy() const
{
    auto cell = std::make_unique<KZItemsImageAndTextCell>();
    copyStateTo(*cell);
    cell->m_image = m_image;
    cell->m_path = m_path;
    cell->m_isInvisible = m_isInvisible;
    return cell;
}

QSize KZItemsImageAndTextCell::sizeHint(const QStyleOptionViewItem &option,
                                        const QModelIndex &index) const
{
    const QSize text = KZTextFieldCell::sizeHint(option, index);
    return QSize(text.width() + 36 + 3, index.data(KZPathRole).isValid() ? 36 : 26);
}
