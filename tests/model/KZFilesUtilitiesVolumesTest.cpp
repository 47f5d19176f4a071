#include "KZFaultyFileManager.h"
#include "KZTestMessages.h"
#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

using KZTestFiles::exists;

constexpr auto pathOf = &KZPath::pathFromURL;
constexpr auto url = &KZPath::urlFromPath;

mode_t modeOf(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

// A sandboxed home plus, as root, volumes mounted inside it.
class VolumeTest : public ::testing::Test
{
protected:
    [[nodiscard]] QByteArray path(const QByteArray &relative) const
    {
        return m_sandbox.root().toLocal8Bit() + "/" + relative;
    }
    [[nodiscard]] QByteArray volume() const { return path("vol"); }
    [[nodiscard]] QByteArray ownTrash() const
    {
        return volume() + "/.Trash-" + QByteArray::number(::getuid());
    }
    // A fresh instance that sees only "/", the home's volume and the mounts in this sandbox
    // (so that tests side by side never make Trash folders on each other's volumes), as they
    // are now; option is added to the options of the mount at volume().
    KZFilesUtilities &utilities(const QByteArray &option = {}, const QByteArray &labels = {})
    {
        QFile real(u"/proc/self/mountinfo"_s);
        real.open(QIODevice::ReadOnly);
        const auto home = KZFilesUtilities().mountForPath(path("home"));
        QByteArray table;
        for (const QByteArray &line : real.readAll().split('\n')) {
            const QList<KZMountEntry> parsed = KZMountTable::parse(line);
            const QByteArray point = parsed.isEmpty() ? QByteArray() : parsed.first().mountPoint;
            if (point == "/" || (home && point == home->mountPoint)
                || KZMountTable::isAtOrUnder(point, m_sandbox.root().toLocal8Bit()))
                table += line + (point == volume() ? option : QByteArray()) + '\n';
        }
        KZTestFiles::writeFile(path("mountinfo"), table);
        KZFilesUtilities::Roots roots;
        roots.mountInfoPath = QString::fromLocal8Bit(path("mountinfo"));
        if (!labels.isEmpty())
            roots.labelDirectory = labels;
        m_utilities = std::make_unique<KZFilesUtilities>(roots);
        return *m_utilities;
    }
    // The Trash record whose files/ folder is files, if listed.
    std::optional<KZTrashLocation> trashRecord(const QByteArray &files, KZFilesUtilities &from)
    {
        for (const KZTrashLocation &each : from.trashesAndVolumesLocations()) {
            if (pathOf(each.trashURL) == files)
                return each;
        }
        return std::nullopt;
    }
    // The volume records of volume().
    QList<KZVolumeRecord> volumeRecords(KZFilesUtilities &from)
    {
        QList<KZVolumeRecord> found;
        for (const KZVolumeRecord &each : from.volumesLocationArray()) {
            if (each.path == volume())
                found.append(each);
        }
        return found;
    }

    // A tmpfs of 16 MiB at volume(); the reason in m_whyNot when there is none.
    bool mountVolume()
    {
        QString whyNot;
        m_mount = KZTestMount::tmpfs(volume(), &whyNot);
        m_whyNot = whyNot.toStdString();
        return m_mount != nullptr;
    }

    KZTestSandbox m_sandbox;
    std::unique_ptr<KZTestMount> m_mount;
    std::string m_whyNot;
    std::unique_ptr<KZFilesUtilities> m_utilities;
};

} // namespace

TEST_F(VolumeTest, HomeTrashIsMadeListedAndEmptyWhileOnlyHiddenItemsAreLeft)
{
    const QByteArray dataHome = m_sandbox.dataHome().toLocal8Bit();
    const QUrl trash = utilities().trashURLForItemURL(url(path("home/not-yet")));
    EXPECT_EQ(pathOf(trash), dataHome + "/Trash/files");
    EXPECT_EQ(modeOf(dataHome + "/Trash"), 0700u);
    EXPECT_TRUE(exists(dataHome + "/Trash/info"));

    // Only visible top-level items count.
    KZTestTrash home = KZTestTrash::home();
    KZTestFiles::writeFile(home.itemPath(".DS_Store"), "x");
    KZTestFiles::makeFolders(home.itemPath(".config/deep/visible"));
    home.addFile("Icon\r");
    KZTestFiles::writeFile(home.itemPath(".hidden"), "Icon\r\n");
    EXPECT_TRUE(utilities().trashAtURLIsEmpty(trash));
    home.addFile("report \xff.txt");
    EXPECT_FALSE(utilities().trashAtURLIsEmpty(trash));

    const auto homeMount = utilities().mountForPath(path("home"));
    ASSERT_TRUE(homeMount);
    if (KZMountTable::isHidden(*homeMount, path("home"), {}))
        GTEST_SKIP() << "the temporary home is on a mount that is not a volume here";
    const auto record = trashRecord(dataHome + "/Trash/files", utilities());
    ASSERT_TRUE(record) << "the home Trash belongs to the home's volume";
    EXPECT_EQ(pathOf(record->volumeURL), homeMount->mountPoint);
    EXPECT_FALSE(record->trashIsEmpty);
    if (homeMount->mountPoint == "/") {
        EXPECT_EQ(utilities().startupTrashURL(), trash);
    }
}

