#pragma once

#include <QByteArray>
#include <QTextBrowser>

class QNetworkRequest;

// The web promotion's page view: shows a page as it came from the web site, never follows a
// link itself (a click is announced with anchorClicked), keeps no history and reads nothing
// from the user's disk for the page. Its requests carry the promotion's own user agent and
// never come from a cache. Main thread.
class KZWebPromoView : public QTextBrowser
{
    Q_OBJECT

public:
    static inline const QByteArray kUserAgent = QByteArrayLiteral("Binwise_promo");

    explicit KZWebPromoView(QWidget *parent = nullptr);

    // A request for url that bypasses every cache, gives up after timeoutMs without an answer
    // and follows no redirect (a page that moved counts as absent).
    [[nodiscard]] static QNetworkRequest requestForURL(const QUrl &url, int timeoutMs);

    // Shows html, decoded by its contentType header (else by its own meta tag, else as UTF-8);
    // relative links resolve against base.
    void showPage(const QByteArray &html, const QString &contentType, const QUrl &base);

protected:
    QVariant loadResource(int type, const QUrl &name) override;
    void changeEvent(QEvent *event) override;

private:
    void keepLinksReadable();

    QString m_html;
};
