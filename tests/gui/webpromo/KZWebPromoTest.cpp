// The web promotion window against a web site the test runs on 127.0.0.1: the HEAD request and
// what each answer leads to, the page and its settings file, the time-out, and a link clicked
// with the mouse on a real X server. The browser is the test's own URL handler.
#include "gui/webpromo/KZWebPromo.h"
#include "KZAlertDriver.h"
#include "KZEraseTestSupport.h"
#include "KZGuiTestSupport.h"
#include "KZPromoTestServer.h"
#include "KZReadyStatusMenuFace.h"
#include "KZUrlRecorder.h"
#include "foundation/KZNotificationCenter.h"
#include "gui/webpromo/KZWebPromoView.h"
#include "presentation/KZBinwise.h"

#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>

#include <gtest/gtest.h>

#include <memory>

namespace {

const QByteArray kPagePath = "/upgrade/Binwise/en/info_page.html";
const QByteArray kSettingsPath = "/upgrade/Binwise/en/settings.xml";

const QByteArray kPage = R"(<html><head><title>News from Binwise</title></head>
<body><h2>Binwise 2 is here</h2>
<p>It measures every Trash twice as fast and shows what each one holds at a glance.</p>
<p><a href="offer.html">See what is new</a></p></body></html>)";

QByteArray settingsFile(const QByteArray &windowSize)
{
    return R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>show</key>
	<true/>
	<key>window_size</key>
	<string>)"
           + windowSize + R"(</string>
</dict>
</plist>
)";
}

KZPromoTestServer::Response answer(int status, const QByteArray &body = {},
                                   const QByteArray &contentType = "text/html; charset=utf-8")
{
    KZPromoTestServer::Response response;
    response.status = status;
    response.body = body;
    response.contentType = contentType;
    return response;
}

struct PromoFixture
{
    PromoFixture()
    {
        listening = server.listen();
        promo = std::make_unique<KZWebPromo>(server.host());
    }

    // Serves the page, and the settings file when windowSize is given.
    void servePage(const QByteArray &windowSize = {})
    {
        server.setResponse(kPagePath, answer(200, kPage));
        if (!windowSize.isEmpty())
            server.setResponse(kSettingsPath, answer(200, settingsFile(windowSize), "text/xml"));
    }

    bool waitForWindow()
    {
        QSignalSpy shown(promo.get(), &KZWebPromo::windowShown);
        promo->showInfoWebWindow();
        return shown.wait(10000) && QTest::qWaitForWindowExposed(promo->window());
    }

    QList<QByteArray> requested() const
    {
        QList<QByteArray> lines;
        for (const KZPromoTestServer::Request &request : server.requests())
            lines.append(request.method + ' ' + request.path);
        return lines;
    }

    KZPromoTestServer server;
    bool listening = false;
    std::unique_ptr<KZWebPromo> promo;
};

// Where the view shows the first link of its page, in its viewport.
QPoint linkPosition(KZWebPromoView *view)
{
    for (QTextBlock block = view->document()->begin(); block.isValid(); block = block.next()) {
        for (auto fragment = block.begin(); !fragment.atEnd(); ++fragment) {
            if (!fragment.fragment().charFormat().isAnchor())
                continue;
            QTextCursor cursor(view->document());
            cursor.setPosition(fragment.fragment().position() + fragment.fragment().length() / 2);
            return view->cursorRect(cursor).center();
        }
    }
    return {-1, -1};
}

} // namespace

