#include "KZWebPromoView.h"

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
    setHtml(text);
}

QVariant KZWebPromoView::loadResource(int type, const QUrl &name)
{
    // A page from the web has no business showing the user's own files.
    if (name.isLocalFile() || name.scheme() == QLatin1String("qrc") || name.scheme().isEmpty())
        return {};
    return QTextBrowser::loadResource(type, name);
}
