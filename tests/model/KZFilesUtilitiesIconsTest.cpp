#include "KZTestIconTheme.h"
#include "KZTestMount.h"
#include "KZTestTrash.h"
#include "model/KZFilesUtilities.h"
#include "model/KZIconTheme.h"

#include <QBuffer>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QMutex>
#include <QPainter>
#include <QSize>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

class ItemIcons : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_themes.isValid());
        m_themes.use();
    }

    // A file of the scratch folder, made with contents; answers its path bytes.
    QByteArray file(const QByteArray &name, const QByteArray &contents = "text\n")
    {
        const QByteArray path = QFile::encodeName(m_themes.scratch()) + '/' + name;
        EXPECT_TRUE(KZTestFiles::writeFile(path, contents)) << path.toStdString();
        return path;
    }
    QByteArray folder(const QByteArray &name)
    {
        const QByteArray path = QFile::encodeName(m_themes.scratch()) + '/' + name;
        EXPECT_EQ(::mkdir(path.constData(), 0755), 0);
        return path;
    }
    QByteArray pngFile(const QByteArray &name, const QColor &colour, const QSize &size)
    {
        QImage image(size, QImage::Format_ARGB32);
        image.fill(colour);
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
        return file(name, bytes);
    }

    KZTestIconTheme m_themes;
};

QColor centre(const QImage &image)
{
    return KZTestIconTheme::centre(image);
}

// The centre colour of the icon the desktop shows for the item at path.
QColor iconColour(const QByteArray &path, int side = 16)
{
    return centre(KZFilesUtilities::iconOfItem(path, {}, QSize(side, side)));
}

} // namespace

TEST_F(ItemIcons, IconOfItemFindsTheTypeIconByPathOrUrl)
{
    const QByteArray text = file("notes.txt");
    EXPECT_TRUE(KZFilesUtilities::iconOfItem({}, {}, QSize(16, 16)).isNull());
    EXPECT_TRUE(KZFilesUtilities::iconOfItem(text + ".gone", {}, QSize(16, 16)).isNull());

    const QImage byPath = KZFilesUtilities::iconOfItem(text, {}, QSize(16, 16));
    const QImage byUrl = KZFilesUtilities::iconOfItem({}, KZPath::urlFromPath(text), QSize(16, 16));
    EXPECT_EQ(centre(byPath), KZTestIconTheme::kTextColor);
    EXPECT_EQ(byPath, byUrl);
    // The URL wins over the path.
    EXPECT_TRUE(
        KZFilesUtilities::iconOfItem(text, KZPath::urlFromPath(text + ".gone"), QSize(16, 16))
            .isNull());

    // Logical size as asked, with pixels enough for a 36-point row.
    EXPECT_EQ(byPath.deviceIndependentSize(), QSizeF(16, 16));
    EXPECT_GE(byPath.width(), 36);
    const QImage wide = KZFilesUtilities::iconOfItem(text, {}, QSize(42, 21));
    EXPECT_EQ(wide.deviceIndependentSize(), QSizeF(42, 21));

    // Folders get the theme's folder through the directory type's generic name; a name that is
    // not UTF-8 is found by its bytes.
    EXPECT_EQ(iconColour(folder("plain")), KZTestIconTheme::kFolderColor);
    EXPECT_EQ(iconColour(file("caf\xe9.txt")), KZTestIconTheme::kTextColor);
}

TEST_F(ItemIcons, CustomIconsWinOverTheKindIcon)
{
    const QByteArray red = pngFile("red.png", Qt::red, QSize(64, 64));

    const QByteArray byPath = folder("by-path");
    file("by-path/.directory", "[Desktop Entry]\nIcon=" + red + "\n");
    EXPECT_EQ(iconColour(byPath), QColor(Qt::red));

    const QByteArray byName = folder("by-name");
    file("by-name/.directory", "# made by a file manager\n[Other]\nIcon=folder\n"
                               "[Desktop Entry]\nIcon = folder-custom.png\n");
    EXPECT_EQ(iconColour(byName), KZTestIconTheme::kNamedCustomColor);

    const QByteArray launcher
        = file("editor.desktop", "[Desktop Entry]\nType=Application\nIcon=folder-custom\n");
    EXPECT_EQ(iconColour(launcher), KZTestIconTheme::kNamedCustomColor);

    // A custom icon that cannot be had falls back to the kind icon.
    const QByteArray broken = folder("broken");
    file("broken/.directory", "[Desktop Entry]\nIcon=/nonexistent/icon.png\n");
    EXPECT_EQ(iconColour(broken), KZTestIconTheme::kFolderColor);
}

