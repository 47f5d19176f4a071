#include "model/KZIconTheme.h"
#include "KZTestIconTheme.h"

#include <QDir>
#include <QFile>
#include <QImageReader>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto centre = &KZTestIconTheme::centre;

class IconTheme : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_themes.isValid()); }
    [[nodiscard]] KZIconTheme theme(const QString &name = u"KZTest"_s) const
    {
        return KZIconTheme(name, {m_themes.base()}, {m_themes.base() + u"/pix"_s});
    }

    KZTestIconTheme m_themes;
};

} // namespace

TEST_F(IconTheme, ThemesAreAskedInOrderBeforeNamesThenSizesChosen)
{
    m_themes.writeIcon(u"hicolor"_s, u"48x48/mimetypes"_s, u"from-hicolor"_s, 48, Qt::red);
    QDir().mkpath(m_themes.base() + u"/pix"_s);
    QImage pixmap(20, 20, QImage::Format_ARGB32);
    pixmap.fill(Qt::green);
    pixmap.save(m_themes.base() + u"/pix/unthemed.png"_s);
    const KZIconTheme kz = theme();
    EXPECT_EQ(kz.themeChain(), QStringList({u"KZTest"_s, u"KZParent"_s, u"hicolor"_s}));
    const auto colourOf = [&](const QStringList &names) {
        return centre(kz.imageForNames(names, 48));
    };
    // Found in the inherited theme when the theme itself lacks it; yet the theme's generic
    // icon beats a particular one that only a parent theme has.
    EXPECT_EQ(colourOf({u"parent-only"_s}), KZTestIconTheme::kParentOnlyColor);
    EXPECT_EQ(colourOf({u"parent-only"_s, u"text-x-generic"_s}), KZTestIconTheme::kTextColor);
    // hicolor closes the chain, then the unthemed pixmaps.
    EXPECT_EQ(colourOf({u"from-hicolor"_s}), QColor(Qt::red));
    EXPECT_EQ(colourOf({u"unthemed"_s}), QColor(Qt::green));

    // Sizes: exact, else the smallest larger (20 is nearer 16, but scaling down keeps the icon
    // sharp), else the largest; the image comes at the size asked.
    const QStringList text{u"text-x-generic"_s};
    for (const auto &[pixels, folder] : {std::pair(16, "/16x16/"), std::pair(20, "/48x48/"),
                                         std::pair(96, "/48x48/"), std::pair(8, "/16x16/")})
        EXPECT_TRUE(kz.filePathForNames(text, pixels).contains(QLatin1String(folder))) << pixels;
    EXPECT_EQ(kz.imageForNames(text, 72).size(), QSize(72, 72));
    EXPECT_TRUE(kz.imageForNames({u"no-such-icon"_s}, 32).isNull());

    // Inheritance loops end.
    m_themes.writeTheme(u"LoopA"_s, {}, u"LoopB"_s);
    m_themes.writeTheme(u"LoopB"_s, {}, u"LoopA,KZTest"_s);
    EXPECT_EQ(theme(u"LoopA"_s).themeChain(),
              QStringList({u"LoopA"_s, u"LoopB"_s, u"KZTest"_s, u"KZParent"_s, u"hicolor"_s}));
}

TEST_F(IconTheme, NoThemeNamedMeansTheDesktopDefaultAndScalableIconsRenderAtAnySize)
{
    m_themes.writeTheme(u"Adwaita"_s,
                        {u"48x48/places:48:Fixed"_s, u"scalable/places:48:Scalable:16:256"_s});
    m_themes.writeIcon(u"Adwaita"_s, u"48x48/places"_s, u"folder"_s, 48, Qt::darkCyan);
    for (const QString &name : {QString(), u"hicolor"_s}) {
        const KZIconTheme kz = theme(name);
        EXPECT_EQ(kz.themeChain().value(0), u"Adwaita"_s);
        EXPECT_EQ(centre(kz.imageForNames({u"folder"_s}, 48)), QColor(Qt::darkCyan));
    }
    if (!QImageReader::supportedImageFormats().contains("svg"))
        GTEST_SKIP() << "no SVG image reader installed";
    QFile svg(m_themes.base() + u"/Adwaita/scalable/places/vector.svg"_s);
    ASSERT_TRUE(svg.open(QIODevice::WriteOnly));
    svg.write("<svg xmlns='http://www.w3.org/2000/svg' width='16' height='16'>"
              "<rect width='16' height='16' fill='#00ff00'/></svg>");
    svg.close();
    const QImage image = theme(u"Adwaita"_s).imageForNames({u"vector"_s}, 200);
    EXPECT_EQ(image.size(), QSize(200, 200));
    EXPECT_EQ(centre(image), QColor(Qt::green));
}
