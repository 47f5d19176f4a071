#include "KZWebPromo.h"

#include "KZWebPromoView.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZNotificationCenter.h"

#include <QDesktopServices>
#include <QEvent>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>
#include <QScreen>
#include <QVBoxLayout>
#include <QWidget>
#include <QXmlStreamReader>

#include <cmath>

Q_LOGGING_CATEGORY(lcWebPromo, "binwise.webpromo")

namespace {

int statusOf(const QNetworkReply *reply)
{
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// One value of a property list: strings, numbers and booleans; containers are skipped.
QVariant plistValue(QXmlStreamReader &reader)
{
    const QStringView name = reader.name();
    if (name == QLatin1String("true") || name == QLatin1String("false")) {
        const bool value = name == QLatin1String("true");
        reader.skipCurrentElement();
        return value;
    }
    if (name == QLatin1String("string"))
        return reader.readElementText();
    if (name == QLatin1String("integer"))
        return reader.readElementText().trimmed().toLongLong();
    if (name == QLatin1String("real"))
        return reader.readElementText().trimmed().toDouble();
    reader.skipCurrentElement();
    return {};
}

} // namespace

KZWebPromo &KZWebPromo::sharedControl()
{
    static KZWebPromo *shared = new KZWebPromo(buildHost());
    return *shared;
}

QString KZWebPromo::buildHost()
{
    return QStringLiteral(BINWISE_PROMO_HOST);
}

KZWebPromo::KZWebPromo(const QString &host, QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_network(new QNetworkAccessManager(this))
{
    // Nothing of a visit is kept: no cookies between launches, no cache.
    m_network->setCookieJar(nullptr);
}

KZWebPromo::~KZWebPromo()
{
    delete m_window;
}

QString KZWebPromo::pathWithOption(bool upgrade, const QString &file) const
{
    if (m_host.isEmpty())
        return {};
    QString host = m_host;
    while (host.endsWith(QLatin1Char('/')))
        host.chop(1);
    return QStringLiteral("%1/%2/%3/%4/%5")
        .arg(host, upgrade ? QStringLiteral("upgrade") : QStringLiteral("promos"), kProduct,
             KZLocalizedString(QStringLiteral("language")), file);
}

QString KZWebPromo::promoPathWithOption(bool upgrade) const
{
    return pathWithOption(upgrade, QStringLiteral("info_page.html"));
}

QString KZWebPromo::settingsPathWithOption(bool upgrade) const
{
    return pathWithOption(upgrade, QStringLiteral("settings.xml"));
}

QVariantMap KZWebPromo::settingDictionaryFromData(const QByteArray &data)
{
    QXmlStreamReader reader(data);
    // The first dict is the list's root; a file without one holds no settings.
    while (!reader.atEnd() && !(reader.isStartElement() && reader.name() == QLatin1String("dict")))
        reader.readNext();
    if (reader.atEnd() || reader.hasError())
        return {};
    QVariantMap settings;
    QString key;
    while (reader.readNextStartElement()) {
        if (reader.name() == QLatin1String("key")) {
            key = reader.readElementText();
            continue;
        }
        const QVariant value = plistValue(reader);
        if (!key.isEmpty() && value.isValid())
            settings.insert(key, value);
        key.clear();
    }
    if (reader.hasError())
        return {};
    return settings;
}

QSize KZWebPromo::windowSizeForSettings(const QVariantMap &settings)
{
    static const QRegularExpression size(QStringLiteral(
        "^\\s*\\{\\s*([0-9]+(?:\\.[0-9]*)?)\\s*,\\s*([0-9]+(?:\\.[0-9]*)?)\\s*\\}\\s*$"));
    const QRegularExpressionMatch match = size.match(settings.value(kWindowSizeKey).toString());
    if (!match.hasMatch())
        return kDefaultWindowSize;
    const int width = int(std::lround(match.captured(1).toDouble()));
    const int height = int(std::lround(match.captured(2).toDouble()));
    // A zero size would make a window nobody can see: the default serves better.
    if (width <= 0 || height <= 0)
        return kDefaultWindowSize;
    return {width, height + kTitleBarHeight};
}

void KZWebPromo::makeWindow()
{
    if (m_window)
        return;
    m_window = new QWidget;
    m_window->setObjectName(QStringLiteral("webPromoWindow"));
    m_window->setWindowTitle(KZLocalizedString(QStringLiteral("web_promo_title")));
    auto *layout = new QVBoxLayout(m_window);
    layout->setContentsMargins(0, 0, 0, 0);
    m_webView = new KZWebPromoView(m_window);
    layout->addWidget(m_webView);
    connect(m_webView, &QTextBrowser::anchorClicked, this, &KZWebPromo::linkClicked);
    m_window->installEventFilter(this);
}

QNetworkReply *KZWebPromo::send(const QUrl &url, const QByteArray &method)
{
    const QNetworkRequest request = KZWebPromoView::requestForURL(url, m_timeoutMs);
    QNetworkReply *reply = method == "HEAD" ? m_network->head(request) : m_network->get(request);
    m_pending = reply;
    return reply;
}

void KZWebPromo::showInfoWebWindow()
{
    const QString path = promoPathWithOption(true);
    if (path.isEmpty())
        return;
    if (m_window && m_window->isVisible()) {
        m_window->raise();
        m_window->activateWindow();
        return;
    }
    // Asked again while the site has not answered yet: that answer will do.
    if (m_pending)
        return;
    m_pageURL = QUrl(path);
    QNetworkReply *reply = send(m_pageURL, "HEAD");
    connect(reply, &QNetworkReply::finished, this, [this, reply] { headFinished(reply); });
}

void KZWebPromo::headFinished(QNetworkReply *reply)
{
    reply->deleteLater();
    const int status = statusOf(reply);
    if (reply->error() != QNetworkReply::NoError && status == 0)
        qCDebug(lcWebPromo) << "no answer from" << m_pageURL.toString() << reply->errorString();
    Q_EMIT pageAnswered(status);
    // Only the page itself: not one that moved, nor an empty answer.
    if (status != 200) {
        m_pending = nullptr;
        return;
    }
    QNetworkReply *page = send(m_pageURL, "GET");
    connect(page, &QNetworkReply::finished, this, [this, page] { pageFinished(page); });
}

void KZWebPromo::pageFinished(QNetworkReply *reply)
{
    reply->deleteLater();
    if (statusOf(reply) != 200) {
        m_pending = nullptr;
        return;
    }
    makeWindow();
    m_webView->showPage(reply->readAll(),
                        reply->header(QNetworkRequest::ContentTypeHeader).toString(), m_pageURL);
    QNetworkReply *settings = send(QUrl(settingsPathWithOption(true)), "GET");
    connect(settings, &QNetworkReply::finished, this,
            [this, settings] { didFinishLoad(settings); });
}

void KZWebPromo::didFinishLoad(QNetworkReply *settingsReply)
{
    settingsReply->deleteLater();
    m_pending = nullptr;
    const QVariantMap settings = statusOf(settingsReply) == 200
                                     ? settingDictionaryFromData(settingsReply->readAll())
                                     : QVariantMap();
    const QString title = m_webView->documentTitle();
    if (!title.isEmpty())
        m_window->setWindowTitle(title);
    m_window->resize(windowSizeForSettings(settings));
    if (QScreen *screen = QGuiApplication::primaryScreen()) {
        QRect frame(QPoint(), m_window->size());
        frame.moveCenter(screen->availableGeometry().center());
        m_window->move(frame.topLeft());
    }
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    Q_EMIT windowShown();
}

void KZWebPromo::linkClicked(const QUrl &link)
{
    const QUrl url = urlWithUrl(m_pageURL.resolved(link));
    if (m_window)
        m_window->close();
    if (url.isValid())
        (void)QDesktopServices::openUrl(url);
}

bool KZWebPromo::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_window && event->type() == QEvent::Close)
        windowWillClose();
    return QObject::eventFilter(watched, event);
}

void KZWebPromo::windowWillClose()
{
    KZNotificationCenter::defaultCenter().postNotificationName(kWebPromoDidCloseNotification,
                                                               m_delegate);
}
