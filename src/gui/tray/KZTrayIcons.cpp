#include "KZTrayIcons.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QPixmap>

namespace {
QString resourceName(bool full, bool selected)
{
    return QStringLiteral(":/icons/menubar%1%2.svg")
        .arg(selected ? QStringLiteral("_selected") : QString(),
             full ? QStringLiteral("_full") : QString());
}
} // namespace

QIcon KZTrayIcons::statusIcon(bool full, bool selected, const QPalette &palette)
{
    QFile file(resourceName(full, selected));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    // The drawings use black for the strokes and white for what is cut out of a filled shape.
    const QColor ink = palette.color(QPalette::Active, QPalette::WindowText);
    const QColor paper = palette.color(QPalette::Active, QPalette::Window);
    svg.replace("#000000", ink.name().toLatin1());
    svg.replace("#ffffff", paper.name().toLatin1());

    QIcon icon;
    // Tray hosts ask for 16 to 24 pixels, more on scaled screens; the about box for 64.
    for (const int side : {16, 22, 24, 32, 44, 48, 64, 128}) {
        QBuffer buffer(&svg);
        buffer.open(QIODevice::ReadOnly);
        QImageReader reader(&buffer, "svg");
        reader.setScaledSize(QSize(side, side));
        const QImage image = reader.read();
        if (!image.isNull())
            icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

QIcon KZTrayIcons::applicationIcon(const QPalette &palette)
{
    QIcon bundled(QStringLiteral(":/appicon/org.binwise.Binwise.svg"));
    if (bundled.availableSizes().isEmpty() && bundled.pixmap(64, 64).isNull())
        bundled = statusIcon(true, false, palette);
    return QIcon::fromTheme(QStringLiteral("org.binwise.Binwise"), bundled);
}
