#pragma once

#include <QString>

// What the application controller asks of the web promotion window's controller, one for the
// process. The Widgets controller implements it. Main thread.
class KZWebPromoFace
{
public:
    // Posted, with the application controller as object, when the window has closed.
    static inline const QString kWebPromoDidCloseNotification = QStringLiteral("webPromoDidClose");

    virtual ~KZWebPromoFace() = default;

    // Asks the web site for the page and shows it only if it is there; never shows anything
    // when the build names no web site.
    virtual void showInfoWebWindow() = 0;
};
