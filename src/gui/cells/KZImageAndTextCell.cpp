#include "KZImageAndTextCell.h"

#include "KZAttributedStringUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QPainter>
#include <QToolTip>
#include <QtMath>

namespace {
constexpr qreal kIconSide = 36;
} // namespace

KZImageAndTextCell::KZImageAndTextCell(QObject *parent)
    : KZTextFieldCell(parent)
{}

KZCellState KZImageAndTextCell::stateForRow(const QStyleOptionViewItem &option,
                                            const QModelIndex &index) const
{
    KZCellState state = KZTextFieldCell::stateForRow(option, index);
    state.image = pixmapFromDecoration(option, index, kIconSide);
    state.size = index.data(KZSizeRole).toULongLong();
    state.itemsCount = index.data(KZItemsCountRole).toUInt();
    state.isDirectory = index.data(KZIsDirectoryRole).toBool();
    state.isInvisible = index.data(KZIsInvisibleRole).toBool();
    state.writeSize = m_writeSize;
    return state;
}

KZCellState KZImageAndTextCell::cellState() const
{
    KZCellState state = KZTextFieldCell::cellState();
    state.image = m_image;
    state.size = m_size;
    state.itemsCount = m_itemsCount;
    state.isDirectory = m_isDirectory;
    state.isInvisible = m_isInvisible;
    state.writeSize = m_writeSize;
    return state;
}

QString KZImageAndTextCell::sizeLine(const KZCellState &state)
{
    if (state.isInvisible)
        return KZLocalizedString(QStringLiteral("Trash_empty"));
    if (state.size == 0 && state.isDirectory)
        return QStringLiteral("-");
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    return KZLocalizedFormat(state.itemsCount == 1 ? QStringLiteral("item_size")
                                                   : QStringLiteral("items_size"),
                             {numbers.numberToFormatString(double(state.itemsCount)),
                              numbers.sizeToFormatString(state.size, 4, true)});
}

void KZImageAndTextCell::drawWithFrame(QPainter *painter, const QRectF &cellFrame) const
{
    const KZAttributedString title = drawWithState(painter, cellFrame, cellState());
    if (!title.isEmpty())
        m_attributedTitle = title;
}

KZAttributedString KZImageAndTextCell::drawWithState(QPainter *painter, const QRectF &cellFrame,
                                                     const KZCellState &state) const
{
    if (state.title.isEmpty())
        return {};
    KZAttributedStringUtilities &strings = KZAttributedStringUtilities::sharedControl();
    QRectF textFrame = cellFrame;
    if (!state.image.isNull()) {
        const qreal stripWidth = kIconSide + 3;
        QRectF imageFrame(cellFrame.x(), cellFrame.y() + (cellFrame.height() - kIconSide) / 2,
                          kIconSide, kIconSide);
        // The icon sits 4 points in and is squeezed to 32 points wide: the row's established
        // look, kept as it is.
        imageFrame.adjust(4, 0, 0, 0);
        drawImage(painter, state.image, imageFrame, state.isInvisible ? 0.5 : 1.0);
        textFrame.setLeft(cellFrame.left() + stripWidth + 4);
    }

    const KZAttributedString title
        = strings.attributedStringWithString(state.title, 13, titleColor(state), false,
                                             Qt::AlignLeft, textFrame.width(), Qt::ElideRight);
    title.drawInRect(painter, textFrame.adjusted(0, 4, 0, 0));

    if (!state.writeSize)
        return title;
    drawSecondLine(painter, sizeLine(state), textFrame, state);
    return title;
}

std::unique_ptr<KZTextFieldCell> KZImageAndTextCell::copy() const
{
    auto cell = std::make_unique<KZImageAndTextCell>();
    copyStateTo(*cell);
    cell->m_image = m_image;
    cell->m_attributedTitle = m_attributedTitle;
    cell->m_size = m_size;
    cell->m_itemsCount = m_itemsCount;
    cell->m_writeSize = m_writeSize;
    cell->m_isDirectory = m_isDirectory;
    cell->m_isInvisible = m_isInvisible;
    return cell;
}

QSize KZImageAndTextCell::sizeHint(const QStyleOptionViewItem &option,
                                   const QModelIndex &index) const
{
    Q_UNUSED(option)
    const QSizeF title = KZAttributedStringUtilities::sharedControl().sizeOfString(
        index.data(Qt::DisplayRole).toString(), KZAttributedStringUtilities::systemFontOfSize(13));
    return QSize(qCeil(title.width() + kIconSide + 3 + 4 + 4), 44);
}

bool KZImageAndTextCell::helpEvent(QHelpEvent *event, QAbstractItemView *view,
                                   const QStyleOptionViewItem &option, const QModelIndex &index)
{
    if (!event || event->type() != QEvent::ToolTip)
        return KZTextFieldCell::helpEvent(event, view, option, index);
    // Measured in the desktop's control font, as a plain label of the title would need.
    const QString title = index.data(Qt::DisplayRole).toString();
    const qreal width = KZAttributedStringUtilities::sharedControl()
                            .sizeOfString(title, QApplication::font())
                            .width();
    if (!title.isEmpty() && width > option.rect.width())
        QToolTip::showText(event->globalPos(), title, view, option.rect);
    else
        QToolTip::hideText();
    return true;
}