TEST(WebPromo, AddressesComeFromTheSiteTheSettingsGiveTheSizeAndWithoutASiteThereIsNone)
{
    KZWebPromo promo(QStringLiteral("https://www.example.org/"));
    EXPECT_EQ(promo.promoPathWithOption(true),
              QStringLiteral("https://www.example.org/upgrade/Binwise/en/info_page.html"));
    EXPECT_EQ(promo.promoPathWithOption(false),
              QStringLiteral("https://www.example.org/promos/Binwise/en/info_page.html"));
    EXPECT_EQ(promo.settingsPathWithOption(true),
              QStringLiteral("https://www.example.org/upgrade/Binwise/en/settings.xml"));

    // No site: no address, so nothing is ever asked for.
    KZWebPromo none{QString()};
    EXPECT_TRUE(none.promoPathWithOption(true).isEmpty());
    none.showInfoWebWindow();
    EXPECT_EQ(none.window(), nullptr);

    const QVariantMap settings = KZWebPromo::settingDictionaryFromData(settingsFile("{600, 400}"));
    EXPECT_EQ(settings.value(QStringLiteral("window_size")).toString(),
              QStringLiteral("{600, 400}"));
    EXPECT_EQ(settings.value(QStringLiteral("show")), QVariant(true));
    // The title bar's 20 points are added to the height.
    EXPECT_EQ(KZWebPromo::windowSizeForSettings(settings), QSize(600, 420));
    EXPECT_EQ(KZWebPromo::windowSizeForSettings(
                  KZWebPromo::settingDictionaryFromData(settingsFile("{640.5,480}"))),
              QSize(641, 500));
    // Anything that gives no size: the default, without the title bar's share.
    for (const QByteArray &data :
         {settingsFile("{0, 0}"), settingsFile("600 x 400"), settingsFile(""),
          QByteArray("<html>not a list</html>"), QByteArray(), QByteArray("<plist><dict><key>")})
        EXPECT_EQ(KZWebPromo::windowSizeForSettings(KZWebPromo::settingDictionaryFromData(data)),
                  QSize(500, 340))
            << data.toStdString();
}

TEST(WebPromo, APageThatIsThereIsAskedForThenShownAtTheSizeOfItsSettingsOrTheDefault)
{
    PromoFixture f;
    ASSERT_TRUE(f.listening);
    f.servePage("{600, 400}");
    QSignalSpy answered(f.promo.get(), &KZWebPromo::pageAnswered);
    ASSERT_TRUE(f.waitForWindow());

    ASSERT_EQ(answered.count(), 1);
    EXPECT_EQ(answered.first().first().toInt(), 200);
    EXPECT_EQ(f.requested(),
              (QList<QByteArray>{"HEAD " + kPagePath, "GET " + kPagePath, "GET " + kSettingsPath}));
    for (const KZPromoTestServer::Request &request : f.server.requests())
        EXPECT_EQ(request.userAgent, QByteArray("Binwise_promo")) << request.path.toStdString();
    QWidget *window = f.promo->window();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->size(), QSize(600, 420));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("News from Binwise"));
    EXPECT_TRUE(f.promo->webView()->toPlainText().contains(QStringLiteral("Binwise 2 is here")));
    KZGuiTestSupport::saveScreenshots(window, QStringLiteral("web-promo"));

    // Asked for again while it is up: it comes forward, nothing is fetched again.
    f.promo->showInfoWebWindow();
    EXPECT_EQ(f.server.requests().size(), 3);
    window->close();

    // Without a settings file the window has the default size.
    PromoFixture bare;
    bare.servePage();
    ASSERT_TRUE(bare.waitForWindow());
    EXPECT_EQ(bare.requested().value(2), "GET " + kSettingsPath);
    EXPECT_EQ(bare.promo->window()->size(), QSize(500, 340));
    bare.promo->window()->close();
}

TEST(WebPromo, AnyAnswerButA200ShowsNoWindowAndFetchesNothingMore)
{
    for (const int status : {204, 301, 404}) {
        PromoFixture f;
        ASSERT_TRUE(f.listening);
        if (status != 404) {
            KZPromoTestServer::Response response = answer(status);
            // The page moved to where a page is: a moved page still counts as absent.
            if (status == 301)
                response.headers.append("Location: " + f.server.host().toLatin1() + "/elsewhere");
            f.server.setResponse(kPagePath, response);
        }
        f.server.setResponse("/elsewhere", answer(200, kPage));
        f.server.setResponse(kSettingsPath, answer(200, settingsFile("{600, 400}"), "text/xml"));
        QSignalSpy answered(f.promo.get(), &KZWebPromo::pageAnswered);
        QSignalSpy shown(f.promo.get(), &KZWebPromo::windowShown);
        f.promo->showInfoWebWindow();
        ASSERT_TRUE(answered.wait(10000)) << status;
        EXPECT_EQ(answered.first().first().toInt(), status);
        // Whatever follows a 200 is asked for as soon as the answer is in: nothing was.
        EXPECT_EQ(f.requested(), QList<QByteArray>{"HEAD " + kPagePath}) << status;
        EXPECT_EQ(f.promo->window(), nullptr) << status;
        EXPECT_EQ(shown.count(), 0) << status;
    }
}

