#pragma once

#include <QProxyStyle>

// The style of the smart-delete window's lists: the application's style without the focus
// frame around one cell (the lists select whole rows; a frame around the one cell clicked reads
// as a second, paler selection inside the row), and with tick boxes that stay visible on a dark
// list.
class KZRowSelectionStyle : public QProxyStyle
{
    Q_OBJECT

public:
    using QProxyStyle::QProxyStyle;

    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget = nullptr) const override;
};
