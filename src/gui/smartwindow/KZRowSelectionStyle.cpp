#include "KZRowSelectionStyle.h"

#include <QStyleOption>

void KZRowSelectionStyle::drawPrimitive(PrimitiveElement element, const QStyleOption *option,
                                        QPainter *painter, const QWidget *widget) const
{
    if (element == PE_FrameFocusRect && option && option->state.testFlag(State_Item))
        return;
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}