TEST(WebPromo, ASiteThatNeverAnswersIsGivenUpAfterTheTimeOut)
{
    PromoFixture f;
    ASSERT_TRUE(f.listening);
    KZPromoTestServer::Response silent;
    silent.silent = true;
    f.server.setResponse(kPagePath, silent);
    f.promo->setTimeoutMs(400);
    QSignalSpy answered(f.promo.get(), &KZWebPromo::pageAnswered);
    f.promo->showInfoWebWindow();
    // While it waits, asking again starts nothing new.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !f.server.requests().isEmpty(); }, 5000));
    f.promo->showInfoWebWindow();
    // The site keeps silent: only the shortened time-out can end the wait this soon.
    ASSERT_TRUE(answered.wait(10000));
    EXPECT_EQ(answered.first().first().toInt(), 0);
    EXPECT_EQ(f.requested(), QList<QByteArray>{"HEAD " + kPagePath});
    EXPECT_EQ(f.promo->window(), nullptr);

    // Once given up, the next launch's ask goes out again.
    f.server.setResponse(kPagePath, answer(404));
    f.promo->showInfoWebWindow();
    ASSERT_TRUE(answered.wait(10000));
    EXPECT_EQ(answered.at(1).first().toInt(), 404);
}

TEST(WebPromo, AClickedLinkOpensInTheBrowserClosesTheWindowAndReleasesTheController)
{
    PromoFixture f;
    ASSERT_TRUE(f.listening);
    f.servePage("{480, 300}");
    KZEraseFixture erase;
    KZReadyStatusMenuFace face;
    KZBinwise::Environment environment;
    environment.engine = erase.engine.get();
    environment.userDefaults = &erase.defaults;
    environment.presenter = &erase.presenter;
    environment.webPromo = [&f] {
        return f.promo.get();
    };
    KZBinwise controller(&face, environment);
    f.promo->setApplicationDelegate(&controller);
    int closedForController = 0;
    KZNotificationCenter::defaultCenter().addObserver(
        QStringLiteral("webPromoDidClose"), &controller, &controller,
        [&](const KZNotification &) { ++closedForController; });
    KZUrlRecorder browser({QStringLiteral("http")});

    QSignalSpy shown(f.promo.get(), &KZWebPromo::windowShown);
    controller.showInfoWebWindow();
    EXPECT_EQ(controller.webPromo(), f.promo.get());
    ASSERT_TRUE(shown.wait(10000));
    QWidget *window = f.promo->window();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_EQ(window->size(), QSize(480, 320));

    KZWebPromoView *view = f.promo->webView();
    const QPoint link = linkPosition(view);
    ASSERT_TRUE(view->viewport()->rect().contains(link));
    QTest::mouseClick(view->viewport(), Qt::LeftButton, Qt::NoModifier, link);

    // The link, resolved against the page, goes to the browser; the page stays where it was.
    ASSERT_EQ(browser.urls().size(), 1);
    EXPECT_EQ(browser.urls().first(),
              QUrl(f.server.host() + QStringLiteral("/upgrade/Binwise/en/offer.html")));
    EXPECT_TRUE(view->toPlainText().contains(QStringLiteral("Binwise 2 is here")));
    EXPECT_EQ(f.server.requests().size(), 3);
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(closedForController, 1);
    EXPECT_EQ(controller.webPromo(), nullptr);

    // Shown and closed again, the controller hears of it again.
    controller.showInfoWebWindow();
    ASSERT_TRUE(shown.wait(10000));
    window->close();
    EXPECT_EQ(closedForController, 2);
    EXPECT_EQ(controller.webPromo(), nullptr);
}
