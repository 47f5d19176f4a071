#include "KZRowSelectionStyle.h"

#include <QStyleOption>

void KZRowSelectionStyle::drawPrimitive(PrimitiveElement element, const QStyleOption *option,
                                        QPainter *painter, const QWidget *widget) const
{
    if (element == PE_FrameFocusRect && option && option->state.testFlag(State_Item))
        return;
    if (element == PE_IndicatorItemViewItemCheck && option
        && option->palette.color(QPalette::Base).lightness() < 128) {
        // Fusion outlines a tick box in a shade of the window colour, which on a dark theme is
        // the shade of the list itself: an unticked box vanished. It is outlined as on a light
        // theme instead, which reads on any dark list.
        const QColor outlined(0xb8, 0xb8, 0xb8);
        if (const auto *item = qstyleoption_cast<const QStyleOptionViewItem *>(option)) {
            QStyleOptionViewItem lighter(*item);
            lighter.palette.setColor(QPalette::Window, outlined);
            QProxyStyle::drawPrimitive(element, &lighter, painter, widget);
        } else {
            QStyleOption lighter(*option);
            lighter.palette.setColor(QPalette::Window, outlined);
            QProxyStyle::drawPrimitive(element, &lighter, painter, widget);
        }
        return;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}
