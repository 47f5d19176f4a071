#include "model/KZIconTheme.h"
#include "KZTestIconTheme.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QPainter>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

namespace {

class IconTheme : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_themes.isValid()); }

    [[nodiscard]] KZIconTheme theme(const QString &name = QStringLiteral("KZTest")) const
    {
        return KZIconTheme(name, {m_themes.base()}, {m_themes.base() + QStringLiteral("/pix")});
    }

    KZTestIconTheme m_themes;
};

} // namespace

TEST_F(IconTheme, SizeChoicePrefersExactThenLargerThenLargest)
{
    const KZIconTheme kz = theme();
    const QStringList text{QStringLiteral("text-x-generic")};
    EXPECT_TRUE(kz.filePathForNames(text, 16).contains(QStringLiteral("/16x16/")));
    EXPECT_TRUE(kz.filePathForNames(text, 48).contains(QStringLiteral("/48x48/")));
    // 20 is nearer 16, but scaling down keeps the icon sharp.
    EXPECT_TRUE(kz.filePathForNames(text, 20).contains(QStringLiteral("/48x48/")));
    EXPECT_TRUE(kz.filePathForNames(text, 96).contains(QStringLiteral("/48x48/")));
    EXPECT_TRUE(kz.filePathForNames(text, 8).contains(QStringLiteral("/16x16/")));

    const QImage image = kz.imageForNames(text, 72);
    EXPECT_EQ(image.size(), QSize(72, 72));
    EXPECT_EQ(KZTestIconTheme::centre(image), KZTestIconTheme::kTextColor);
    EXPECT_TRUE(kz.imageForNames({QStringLiteral("no-such-icon")}, 32).isNull());
}

TEST_F(IconTheme, ThemesAreAskedInOrderBeforeNames)
{
    const KZIconTheme kz = theme();
    EXPECT_EQ(kz.themeChain(), QStringList({QStringLiteral("KZTest"), QStringLiteral("KZParent"),
                                            QStringLiteral("hicolor")}));
    // Found in the inherited theme when the theme itself lacks it.
    EXPECT_EQ(KZTestIconTheme::centre(kz.imageForNames({QStringLiteral("parent-only")}, 48)),
              KZTestIconTheme::kParentOnlyColor);
    // The theme's generic icon beats a particular one that only a parent theme has.
    EXPECT_EQ(KZTestIconTheme::centre(kz.imageForNames(
                  {QStringLiteral("parent-only"), QStringLiteral("text-x-generic")}, 48)),
              KZTestIconTheme::kTextColor);

    // hicolor closes the chain, then the unthemed pixmaps.
    m_themes.writeIcon(QStringLiteral("hicolor"), QStringLiteral("48x48/mimetypes"),
                       QStringLiteral("from-hicolor"), 48, Qt::red);
    QDir().mkpath(m_themes.base() + QStringLiteral("/pix"));
    QImage pixmap(20, 20, QImage::Format_ARGB32);
    pixmap.fill(Qt::green);
    pixmap.save(m_themes.base() + QStringLiteral("/pix/unthemed.png"));
    const KZIconTheme reread = theme();
    EXPECT_EQ(KZTestIconTheme::centre(reread.imageForNames({QStringLiteral("from-hicolor")}, 48)),
              QColor(Qt::red));
    EXPECT_EQ(KZTestIconTheme::centre(reread.imageForNames({QStringLiteral("unthemed")}, 32)),
              QColor(Qt::green));

    // Inheritance loops end.
    m_themes.writeTheme(QStringLiteral("LoopA"), {}, QStringLiteral("LoopB"));
    m_themes.writeTheme(QStringLiteral("LoopB"), {}, QStringLiteral("LoopA,KZTest"));
    EXPECT_EQ(
        theme(QStringLiteral("LoopA")).themeChain(),
        QStringList({QStringLiteral("LoopA"), QStringLiteral("LoopB"), QStringLiteral("KZTest"),
                     QStringLiteral("KZParent"), QStringLiteral("hicolor")}));
}

TEST_F(IconTheme, NoThemeNamedMeansTheDesktopDefault)
{
    m_themes.writeTheme(QStringLiteral("Adwaita"), {QStringLiteral("48x48/places:48:Fixed")});
    m_themes.writeIcon(QStringLiteral("Adwaita"), QStringLiteral("48x48/places"),
                       QStringLiteral("folder"), 48, Qt::darkCyan);
    for (const QString &name : {QString(), QStringLiteral("hicolor")}) {
        const KZIconTheme kz = theme(name);
        EXPECT_EQ(kz.themeChain().value(0), QStringLiteral("Adwaita"));
        EXPECT_EQ(KZTestIconTheme::centre(kz.imageForNames({QStringLiteral("folder")}, 48)),
                  QColor(Qt::darkCyan));
    }
}

TEST_F(IconTheme, ScalableIconsRenderAtTheSizeAsked)
{
    m_themes.writeTheme(QStringLiteral("Vector"),
                        {QStringLiteral("scalable/places:48:Scalable:16:256")});
    if (!QImageReader::supportedImageFormats().contains("svg"))
        GTEST_SKIP() << "no SVG image reader installed";
    QFile svg(m_themes.base() + QStringLiteral("/Vector/scalable/places/vector.svg"));
    ASSERT_TRUE(svg.open(QIODevice::WriteOnly));
    svg.write("<svg xmlns='http://www.w3.org/2000/svg' width='16' height='16'>"
              "<rect width='16' height='16' fill='#00ff00'/></svg>");
    svg.close();
    const QImage image
        = theme(QStringLiteral("Vector")).imageForNames({QStringLiteral("vector")}, 200);
    EXPECT_EQ(image.size(), QSize(200, 200));
    EXPECT_EQ(KZTestIconTheme::centre(image), QColor(Qt::green));
}

TEST_F(IconTheme, WorkerAskingFirstGetsTheDesktopThemeFromTheGuiThread)
{
    m_themes.use();
    std::shared_ptr<const KZIconTheme> seen;
    QImage image;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        seen = KZIconTheme::current();
        image = seen->imageForNames({QStringLiteral("folder")}, 48);
    }));
    worker->start();
    // The GUI thread keeps serving events while it waits, as an application does.
    ASSERT_TRUE(QTest::qWaitFor([&] { return worker->isFinished(); }, 10000));
    ASSERT_TRUE(seen);
    EXPECT_EQ(seen->themeChain().value(0), QStringLiteral("KZTest"));
    EXPECT_EQ(KZTestIconTheme::centre(image), KZTestIconTheme::kFolderColor);
    // Taken once, shared afterwards.
    EXPECT_EQ(KZIconTheme::current(), seen);
}
