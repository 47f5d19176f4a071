#include "KZWebPromoView.h"

#include <QEvent>
#include <QNetworkRequest>
#include <QRegularExpression>
#include <QStringDecoder>
#include <QTextDocument>

KZWebPromoView::KZWebPromoView(QWidget *parent)
    : QTextBrowser(parent)
{
    setObjectName(QStringLiteral("webView"));
    setOpenLinks(false);
    setOpenExternalLinks(false);
    setReadOnly(true);
    setFrameShape(QFrame::NoFrame);
    document()->setDocumentMargin(12);
    keepLinksReadable();
}

QNetworkRequest KZWebPromoView::requestForURL(const QUrl &url, int timeoutMs)
{
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader, kUserAgent);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(timeoutMs);
    return request;
}

void KZWebPromoView::showPage(const QByteArray &html, const QString &contentType, const QUrl &base)
{
    static const QRegularExpression charset(QStringLiteral("charset\\s*=\\s*\"?([^\";\\s]+)"),
                                            QRegularExpression::CaseInsensitiveOption);
    QStringDecoder decoder(charset.match(contentType).captured(1).toLatin1().constData());
    if (!decoder.isValid())
        decoder = QStringDecoder::decoderForHtml(html);
    const QString text
        = decoder.isValid() ? QString(decoder.decode(html)) : QString::fromUtf8(html);
    clearHistory();
    document()->setBaseUrl(base);
    m_html = text;
    setHtml(text);
}

QVariant KZWebPromoView::loadResource(int type, const QUrl &name)
{
    // A page from the web has no business showing the user's own files.
    if (name.isLocalFile() || name.scheme() == QLatin1String("qrc") || name.scheme().isEmpty())
        return {};
    return QTextBrowser::loadResource(type, name);
}

void KZWebPromoView::changeEvent(QEvent *event)
{
    QTextBrowser::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        keepLinksReadable();
}

void KZWebPromoView::keepLinksReadable()
{
    // Links take their colour when the page is read, so a new palette means reading it again.
    // Themes that leave the link colour at its default dark blue make links vanish on a dark
    // page; the selection colour is made to be seen there.
    const auto luma = [](const QColor &color) {
        // Brightness as the eye weighs it: a pure blue is dark, whatever its HSL lightness.
        return 0.2126 * color.redF() + 0.7152 * color.greenF() + 0.0722 * color.blueF();
    };
    const QPalette colours = palette();
    QColor link = colours.color(QPalette::Link);
    if (qAbs(luma(link) - luma(colours.color(QPalette::Base))) < 0.3)
        link = colours.color(QPalette::Highlight);
    const QString sheet = QStringLiteral("a { color: %1; }").arg(link.name());
    if (document()->defaultStyleSheet() == sheet)
        return;
    document()->setDefaultStyleSheet(sheet);
    if (!m_html.isEmpty())
        setHtml(m_html);
}