TEST_F(ItemIcons, HostileItemsNeitherHangNorAreFollowed)
{
    // A FIFO where the folder settings file should be, a link to one elsewhere, and a FIFO as
    // the item: each would block or leave the Trash if it were opened naively.
    const QByteArray fifoFolder = folder("fifo-settings");
    ASSERT_EQ(::mkfifo((fifoFolder + "/.directory").constData(), 0644), 0);
    EXPECT_EQ(iconColour(fifoFolder), KZTestIconTheme::kFolderColor);

    const QByteArray red = pngFile("outside.png", Qt::red, QSize(8, 8));
    const QByteArray outside = file("outside.directory", "[Desktop Entry]\nIcon=" + red + "\n");
    const QByteArray linked = folder("linked-settings");
    ASSERT_EQ(::symlink(outside.constData(), (linked + "/.directory").constData()), 0);
    EXPECT_EQ(iconColour(linked), KZTestIconTheme::kFolderColor);

    const QByteArray fifo = QFile::encodeName(m_themes.scratch()) + "/pipe.png";
    ASSERT_EQ(::mkfifo(fifo.constData(), 0644), 0);
    EXPECT_FALSE(KZFilesUtilities::iconOfItem(fifo, {}, QSize(16, 16)).isNull());
    EXPECT_TRUE(KZFilesUtilities::imageWithPath(fifo, QSize(16, 16)).isNull());
}

TEST_F(ItemIcons, IconForItemPathKeepsTheNaturalSizeForWidthZero)
{
    const QByteArray text = file("readme.txt");
    for (const auto &[asked, given] :
         {std::pair(QSize(0, 16), QSizeF(32, 32)), std::pair(QSize(0, 64), QSizeF(32, 32)),
          std::pair(QSize(24, 24), QSizeF(24, 24))})
        EXPECT_EQ(KZFilesUtilities::iconForItemPath(text, asked).deviceIndependentSize(), given);
    // Unlike iconOfItem, a missing file still gets the icon of its name's type.
    EXPECT_EQ(centre(KZFilesUtilities::iconForItemPath(text + ".txt.gone.txt", QSize(16, 16))),
              KZTestIconTheme::kTextColor);
}

TEST_F(ItemIcons, ImageWithPathReadsImagesAndAnswersEmptyForOthers)
{
    const QImage none = KZFilesUtilities::imageWithPath(file("plain.txt"), QSize(32, 32));
    EXPECT_TRUE(none.isNull());
    EXPECT_EQ(none.size(), QSize(0, 0));
    EXPECT_TRUE(KZFilesUtilities::imageWithPath(file("missing") + "x", QSize(32, 32)).isNull());

    const QByteArray photo = pngFile("ph\xf6to.png", Qt::blue, QSize(40, 20));
    const QImage stretched = KZFilesUtilities::imageWithPath(photo, QSize(30, 30));
    EXPECT_EQ(stretched.deviceIndependentSize(), QSizeF(30, 30));
    EXPECT_EQ(centre(stretched), QColor(Qt::blue));
    EXPECT_EQ(KZFilesUtilities::imageWithPath(photo, QSize()).size(), QSize(40, 20));
}

TEST_F(ItemIcons, GhostIconIsHalfTransparentAtTheOriginAndClipped)
{
    QImage icon(QSize(16, 16), QImage::Format_ARGB32_Premultiplied);
    icon.fill(QColor(200, 0, 0));
    const QImage ghost = KZFilesUtilities::ghostIconWithIcon(icon, QSize(32, 32));
    ASSERT_EQ(ghost.size(), QSize(32, 32));
    EXPECT_NEAR(ghost.pixelColor(8, 8).alpha(), 128, 2);
    EXPECT_NEAR(ghost.pixelColor(8, 8).red(), 200, 3);
    EXPECT_EQ(ghost.pixelColor(24, 24).alpha(), 0);
    EXPECT_EQ(ghost.pixelColor(24, 8).alpha(), 0);
    EXPECT_EQ(ghost.pixelColor(8, 24).alpha(), 0);

    // A larger icon is cut at the edge, not shrunk: its centre colour lies outside.
    QImage large(48, 48, QImage::Format_ARGB32_Premultiplied);
    large.fill(Qt::blue);
    QPainter(&large).fillRect(0, 0, 32, 32, Qt::green);
    const QImage clipped = KZFilesUtilities::ghostIconWithIcon(large, QSize(32, 32));
    ASSERT_EQ(clipped.size(), QSize(32, 32));
    EXPECT_GT(clipped.pixelColor(31, 31).green(), 200);
    EXPECT_EQ(clipped.pixelColor(31, 31).blue(), 0);
}

