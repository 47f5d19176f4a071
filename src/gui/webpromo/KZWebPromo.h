#pragma once

#include "presentation/KZWebPromoFace.h"

#include <QObject>
#include <QPointer>
#include <QSize>
#include <QString>
#include <QUrl>
#include <QVariantMap>

class KZWebPromoView;
class QNetworkAccessManager;
class QNetworkReply;
class QWidget;

// The web promotion window: at launch, a small page from the web site (news, the offer of a
// newer edition), shown only if the site has it. A HEAD request asks first; only a 200 answer
// leads to the page being fetched and, once it has loaded, to the window, sized by the
// settings file beside the page. A link clicked in the page opens in the browser and closes
// the window. The web site is fixed when Binwise is built (BINWISE_PROMO_HOST); a build that
// names none never contacts a server. One for the process. Main thread.
class KZWebPromo : public QObject, public KZWebPromoFace
{
    Q_OBJECT

public:
    static constexpr int kTimeoutMs = 30000;
    // Added to the settings' height: room for the title bar.
    static constexpr int kTitleBarHeight = 20;
    static constexpr QSize kDefaultWindowSize{500, 340};
    static inline const QString kProduct = QStringLiteral("Binwise");
    static inline const QString kWindowSizeKey = QStringLiteral("window_size");

    // The process's instance, over the web site the build names.
    static KZWebPromo &sharedControl();
    // The web site the build names ("https://www.example.org"), or an empty string.
    [[nodiscard]] static QString buildHost();

    // host: the web site, with its scheme; empty for none.
    explicit KZWebPromo(const QString &host, QObject *parent = nullptr);
    ~KZWebPromo() override;

    // The page's address: host/kind/product/language/info_page.html, kind being "upgrade" or
    // "promos". Empty when there is no web site.
    [[nodiscard]] QString promoPathWithOption(bool upgrade) const;
    // The settings file beside the page, or an empty string.
    [[nodiscard]] QString settingsPathWithOption(bool upgrade) const;
    // The settings file's dictionary (an XML property list); empty when data holds none.
    [[nodiscard]] static QVariantMap settingDictionaryFromData(const QByteArray &data);
    // The window's size: "window_size" ("{w, h}") with the title bar's height added, or the
    // default when the settings give no usable size.
    [[nodiscard]] static QSize windowSizeForSettings(const QVariantMap &settings);
    // What a clicked link opens: the link itself.
    [[nodiscard]] QUrl urlWithUrl(const QUrl &url) const { return url; }

    void showInfoWebWindow() override;

    // How long each request may go without an answer (30 s by default).
    void setTimeoutMs(int timeoutMs) { m_timeoutMs = timeoutMs; }
    // The object "webPromoDidClose" is posted with: the application controller.
    void setApplicationDelegate(const QObject *delegate) { m_delegate = delegate; }

    // The window and its view once the window was first made; null before.
    [[nodiscard]] QWidget *window() const { return m_window; }
    [[nodiscard]] KZWebPromoView *webView() const { return m_webView; }

Q_SIGNALS:
    // The web site's answer to the HEAD request: its status, 0 when none came (no network, a
    // time-out).
    void pageAnswered(int statusCode);
    // The page has loaded and the window is up.
    void windowShown();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void makeWindow();
    [[nodiscard]] QString pathWithOption(bool upgrade, const QString &file) const;
    void headFinished(QNetworkReply *reply);
    void pageFinished(QNetworkReply *reply);
    void didFinishLoad(QNetworkReply *settingsReply);
    void linkClicked(const QUrl &link);
    void windowWillClose();
    QNetworkReply *send(const QUrl &url, const QByteArray &method);

    QString m_host;
    int m_timeoutMs = kTimeoutMs;
    const QObject *m_delegate = nullptr;
    QNetworkAccessManager *m_network;
    // The request under way (HEAD, the page, its settings); one chain at a time.
    QPointer<QNetworkReply> m_pending;
    QUrl m_pageURL;
    QPointer<QWidget> m_window;
    KZWebPromoView *m_webView = nullptr;
};
