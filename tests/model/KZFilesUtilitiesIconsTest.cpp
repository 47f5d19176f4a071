#include "KZTestIconTheme.h"
#include "KZTestMessages.h"
#include "KZTestMount.h"
#include "KZTestTrash.h"
#include "model/KZFilesUtilities.h"
#include "model/KZIconTheme.h"

#include <QBuffer>
#include <QFile>
#include <QPainter>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr auto centre = &KZTestIconTheme::centre;

// The centre colour of the icon the desktop shows for the item at path.
QColor iconColour(const QByteArray &path, int side = 16)
{
    return centre(KZFilesUtilities::iconOfItem(path, {}, QSize(side, side)));
}

class ItemIcons : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_themes.isValid());
        m_themes.use();
    }
    [[nodiscard]] QByteArray path(const QByteArray &name) const
    {
        return QFile::encodeName(m_themes.scratch()) + '/' + name;
    }
    // A file of the scratch folder made with contents, or a folder when contents is null.
    QByteArray make(const QByteArray &name, const QByteArray &contents = "text\n")
    {
        const bool made = contents.isNull() ? ::mkdir(path(name).constData(), 0755) == 0
                                            : KZTestFiles::writeFile(path(name), contents);
        EXPECT_TRUE(made) << name.constData();
        return path(name);
    }
    QByteArray pngFile(const QByteArray &name, const QColor &colour, const QSize &size)
    {
        QImage image(size, QImage::Format_ARGB32);
        image.fill(colour);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        image.save(&buffer, "PNG");
        return make(name, bytes);
    }

    KZTestIconTheme m_themes;
};

} // namespace

TEST_F(ItemIcons, TypeFolderAndDriveIconsByPathOrUrl)
{
    const QByteArray text = make("notes.txt");
    const QSize small(16, 16);
    EXPECT_TRUE(KZFilesUtilities::iconOfItem({}, {}, small).isNull());
    EXPECT_TRUE(KZFilesUtilities::iconOfItem(text + ".gone", {}, small).isNull());
    const QImage byPath = KZFilesUtilities::iconOfItem(text, {}, small);
    EXPECT_EQ(centre(byPath), KZTestIconTheme::kTextColor);
    EXPECT_EQ(byPath, KZFilesUtilities::iconOfItem({}, KZPath::urlFromPath(text), small));
    // The URL wins over the path.
    EXPECT_TRUE(
        KZFilesUtilities::iconOfItem(text, KZPath::urlFromPath(text + ".gone"), small).isNull());
    // Logical size as asked, with pixels enough for a 36-point row.
    EXPECT_EQ(byPath.deviceIndependentSize(), QSizeF(16, 16));
    EXPECT_GE(byPath.width(), 36);
    EXPECT_EQ(KZFilesUtilities::iconOfItem(text, {}, QSize(42, 21)).deviceIndependentSize(),
              QSizeF(42, 21));
    EXPECT_EQ(iconColour(make("plain", {})), KZTestIconTheme::kFolderColor);
    EXPECT_EQ(iconColour(make("caf\xe9.txt")), KZTestIconTheme::kTextColor);

    QString whyNot;
    const auto mount = KZTestMount::tmpfs(path("volume"), &whyNot, 1);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    EXPECT_EQ(iconColour(path("volume"), 42), KZTestIconTheme::kDriveColor);
    // Its folders are plain folders again.
    EXPECT_EQ(iconColour(make("volume/inner", {}), 42), KZTestIconTheme::kFolderColor);
}

TEST_F(ItemIcons, CustomIconsWinButHostileSettingsAreNeitherOpenedNorFollowed)
{
    const QByteArray red = pngFile("red.png", Qt::red, QSize(64, 64));
    make("by-path", {});
    make("by-path/.directory", "[Desktop Entry]\nIcon=" + red + "\n");
    EXPECT_EQ(iconColour(path("by-path")), QColor(Qt::red));
    make("by-name", {});
    make("by-name/.directory", "# made by a file manager\n[Other]\nIcon=folder\n"
                               "[Desktop Entry]\nIcon = folder-custom.png\n");
    EXPECT_EQ(iconColour(path("by-name")), KZTestIconTheme::kNamedCustomColor);
    const QByteArray launcher
        = make("editor.desktop", "[Desktop Entry]\nType=Application\nIcon=folder-custom\n");
    EXPECT_EQ(iconColour(launcher), KZTestIconTheme::kNamedCustomColor);
    // A custom icon that cannot be had falls back to the kind icon.
    make("broken", {});
    make("broken/.directory", "[Desktop Entry]\nIcon=/nonexistent/icon.png\n");
    EXPECT_EQ(iconColour(path("broken")), KZTestIconTheme::kFolderColor);

    // A FIFO as the settings file, settings linked from elsewhere, and a FIFO as the item:
    // each would block or leave the Trash if it were opened naively.
    ASSERT_EQ(::mkfifo((make("fifo-settings", {}) + "/.directory").constData(), 0644), 0);
    EXPECT_EQ(iconColour(path("fifo-settings")), KZTestIconTheme::kFolderColor);
    const QByteArray outside = make("outside.directory", "[Desktop Entry]\nIcon=" + red + "\n");
    ASSERT_EQ(::symlink(outside.constData(), (make("linked", {}) + "/.directory").constData()), 0);
    EXPECT_EQ(iconColour(path("linked")), KZTestIconTheme::kFolderColor);
    ASSERT_EQ(::mkfifo(path("pipe.png").constData(), 0644), 0);
    EXPECT_FALSE(KZFilesUtilities::iconOfItem(path("pipe.png"), {}, QSize(16, 16)).isNull());
    EXPECT_TRUE(KZFilesUtilities::imageWithPath(path("pipe.png"), QSize(16, 16)).isNull());
}