TEST_F(ItemIcons, WorkerThreadsLoadIconsWithoutTouchingPixmaps)
{
    const QByteArray text = file("worker.txt");
    const QByteArray dir = folder("worker-folder");
    const QImage onGui = KZFilesUtilities::iconOfItem(text, {}, QSize(16, 16));

    static QMutex messagesLock;
    static QStringList messages;
    const QtMessageHandler previous
        = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
              QMutexLocker locker(&messagesLock);
              messages << message;
          });
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
    const bool finished = QTest::qWaitFor([&] { return worker->isFinished(); }, 10000);
    qInstallMessageHandler(previous);
    ASSERT_TRUE(finished);

    // The worker got the desktop's theme from the GUI thread, taken once and shared afterwards.
    EXPECT_EQ(KZIconTheme::current(), seen);
    EXPECT_EQ(onWorker, onGui);
    EXPECT_EQ(centre(folderOnWorker), KZTestIconTheme::kFolderColor);
    QMutexLocker locker(&messagesLock);
    EXPECT_TRUE(messages.filter(u"pixmap"_s, Qt::CaseInsensitive).isEmpty())
        << messages.join(u'\n').toStdString();
}

TEST_F(ItemIcons, QtFileIconProviderWhenTheThemeHasNothing)
{
    m_themes.writeTheme(u"Bare"_s, {});
    m_themes.use(u"Bare"_s);
    const QImage icon = KZFilesUtilities::iconOfItem(file("bare.txt"), {}, QSize(32, 32));
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.deviceIndependentSize(), QSizeF(32, 32));
    EXPECT_NE(centre(icon), KZTestIconTheme::kTextColor);
}

TEST_F(ItemIcons, MountPointsGetTheirDriveIcon)
{
    const QByteArray mountPoint = QFile::encodeName(m_themes.scratch()) + "/volume";
    QString whyNot;
    const auto mount = KZTestMount::tmpfs(mountPoint, &whyNot, 1);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    EXPECT_EQ(iconColour(mountPoint, 42), KZTestIconTheme::kDriveColor);
    // Its folders are plain folders again.
    ASSERT_EQ(::mkdir((mountPoint + "/inner").constData(), 0755), 0);
    EXPECT_EQ(iconColour(mountPoint + "/inner", 42), KZTestIconTheme::kFolderColor);
}

TEST(ItemIconsInstalledTheme, TheSystemThemeGivesTypeIcons)
{
    if (!QFile::exists(u"/usr/share/icons/Adwaita/index.theme"_s))
        GTEST_SKIP() << "no Adwaita icon theme installed";
    KZTestIconTheme restore;
    QIcon::setThemeSearchPaths({u"/usr/share/icons"_s});
    QIcon::setThemeName(QString());
    KZIconTheme::themeChanged();
    EXPECT_EQ(KZIconTheme::current()->themeChain().value(0), u"Adwaita"_s);

    const QByteArray text = QFile::encodeName(restore.scratch()) + "/letter.txt";
    KZTestFiles::writeFile(text, "Dear reader\n");
    const QImage icon = KZFilesUtilities::iconOfItem(text, {}, QSize(16, 16));
    ASSERT_FALSE(icon.isNull());
    EXPECT_GT(centre(icon).alpha(), 0);
    EXPECT_TRUE(KZIconTheme::current()
                    ->filePathForNames({u"text-x-generic"_s}, icon.width())
                    .startsWith(u"/usr/share/icons/Adwaita/"_s));
    EXPECT_FALSE(KZFilesUtilities::iconOfItem("/", {}, QSize(42, 42)).isNull());
}
