#include "KZTextFieldCell.h"

#include "KZAttributedStringUtilities.h"

#include <QApplication>
#include <QGuiApplication>
#include <QIcon>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QStyle>
#include <QWidget>
#include <QtMath>

KZTextFieldCell::KZTextFieldCell(QObject *parent)
    : QStyledItemDelegate(parent)
{}

QColor KZTextFieldCell::darkGrayColor()
{
    return QColor::fromRgbF(1.0f / 3, 1.0f / 3, 1.0f / 3);
}

QColor KZTextFieldCell::systemGreenColor()
{
    return QColor(40, 205, 65);
}

QColor KZTextFieldCell::titleColor(const KZCellState &state)
{
    return state.palette.color(state.colorGroup(), state.showsStrongHighlight()
                                                       ? QPalette::HighlightedText
                                                       : QPalette::Text);
}

QColor KZTextFieldCell::subTitleColor(const KZCellState &state)
{
    return state.palette.color(state.colorGroup(), state.showsStrongHighlight()
                                                       ? QPalette::HighlightedText
                                                       : QPalette::PlaceholderText);
}

QColor KZTextFieldCell::subTitleGreenColor(const KZCellState &state)
{
    static const QColor calibratedGreen = QColor::fromRgbF(0.1f, 0.421f, 0.1f, 1.0f);
    if (state.showsStrongHighlight())
        return systemGreenColor();
    // The deep green is for light lists; on a dark base it would all but vanish.
    const QColor base = state.palette.color(state.colorGroup(), QPalette::Base);
    return base.lightness() < 128 ? systemGreenColor() : calibratedGreen;
}

QRectF KZTextFieldCell::cellTextFrame(const QRectF &cellFrame,
                                      const KZAttributedString &withAttributedString, int alignment,
                                      bool flipped)
{
    const QSizeF size = KZAttributedStringUtilities::sharedControl().sizeOfString(
        withAttributedString.text(), withAttributedString.font());
    qreal x = 0;
    switch (alignment) {
    case CenterTextAlignment:
        x = cellFrame.x() + (cellFrame.width() - size.width()) / 2;
        break;
    case RightTextAlignment:
        x = qMax(cellFrame.x(), cellFrame.x() + cellFrame.width() - (size.width() + 1));
        break;
    case LeftTextAlignment:
        x = cellFrame.x();
        break;
    default:
        break;
    }
    const qreal offset = (cellFrame.height() - size.height()) / 2 - 1;
    if (flipped)
        return {x, cellFrame.y() + offset, cellFrame.width(), size.height()};
    // Bottom-up views keep the frame's x whatever the alignment; only the vertical rule holds.
    return {cellFrame.x(), cellFrame.y() - offset, cellFrame.width(), size.height()};
}

void KZTextFieldCell::drawWithFrame(QPainter *painter, const QRectF &cellFrame) const
{
    drawWithState(painter, cellFrame, cellState());
}

KZAttributedString KZTextFieldCell::drawWithState(QPainter *painter, const QRectF &cellFrame,
                                                  const KZCellState &state) const
{
    if (state.title.isEmpty())
        return {};
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            state.title, 12, titleColor(state), false, Qt::AlignLeft, cellFrame.width(),
            Qt::ElideRight);
    line.drawInRect(painter, cellTextFrame(cellFrame, line, LeftTextAlignment, state.flipped));
    return line;
}

std::unique_ptr<KZTextFieldCell> KZTextFieldCell::copy() const
{
    auto cell = std::make_unique<KZTextFieldCell>();
    copyStateTo(*cell);
    return cell;
}

void KZTextFieldCell::copyStateTo(KZTextFieldCell &copy) const
{
    copy.m_windowIsActive = m_windowIsActive;
    copy.m_listIsActive = m_listIsActive;
    copy.m_highlighted = m_highlighted;
    copy.m_title = m_title;
    copy.m_selectionHighlightStyle = m_selectionHighlightStyle;
    copy.m_flipped = m_flipped;
}

KZCellState KZTextFieldCell::cellState() const
{
    KZCellState state;
    state.title = m_title;
    state.highlighted = m_highlighted;
    state.windowIsActive = m_windowIsActive;
    state.listIsActive = m_listIsActive;
    state.selectionHighlightStyle = m_selectionHighlightStyle;
    state.flipped = m_flipped;
    state.palette = QGuiApplication::palette();
    return state;
}