TEST_F(ItemIcons, ItemImagesAndGhostsTakeTheSizeAsked)
{
    const QByteArray text = make("readme.txt");
    for (const auto &[asked, given] :
         {std::pair(QSize(0, 64), QSizeF(32, 32)), std::pair(QSize(24, 24), QSizeF(24, 24))})
        EXPECT_EQ(KZFilesUtilities::iconForItemPath(text, asked).deviceIndependentSize(), given);
    // Unlike iconOfItem, a missing file still gets the icon of its name's type.
    EXPECT_EQ(centre(KZFilesUtilities::iconForItemPath(text + ".gone.txt", QSize(16, 16))),
              KZTestIconTheme::kTextColor);

    EXPECT_EQ(KZFilesUtilities::imageWithPath(text, QSize(32, 32)).size(), QSize(0, 0));
    const QByteArray photo = pngFile("ph\xf6to.png", Qt::blue, QSize(40, 20));
    const QImage stretched = KZFilesUtilities::imageWithPath(photo, QSize(30, 30));
    EXPECT_EQ(stretched.deviceIndependentSize(), QSizeF(30, 30));
    EXPECT_EQ(centre(stretched), QColor(Qt::blue));
    EXPECT_EQ(KZFilesUtilities::imageWithPath(photo, QSize()).size(), QSize(40, 20));

    // A ghost is the icon at half opacity at the origin; a larger icon is cut, not shrunk.
    QImage icon(48, 48, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::blue);
    QPainter(&icon).fillRect(0, 0, 16, 16, QColor(200, 0, 0));
    const QImage ghost = KZFilesUtilities::ghostIconWithIcon(icon, QSize(32, 32));
    ASSERT_EQ(ghost.size(), QSize(32, 32));
    EXPECT_NEAR(ghost.pixelColor(12, 12).alpha(), 128, 2);
    EXPECT_NEAR(ghost.pixelColor(12, 12).red(), 200, 3);
    EXPECT_GT(ghost.pixelColor(31, 31).blue(), 200);
    const QImage small = KZFilesUtilities::ghostIconWithIcon(icon.copy(0, 0, 16, 16), {32, 32});
    EXPECT_EQ(small.pixelColor(24, 24).alpha(), 0);
}

TEST_F(ItemIcons, WorkerThreadsLoadIconsWithoutTouchingPixmaps)
{
    const QByteArray text = make("worker.txt");
    const QByteArray dir = make("worker-folder", {});
    const QImage onGui = KZFilesUtilities::iconOfItem(text, {}, QSize(16, 16));

    KZTestMessages messages;
    KZIconTheme::themeChanged(); // the worker asks first
    QImage onWorker;
    QImage folderOnWorker;
    std::shared_ptr<const KZIconTheme> seen;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        seen = KZIconTheme::current();
        onWorker = KZFilesUtilities::iconOfItem(text, {}, QSize(16, 16));
        folderOnWorker = KZFilesUtilities::iconOfItem(dir, {}, QSize(42, 42));
    }));
    worker->start();
    // The GUI thread keeps serving events while it waits, as an application does.
    ASSERT_TRUE(QTest::qWaitFor([&] { return worker->isFinished(); }, 10000));

    // The worker got the desktop's theme from the GUI thread, taken once and shared afterwards.
    EXPECT_EQ(KZIconTheme::current(), seen);
    EXPECT_EQ(onWorker, onGui);
    EXPECT_EQ(centre(folderOnWorker), KZTestIconTheme::kFolderColor);
    EXPECT_TRUE(messages.lines().filter(u"pixmap"_s, Qt::CaseInsensitive).isEmpty())
        << messages.lines().join(u'\n').toStdString();
}

TEST_F(ItemIcons, QtFileIconProviderWhenTheThemeHasNothing)
{
    m_themes.writeTheme(u"Bare"_s, {});
    m_themes.use(u"Bare"_s);
    const QImage icon = KZFilesUtilities::iconOfItem(make("bare.txt"), {}, QSize(32, 32));
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.deviceIndependentSize(), QSizeF(32, 32));
    EXPECT_NE(centre(icon), KZTestIconTheme::kTextColor);
}
