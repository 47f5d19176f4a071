#include "KZAttributedStringUtilities.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImage>
#include <QPalette>
#include <QThread>

KZAttributedStringUtilities &KZAttributedStringUtilities::sharedControl()
{
    static KZAttributedStringUtilities instance;
    return instance;
}

QFont KZAttributedStringUtilities::systemFontOfSize(qreal size, bool bold)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    // Pixel sizes must be whole; a fractional size keeps the nearest one.
    font.setPixelSize(qMax(1, qRound(size)));
    font.setBold(bold);
    return font;
}

KZAttributedString KZAttributedStringUtilities::attributedStringWithString(
    const QString &string, qreal ofSize, const QColor &textColor, bool bold,
    Qt::Alignment alignment, qreal toFitInSpace, Qt::TextElideMode truncWhere) const
{
    Q_UNUSED(toFitInSpace)
    return KZAttributedString(string, systemFontOfSize(ofSize, bold), textColor, alignment,
                              truncWhere);
}

KZAttributedString
KZAttributedStringUtilities::attributedStringWithString(const QString &string, bool isHighlighted,
                                                        qreal size, const QColor &color) const
{
    return KZAttributedString(
        string, systemFontOfSize(size),
        isHighlighted ? QGuiApplication::palette().color(QPalette::HighlightedText) : color,
        Qt::AlignLeft, Qt::ElideRight);
}

KZAttributedString KZAttributedStringUtilities::attributedStringWithString(
    const QString &string, qreal size, Qt::Alignment align, const QColor &color, bool bold,
    Qt::TextElideMode truncWhere) const
{
    return KZAttributedString(string, systemFontOfSize(size, bold), color, align, truncWhere);
}

KZAttributedString KZAttributedStringUtilities::attributedStringWithString(
    const QString &string, qreal size, Qt::Alignment align, const QColor &color, bool bold) const
{
    return attributedStringWithString(string, size, align, color, bold, Qt::ElideRight);
}

KZAttributedString
KZAttributedStringUtilities::attributedStringWithString(const QString &string,
                                                        const QImage &andImage) const
{
    const QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    // Lines with an image go into windows, not lists: the window's text colour.
    KZAttributedString line(string, font, QGuiApplication::palette().color(QPalette::WindowText));
    if (!andImage.isNull()) {
        // Centre the image on the text's x-height band, as an inline glyph would sit.
        const QFontMetricsF metrics(font);
        const QSizeF size = andImage.deviceIndependentSize();
        line.setImage(andImage, size, (metrics.xHeight() - size.height()) / 2);
    }
    return line;
}

KZAttributedString KZAttributedStringUtilities::attributedImageWithImage(const QImage &image,
                                                                         const QSizeF &imageSize,
                                                                         qreal baselineOffset) const
{
    KZAttributedString line(QString(), QFontDatabase::systemFont(QFontDatabase::GeneralFont),
                            QGuiApplication::palette().color(QPalette::WindowText));
    line.setImage(image, imageSize, baselineOffset);
    return line;
}

QSizeF KZAttributedStringUtilities::sizeOfString(const QString &string, const QFont &font) const
{
    const QFontMetricsF metrics(font);
    return {metrics.horizontalAdvance(string), metrics.height()};
}

QString KZAttributedStringUtilities::truncateString(const QString &string,
                                                    QFontDatabase::SystemFont ofFontID,
                                                    qreal toFitInSpace) const
{
    const QCoreApplication *app = QCoreApplication::instance();
    if (!qobject_cast<const QGuiApplication *>(app) || QThread::currentThread() != app->thread())
        return string;

    const QFontMetricsF metrics(QFontDatabase::systemFont(ofFontID));
    static const QString ellipsis(QChar(0x2026));
    QString result = string;
    qsizetype n = string.size();
    while (metrics.horizontalAdvance(result) > toFitInSpace && n > 0) {
        qsizetype cut = n;
        // Never split a surrogate pair: the half would draw as a replacement box.
        if (cut < string.size() && string.at(cut).isLowSurrogate())
            --cut;
        result = string.left(cut) + ellipsis;
        n = cut - 1;
    }
    return result;
}