KZCellState KZTextFieldCell::stateForRow(const QStyleOptionViewItem &option,
                                         const QModelIndex &index) const
{
    KZCellState state;
    state.highlighted = option.state.testFlag(QStyle::State_Selected);
    state.windowIsActive = option.state.testFlag(QStyle::State_Active);
    state.enabled = option.state.testFlag(QStyle::State_Enabled);
    // Without a view (a row drawn for a picture) the cell's own setting stands in.
    state.listIsActive = option.widget ? option.widget->hasFocus() : m_listIsActive;
    state.selectionHighlightStyle = m_selectionHighlightStyle;
    state.flipped = m_flipped;
    state.palette = option.palette;
    const QVariant display = index.data(Qt::DisplayRole);
    state.title = display.canConvert<QString>() ? display.toString() : QString();
    return state;
}

void KZTextFieldCell::paint(QPainter *painter, const QStyleOptionViewItem &option,
                            const QModelIndex &index) const
{
    const KZCellState state = stateForRow(option, index);

    // The style draws the row's background and selection; the cell draws everything else.
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    background.icon = QIcon();
    background.features
        &= ~(QStyleOptionViewItem::HasDisplay | QStyleOptionViewItem::HasDecoration);
    // The cell draws its own text and icon, so a selection covers all of it, not just where
    // the style would have put the text.
    background.showDecorationSelected = true;
    if (state.highlighted && !state.showsStrongHighlight()) {
        // Plain text is the rule for a selection in a list without the focus; Qt styles keep
        // the strong highlight there, so the selection is toned down to stay readable.
        const QColor base = option.palette.color(state.colorGroup(), QPalette::Base);
        const QColor highlight = option.palette.color(state.colorGroup(), QPalette::Highlight);
        const QColor muted = QColor::fromRgbF(base.redF() * 0.75f + highlight.redF() * 0.25f,
                                              base.greenF() * 0.75f + highlight.greenF() * 0.25f,
                                              base.blueF() * 0.75f + highlight.blueF() * 0.25f);
        background.palette.setColor(QPalette::Active, QPalette::Highlight, muted);
        background.palette.setColor(QPalette::Inactive, QPalette::Highlight, muted);
    }
    const QWidget *widget = option.widget;
    QStyle *style = widget ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &background, painter, widget);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->setClipRect(option.rect, Qt::IntersectClip);
    drawWithState(painter, QRectF(option.rect), state);
    painter->restore();
}

QSize KZTextFieldCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    Q_UNUSED(option)
    const QString text = index.data(Qt::DisplayRole).toString();
    const QSizeF size = KZAttributedStringUtilities::sharedControl().sizeOfString(
        text, KZAttributedStringUtilities::systemFontOfSize(12));
    return QSize(qCeil(size.width()) + 12, qCeil(size.height()) + 6);
}

QPixmap KZTextFieldCell::pixmapFromDecoration(const QStyleOptionViewItem &option,
                                              const QModelIndex &index, qreal side)
{
    const QVariant decoration = index.data(Qt::DecorationRole);
    if (decoration.typeId() == QMetaType::QImage) {
        const QImage image = decoration.value<QImage>();
        if (image.isNull())
            return {};
        // The image's cache key stays with every copy of the same data, so a row redrawn a
        // hundred times converts its icon once.
        const QString key = QStringLiteral("kzcell-%1").arg(image.cacheKey());
        QPixmap pixmap;
        if (!QPixmapCache::find(key, &pixmap)) {
            pixmap = QPixmap::fromImage(image);
            QPixmapCache::insert(key, pixmap);
        }
        return pixmap;
    }
    if (decoration.typeId() == QMetaType::QPixmap)
        return decoration.value<QPixmap>();
    if (decoration.typeId() == QMetaType::QIcon) {
        const QIcon icon = decoration.value<QIcon>();
        const qreal ratio
            = option.widget ? option.widget->devicePixelRatioF() : qGuiApp->devicePixelRatio();
        return icon.isNull() ? QPixmap() : icon.pixmap(QSizeF(side, side).toSize(), ratio);
    }
    return {};
}

void KZTextFieldCell::drawSecondLine(QPainter *painter, const QString &text,
                                     const QRectF &textFrame, const KZCellState &state)
{
    const KZAttributedString line
        = KZAttributedStringUtilities::sharedControl().attributedStringWithString(
            text, 11, subTitleColor(state), false, Qt::AlignLeft, textFrame.width() - 2,
            Qt::ElideRight);
    const QRectF lineFrame = textFrame.adjusted(0, 18, -2, 0);
    line.drawInRect(painter, cellTextFrame(lineFrame, line, LeftTextAlignment, state.flipped));
}

void KZTextFieldCell::drawImage(QPainter *painter, const QPixmap &pixmap, const QRectF &target,
                                qreal opacity)
{
    painter->save();
    painter->setOpacity(painter->opacity() * opacity);
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawPixmap(target, pixmap, QRectF(pixmap.rect()));
    painter->restore();
}
