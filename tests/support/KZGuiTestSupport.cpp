#include "KZGuiTestSupport.h"

#include <QApplication>
#include <QDir>
#include <QPalette>
#include <QPixmap>
#include <QScreen>
#include <QStyle>
#include <QStyleFactory>
#include <QTest>
#include <QWidget>

void KZGuiTestSupport::applyPalette(bool dark)
{
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    QPalette palette;
    if (dark) {
        const QColor window(0x2d, 0x2d, 0x2d);
        const QColor base(0x1e, 0x1e, 0x1e);
        const QColor text(0xee, 0xee, 0xee);
        palette.setColor(QPalette::Window, window);
        palette.setColor(QPalette::WindowText, text);
        palette.setColor(QPalette::Base, base);
        palette.setColor(QPalette::AlternateBase, QColor(0x26, 0x26, 0x26));
        palette.setColor(QPalette::Text, text);
        palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3a));
        palette.setColor(QPalette::ButtonText, text);
        palette.setColor(QPalette::ToolTipBase, window);
        palette.setColor(QPalette::ToolTipText, text);
        palette.setColor(QPalette::Highlight, QColor(0x35, 0x84, 0xe4));
        palette.setColor(QPalette::HighlightedText, Qt::white);
        palette.setColor(QPalette::PlaceholderText, QColor(0x99, 0x99, 0x99));
        palette.setColor(QPalette::Light, QColor(0x50, 0x50, 0x50));
        palette.setColor(QPalette::Mid, QColor(0x40, 0x40, 0x40));
        palette.setColor(QPalette::Dark, QColor(0x18, 0x18, 0x18));
        palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x80, 0x80, 0x80));
        palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x80, 0x80, 0x80));
        palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x80, 0x80, 0x80));
    } else {
        palette = QApplication::style()->standardPalette();
        palette.setColor(QPalette::Highlight, QColor(0x35, 0x84, 0xe4));
        palette.setColor(QPalette::PlaceholderText, QColor(0x77, 0x77, 0x77));
    }
    QApplication::setPalette(palette);
}

int KZGuiTestSupport::scalePercent()
{
    const QByteArray factor = qgetenv("QT_SCALE_FACTOR");
    return factor.isEmpty() ? 100 : qRound(factor.toDouble() * 100);
}

QString KZGuiTestSupport::saveScreenshot(QWidget *widget, const QString &name, bool dark)
{
    const QString folder = QStringLiteral(BINWISE_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    const QString file = QStringLiteral("%1/%2-%3-%4.png")
                             .arg(folder, name)
                             .arg(scalePercent())
                             .arg(dark ? QStringLiteral("dark") : QStringLiteral("light"));
    QWidget *window = widget->window();
    QPixmap picture;
    // The X server's copy shows the frame and anything drawn on top (a popup, a tool tip).
    if (QScreen *screen = window->screen(); screen && window->isVisible())
        picture
            = screen->grabWindow(0, window->frameGeometry().x(), window->frameGeometry().y(),
                                 window->frameGeometry().width(), window->frameGeometry().height());
    if (picture.isNull())
        picture = widget->grab();
    picture.save(file);
    return file;
}

void KZGuiTestSupport::saveScreenshots(QWidget *widget, const QString &name)
{
    for (const bool dark : {false, true}) {
        applyPalette(dark);
        // Let the new style lay the window out and the X server draw it.
        QTest::qWait(150);
        saveScreenshot(widget, name, dark);
    }
    applyPalette(false);
    QTest::qWait(50);
}