TEST_F(VolumeTest, SecondVolumeGetsItsTrashUnlessHiddenReadOnlyOrCovered)
{
    if (!mountVolume())
        GTEST_SKIP() << m_whyNot;
    QList<KZVolumeRecord> records = volumeRecords(utilities());
    ASSERT_EQ(records.size(), 1);
    EXPECT_TRUE(records[0].isDisk);
    EXPECT_EQ(records[0].name, u"vol"_s);
    EXPECT_EQ(records[0].isLocked, std::optional<bool>(false));
    EXPECT_EQ(records[0].totSize, std::optional<KZCapacity>(quint64(16 * 1024 * 1024)));
    EXPECT_TRUE(volumeRecords(utilities(",x-gvfs-hide")).isEmpty());

    // Listing makes nothing: the record names the Trash a first put would make, empty.
    EXPECT_FALSE(exists(ownTrash()));
    const auto trash = trashRecord(ownTrash() + "/files", utilities());
    ASSERT_TRUE(trash);
    EXPECT_EQ(pathOf(trash->volumeURL), volume());
    EXPECT_TRUE(trash->trashIsEmpty);
    EXPECT_FALSE(exists(ownTrash()));
    // A put's look-up makes it.
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(url(volume() + "/item"))),
              ownTrash() + "/files");
    EXPECT_EQ(modeOf(ownTrash()), 0700u);
    EXPECT_TRUE(exists(ownTrash() + "/info"));
    // An item on the volume, even a vanished one, finds the same Trash.
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(url(volume() + "/gone/away.txt"))),
              ownTrash() + "/files");
    KZFilesUtilities &now = utilities();
    EXPECT_EQ(now.volumeIDWithItemURL(url(ownTrash())), now.volumeIDWithItemURL(url(volume())));
    EXPECT_NE(now.volumeIDWithItemURL(url(volume())), now.volumeIDWithItemURL(url("/")));
    EXPECT_TRUE(now.isVolumeWithURL(url(volume())) && !now.isVolumeWithURL(url(ownTrash())));

    // Read-only: listed as locked, and no Trash can be made there.
    KZTestSandbox::removeTree(ownTrash());
    ASSERT_TRUE(m_mount->remount(true));
    records = volumeRecords(utilities());
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].isLocked, std::optional<bool>(true));
    EXPECT_FALSE(trashRecord(ownTrash() + "/files", utilities()));
    KZTestMessages log;
    EXPECT_TRUE(utilities().trashURLForItemURL(url(volume() + "/x")).isEmpty());
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(u"NSTrashDirectory error: "_s));
    EXPECT_TRUE(log.lines().first().contains(u"Read-only"_s));

    // A second mount on the same place covers the first: one volume, the visible one.
    QString whyNot;
    auto cover = KZTestMount::tmpfs(volume(), &whyNot, 8);
    ASSERT_TRUE(cover) << whyNot.toStdString();
    records = volumeRecords(utilities());
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].totSize, std::optional<KZCapacity>(quint64(8 * 1024 * 1024)));
}

TEST_F(VolumeTest, AVolumeWhoseStateCannotBeReadIsLeftOutAndSaidSo)
{
    if (!mountVolume())
        GTEST_SKIP() << m_whyNot;
    KZFaultyFileManager failing;
    failing.failCall("statvfs", EIO);
    utilities(); // writes the sandbox's mount table
    KZFilesUtilities::Roots roots;
    roots.mountInfoPath = QString::fromLocal8Bit(path("mountinfo"));
    roots.fileManager = &failing;
    KZFilesUtilities blind(roots);
    KZTestMessages log;
    EXPECT_FALSE(trashRecord(ownTrash() + "/files", blind));
    bool said = false;
    for (const QString &line : log.lines())
        said = said || (line.startsWith(u"NSTrashDirectory error: "_s) && line.contains(u"vol"_s));
    EXPECT_TRUE(said) << log.lines().join(u'\n').toStdString();
    // And once in words for the user: which volume, and why, without internal names.
    QList<KZError> problems;
    for (const KZTrashLocation &location : blind.trashesAndVolumesLocations(&problems))
        EXPECT_NE(KZPath::pathFromURL(location.trashURL), ownTrash() + "/files");
    // Every volume's state is unreadable here, the sandbox's home volume's too.
    const auto mine = std::find_if(problems.cbegin(), problems.cend(), [&](const KZError &each) {
        return each.localizedDescription.contains(QString::fromLocal8Bit(volume()));
    });
    ASSERT_NE(mine, problems.cend());
    const QString sentence = mine->localizedDescription;
    EXPECT_TRUE(sentence.contains(QString::fromLocal8Bit(std::strerror(EIO))))
        << sentence.toStdString();
    EXPECT_TRUE(sentence.startsWith(u"The Trash on “vol” is left out"_s)) << sentence.toStdString();
    EXPECT_FALSE(sentence.contains(u"NS"_s)) << sentence.toStdString();
}

