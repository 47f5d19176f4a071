#include "KZAttributedString.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QRectF>

KZAttributedString::KZAttributedString(const QString &text, const QFont &font, const QColor &color,
                                       Qt::Alignment alignment, Qt::TextElideMode elideMode)
    : m_text(text)
    , m_font(font)
    , m_color(color)
    , m_alignment(alignment)
    , m_elideMode(elideMode)
{}

void KZAttributedString::setImage(const QImage &image, const QSizeF &imageSize,
                                  qreal baselineOffset)
{
    m_image = image;
    m_imageSize = imageSize;
    m_baselineOffset = baselineOffset;
}

QSizeF KZAttributedString::size() const
{
    const QFontMetricsF metrics(m_font);
    QSizeF size(m_text.isEmpty() ? 0 : metrics.horizontalAdvance(m_text),
                m_text.isEmpty() && !m_image.isNull() ? 0 : metrics.height());
    if (!m_image.isNull()) {
        size.rwidth() += m_imageSize.width();
        size.rheight() = qMax(size.height(), m_imageSize.height());
    }
    return size;
}

void KZAttributedString::drawInRect(QPainter *painter, const QRectF &rect) const
{
    if (isEmpty() || rect.width() <= 0)
        return;
    const QFontMetricsF metrics(m_font);
    qreal imageWidth = 0;
    if (!m_image.isNull())
        imageWidth = qMin(m_imageSize.width(), rect.width());
    const qreal textSpace = rect.width() - imageWidth;
    const QString shown = m_elideMode == Qt::ElideNone
                              ? m_text
                              : metrics.elidedText(m_text, m_elideMode, textSpace);
    const qreal lineWidth = imageWidth + (shown.isEmpty() ? 0 : metrics.horizontalAdvance(shown));

    // The line is placed as a whole, so an inline image moves with its text.
    qreal x = rect.left();
    if (m_alignment & Qt::AlignRight)
        x = rect.right() - lineWidth;
    else if (m_alignment & Qt::AlignHCenter)
        x = rect.left() + (rect.width() - lineWidth) / 2;
    x = qMax(x, rect.left());

    painter->save();
    if (!m_image.isNull()) {
        const qreal baseline = rect.top() + metrics.ascent();
        const QRectF target(x, baseline - m_baselineOffset - m_imageSize.height(), imageWidth,
                            m_imageSize.height());
        painter->drawImage(target, m_image);
    }
    if (!shown.isEmpty()) {
        painter->setFont(m_font);
        if (m_color.isValid())
            painter->setPen(m_color);
        painter->drawText(QPointF(x + imageWidth, rect.top() + metrics.ascent()), shown);
    }
    painter->restore();
}

bool operator==(const KZAttributedString &a, const KZAttributedString &b)
{
    return a.m_text == b.m_text && a.m_font == b.m_font && a.m_color == b.m_color
           && a.m_alignment == b.m_alignment && a.m_elideMode == b.m_elideMode
           && a.m_image == b.m_image && a.m_imageSize == b.m_imageSize
           && a.m_baselineOffset == b.m_baselineOffset;
}