TEST_F(VolumeTest, SharedTrashFolderIsUsedOnlyWhenStickyAndReal)
{
    if (!mountVolume())
        GTEST_SKIP() << m_whyNot;
    const QUrl item = url(volume() + "/item");
    const QByteArray shared = volume() + "/.Trash";
    const QByteArray mine = shared + "/" + QByteArray::number(::getuid());
    const auto trashFolder = [&] {
        return pathOf(utilities().trashURLForItemURL(item));
    };

    ASSERT_EQ(::mkdir(shared.constData(), 0777), 0);
    ::chmod(shared.constData(), 0777);
    EXPECT_EQ(trashFolder(), ownTrash() + "/files") << "not sticky: not safe to share";
    EXPECT_FALSE(exists(mine));
    ::chmod(shared.constData(), 01777);
    EXPECT_EQ(trashFolder(), mine + "/files");
    EXPECT_EQ(modeOf(mine), 0700u);

    // The per-user folder as a link, and the shared folder as a link, are both refused.
    KZTestSandbox::removeTree(mine);
    KZTestFiles::makeFolders(volume() + "/elsewhere/files");
    ASSERT_EQ(::symlink((volume() + "/elsewhere").constData(), mine.constData()), 0);
    EXPECT_EQ(trashFolder(), ownTrash() + "/files");
    ::unlink(mine.constData());
    ::rmdir(shared.constData());
    KZTestFiles::makeFolders(volume() + "/real");
    ::chmod((volume() + "/real").constData(), 01777);
    ASSERT_EQ(::symlink((volume() + "/real").constData(), shared.constData()), 0);
    EXPECT_EQ(trashFolder(), ownTrash() + "/files");
    EXPECT_FALSE(exists(volume() + "/real/" + QByteArray::number(::getuid())));
}

TEST_F(VolumeTest, VolumesAreNamedByUdevLinksElseTheirLabel)
{
    QString whyNot;
    m_mount = KZTestMount::ext4Image(volume(), "Binwise Disk", &whyNot);
    if (!m_mount)
        GTEST_SKIP() << whyNot.toStdString();
    const QList<KZVolumeRecord> records = volumeRecords(utilities());
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].name, u"Binwise Disk"_s);

    // udev's label links name the volume (escapes decoded), and its Trash record too.
    const auto mount = utilities().mountForPath(volume());
    ASSERT_TRUE(mount);
    KZTestFiles::makeFolders(path("by-label"));
    ::symlink(mount->source.constData(), path("by-label/Udev\\x20Name").constData());
    const auto trash = trashRecord(ownTrash() + "/files", utilities({}, path("by-label")));
    ASSERT_TRUE(trash);
    EXPECT_EQ(trash->volumeName, u"Udev Name"_s);
}

TEST_F(VolumeTest, DirectoryInfoOfFoldersFilesPackagesAndLinks)
{
    KZTestFiles::makeFolders(path("Folder \xe9"));
    KZTestFiles::makeFolders(path("Tool.app/Contents"));
    KZTestFiles::writeFile(path("Recent.savedSearch"), "<plist/>");
    ::symlink("Folder \xe9", path("link").constData());
    KZFilesUtilities &now = utilities();
    for (const QByteArray &none : {QByteArray(), path("mountinfo"), path("Tool.app")})
        EXPECT_FALSE(now.directoryInfoForPath(none)) << none.constData();
    // A saved search counts as a folder, though it is a file.
    const auto smart = now.directoryInfoForPath(path("Recent.savedSearch"));
    ASSERT_TRUE(smart);
    EXPECT_FALSE(smart->isDisk || smart->isLocked || smart->totSize);
    EXPECT_EQ(smart->isSmartFolder, std::optional<bool>(true));
    const auto linked = now.directoryInfoForPath(path("link"));
    ASSERT_TRUE(linked);
    EXPECT_EQ(std::pair(linked->path, pathOf(linked->url)),
              std::pair(path("link"), path("Folder \xe9")));
    EXPECT_EQ(linked->isSmartFolder, std::optional<bool>(false));
}
