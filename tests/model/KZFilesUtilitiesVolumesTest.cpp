#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZFilesUtilities.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QByteArray local(const QString &path)
{
    return path.toLocal8Bit();
}

QByteArray pathOf(const QUrl &url)
{
    return KZPath::pathFromURL(url);
}

mode_t modeOf(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0 ? (st.st_mode & 07777) : 0;
}

// Collects the model's diagnostics while it lives.
class LogCapture
{
public:
    LogCapture()
    {
        s_previous = qInstallMessageHandler(&LogCapture::handle);
        s_lines.clear();
    }
    ~LogCapture() { qInstallMessageHandler(s_previous); }
    [[nodiscard]] static QStringList lines() { return s_lines; }

private:
    static void handle(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        s_lines.append(message);
    }
    static inline QtMessageHandler s_previous = nullptr;
    static inline QStringList s_lines;
};

std::optional<KZTrashLocation> findTrash(const QList<KZTrashLocation> &trashes,
                                         const QByteArray &files)
{
    for (const KZTrashLocation &each : trashes) {
        if (pathOf(each.trashURL) == files)
            return each;
    }
    return std::nullopt;
}

std::optional<KZVolumeRecord> findVolume(const QList<KZVolumeRecord> &volumes,
                                         const QByteArray &path)
{
    for (const KZVolumeRecord &each : volumes) {
        if (each.path == path)
            return each;
    }
    return std::nullopt;
}

// A sandboxed home plus, as root, a tmpfs volume inside it.
class VolumeTest : public ::testing::Test
{
protected:
    void mountVolume(bool readOnly = false)
    {
        QString whyNot;
        m_mount = KZTestMount::tmpfs(volume(), &whyNot, 16, readOnly);
        if (!m_mount)
            GTEST_SKIP() << whyNot.toStdString();
    }
    [[nodiscard]] QByteArray volume() const { return local(m_sandbox.path(QStringLiteral("vol"))); }
    [[nodiscard]] QByteArray ownTrash() const
    {
        return volume() + "/.Trash-" + QByteArray::number(::getuid());
    }

    // Roots that see only "/", the home's volume and mounts inside this test's sandbox, so
    // that tests running side by side never make Trash folders on each other's volumes.
    KZFilesUtilities::Roots ownRoots()
    {
        QFile real(QStringLiteral("/proc/self/mountinfo"));
        QByteArray table;
        const auto home = KZFilesUtilities().mountForPath(local(m_sandbox.home()));
        if (real.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : real.readAll().split('\n')) {
                const QList<KZMountEntry> parsed = KZMountTable::parse(line);
                if (parsed.isEmpty())
                    continue;
                const QByteArray &point = parsed.first().mountPoint;
                if (point == "/" || (home && point == home->mountPoint)
                    || KZMountTable::isAtOrUnder(point, local(m_sandbox.root())))
                    table += line + '\n';
            }
        }
        const QByteArray path = local(m_sandbox.path(QStringLiteral("own-mountinfo")));
        KZTestFiles::writeFile(path, table);
        KZFilesUtilities::Roots roots;
        roots.mountInfoPath = QString::fromLocal8Bit(path);
        return roots;
    }
    KZFilesUtilities &utilities()
    {
        m_utilities = std::make_unique<KZFilesUtilities>(ownRoots());
        return *m_utilities;
    }

    KZTestSandbox m_sandbox;
    std::unique_ptr<KZTestMount> m_mount;
    std::unique_ptr<KZFilesUtilities> m_utilities;
};

} // namespace

TEST_F(VolumeTest, HomeTrashIsMadeOnTheHomeVolumeAndListed)
{
    const QByteArray dataHome = local(m_sandbox.dataHome());
    const QUrl trash = utilities().trashURLForItemURL(
        KZPath::urlFromPath(local(m_sandbox.home()) + "/not-there-yet.txt"));
    EXPECT_EQ(pathOf(trash), dataHome + "/Trash/files");
    EXPECT_EQ(modeOf(dataHome + "/Trash"), 0700u);
    EXPECT_EQ(modeOf(dataHome + "/Trash/files"), 0700u);
    EXPECT_EQ(modeOf(dataHome + "/Trash/info"), 0700u);

    const auto homeMount = utilities().mountForPath(local(m_sandbox.home()));
    ASSERT_TRUE(homeMount);
    if (KZMountTable::isHidden(*homeMount, local(m_sandbox.home()), {}))
        GTEST_SKIP() << "the temporary home is on a mount that is not a volume here";
    const QList<KZTrashLocation> trashes = utilities().trashesAndVolumesLocations();
    const std::optional<KZTrashLocation> home = findTrash(trashes, dataHome + "/Trash/files");
    ASSERT_TRUE(home) << "the home Trash belongs to the home's volume";
    EXPECT_EQ(pathOf(home->volumeURL), homeMount->mountPoint);
    EXPECT_EQ(home->volumeName, utilities().volumeNameForMount(*homeMount));
    EXPECT_TRUE(home->trashIsEmpty);
    const QVariantMap map = home->toVariantMap();
    EXPECT_EQ(map.keys(), (QStringList{QStringLiteral("trashIsEmpty"), QStringLiteral("trashURL"),
                                       QStringLiteral("volumeName"), QStringLiteral("volumeURL")}));
    if (homeMount->mountPoint == "/") {
        EXPECT_EQ(utilities().startupTrashURL(), trash);
    }
}

TEST_F(VolumeTest, TrashEmptinessLooksOnlyAtVisibleTopLevelItems)
{
    KZTestTrash trash = KZTestTrash::home();
    EXPECT_TRUE(utilities().trashAtURLIsEmpty(trash.filesURL()));
    KZTestFiles::writeFile(trash.itemPath(".DS_Store"), "x");
    KZTestFiles::makeFolders(trash.itemPath(".config/deep/visible"));
    EXPECT_TRUE(utilities().trashAtURLIsEmpty(trash.filesURL())) << "only dot-files";
    trash.addFile("Icon\r");
    KZTestFiles::writeFile(trash.itemPath(".hidden"), "Icon\r\n");
    EXPECT_TRUE(utilities().trashAtURLIsEmpty(trash.filesURL())) << "listed in .hidden";
    trash.addFile("report \xff.txt");
    EXPECT_FALSE(utilities().trashAtURLIsEmpty(trash.filesURL()));
}

TEST_F(VolumeTest, SecondVolumeGetsItsOwnTrashCreated)
{
    mountVolume();
    if (!m_mount)
        return;
    const QList<KZVolumeRecord> volumes = utilities().volumesLocationArray();
    const std::optional<KZVolumeRecord> record = findVolume(volumes, volume());
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->isDisk);
    EXPECT_EQ(record->name, QStringLiteral("vol"));
    EXPECT_EQ(record->isLocked, std::optional<bool>(false));
    ASSERT_TRUE(record->totSize && std::holds_alternative<quint64>(*record->totSize));
    EXPECT_EQ(std::get<quint64>(*record->totSize), 16u * 1024 * 1024);
    EXPECT_FALSE(record->isSmartFolder);

    EXPECT_FALSE(KZTestFiles::exists(ownTrash()));
    const QList<KZTrashLocation> trashes = utilities().trashesAndVolumesLocations();
    const std::optional<KZTrashLocation> trash = findTrash(trashes, ownTrash() + "/files");
    ASSERT_TRUE(trash);
    EXPECT_EQ(pathOf(trash->volumeURL), volume());
    EXPECT_EQ(trash->volumeName, QStringLiteral("vol"));
    EXPECT_TRUE(trash->trashIsEmpty);
    EXPECT_EQ(modeOf(ownTrash()), 0700u);
    EXPECT_TRUE(KZTestFiles::exists(ownTrash() + "/info"));
    // An item on the volume, even a vanished one, finds the same Trash.
    EXPECT_EQ(
        pathOf(utilities().trashURLForItemURL(KZPath::urlFromPath(volume() + "/gone/away.txt"))),
        ownTrash() + "/files");

    KZTestFiles::writeFile(ownTrash() + "/files/visible", "x");
    EXPECT_FALSE(
        findTrash(utilities().trashesAndVolumesLocations(), ownTrash() + "/files")->trashIsEmpty);
    const auto id = utilities().volumeIDWithItemURL(KZPath::urlFromPath(volume() + "/.Trash-0"));
    EXPECT_EQ(id, utilities().volumeIDWithItemURL(KZPath::urlFromPath(volume())));
    EXPECT_NE(id, utilities().volumeIDWithItemURL(KZPath::urlFromPath("/")));
    EXPECT_TRUE(utilities().isVolumeWithURL(KZPath::urlFromPath(volume())));
    EXPECT_FALSE(utilities().isVolumeWithURL(KZPath::urlFromPath(ownTrash())));
}

TEST_F(VolumeTest, SharedTrashFolderIsUsedOnlyWhenStickyAndReal)
{
    mountVolume();
    if (!m_mount)
        return;
    const QByteArray uid = QByteArray::number(::getuid());
    const QUrl item = KZPath::urlFromPath(volume() + "/item");
    const QByteArray shared = volume() + "/.Trash";

    ASSERT_EQ(::mkdir(shared.constData(), 0777), 0);
    ::chmod(shared.constData(), 0777);
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(item)), ownTrash() + "/files")
        << "not sticky: not safe to share";
    EXPECT_FALSE(KZTestFiles::exists(shared + "/" + uid));

    ::chmod(shared.constData(), 01777);
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(item)), shared + "/" + uid + "/files");
    EXPECT_EQ(modeOf(shared + "/" + uid), 0700u);

    // The per-user folder as a link, and the shared folder as a link, are both refused.
    QDir(QString::fromLocal8Bit(shared + "/" + uid)).removeRecursively();
    KZTestFiles::makeFolders(volume() + "/elsewhere/files");
    ASSERT_EQ(::symlink((volume() + "/elsewhere").constData(), (shared + "/" + uid).constData()),
              0);
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(item)), ownTrash() + "/files");
    ::unlink((shared + "/" + uid).constData());
    ::rmdir(shared.constData());
    KZTestFiles::makeFolders(volume() + "/realshared");
    ::chmod((volume() + "/realshared").constData(), 01777);
    ASSERT_EQ(::symlink((volume() + "/realshared").constData(), shared.constData()), 0);
    EXPECT_EQ(pathOf(utilities().trashURLForItemURL(item)), ownTrash() + "/files");
    EXPECT_FALSE(KZTestFiles::exists(volume() + "/realshared/" + uid));
}

TEST_F(VolumeTest, ReadOnlyVolumeIsListedLockedAndGetsNoTrash)
{
    mountVolume(true);
    if (!m_mount)
        return;
    const std::optional<KZVolumeRecord> record
        = findVolume(utilities().volumesLocationArray(), volume());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->isLocked, std::optional<bool>(true));
    const QList<KZTrashLocation> trashes = utilities().trashesAndVolumesLocations();
    for (const KZTrashLocation &each : trashes)
        EXPECT_NE(pathOf(each.volumeURL), volume());

    LogCapture log;
    EXPECT_TRUE(utilities().trashURLForItemURL(KZPath::urlFromPath(volume() + "/x")).isEmpty());
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().first().startsWith(QStringLiteral("NSTrashDirectory error: ")))
        << log.lines().first().toStdString();
    EXPECT_TRUE(log.lines().first().contains(QStringLiteral("Read-only")));
}

TEST_F(VolumeTest, HiddenAndCoveredMountsAreNotVolumes)
{
    mountVolume();
    if (!m_mount)
        return;
    // The same table with this volume marked x-gvfs-hide.
    QFile real(QStringLiteral("/proc/self/mountinfo"));
    ASSERT_TRUE(real.open(QIODevice::ReadOnly));
    QByteArray table;
    for (const QByteArray &line : real.readAll().split('\n')) {
        const bool ours = line.contains(" " + volume() + " ");
        table += line + (ours ? ",x-gvfs-hide" : "") + "\n";
    }
    const QByteArray fake = local(m_sandbox.path(QStringLiteral("mountinfo")));
    KZTestFiles::writeFile(fake, table);
    KZFilesUtilities::Roots roots;
    roots.mountInfoPath = QString::fromLocal8Bit(fake);
    EXPECT_FALSE(findVolume(KZFilesUtilities(roots).volumesLocationArray(), volume()));
    EXPECT_TRUE(findVolume(utilities().volumesLocationArray(), volume()));

    // A second mount on the same place covers the first: one volume, not two.
    QString whyNot;
    auto cover = KZTestMount::tmpfs(volume(), &whyNot, 8);
    ASSERT_TRUE(cover) << whyNot.toStdString();
    int listed = 0;
    for (const KZVolumeRecord &each : utilities().volumesLocationArray())
        listed += each.path == volume() ? 1 : 0;
    EXPECT_EQ(listed, 1);
    const std::optional<KZVolumeRecord> record
        = findVolume(utilities().volumesLocationArray(), volume());
    ASSERT_TRUE(record && record->totSize);
    EXPECT_EQ(std::get<quint64>(*record->totSize), 8u * 1024 * 1024) << "the visible one";
}

TEST_F(VolumeTest, LabelledExt4VolumeIsNamedByItsLabel)
{
    QString whyNot;
    m_mount = KZTestMount::ext4Image(volume(), "Binwise Disk", &whyNot);
    if (!m_mount)
        GTEST_SKIP() << whyNot.toStdString();
    const std::optional<KZVolumeRecord> record
        = findVolume(utilities().volumesLocationArray(), volume());
    ASSERT_TRUE(record);
    EXPECT_EQ(record->name, QStringLiteral("Binwise Disk"));

    // With udev's label links, those name the volume (escapes decoded).
    const auto mount = utilities().mountForPath(volume());
    ASSERT_TRUE(mount);
    const QByteArray labels = local(m_sandbox.path(QStringLiteral("by-label")));
    KZTestFiles::makeFolders(labels);
    ASSERT_EQ(::symlink(mount->source.constData(), (labels + "/Udev\\x20Name").constData()), 0);
    KZFilesUtilities::Roots roots = ownRoots();
    roots.labelDirectory = labels;
    const auto named = KZFilesUtilities(roots).directoryInfoForPath(volume());
    ASSERT_TRUE(named);
    EXPECT_EQ(named->name, QStringLiteral("Udev Name"));
    const QList<KZTrashLocation> trashes = KZFilesUtilities(roots).trashesAndVolumesLocations();
    const std::optional<KZTrashLocation> trash = findTrash(trashes, ownTrash() + "/files");
    ASSERT_TRUE(trash);
    EXPECT_EQ(trash->volumeName, QStringLiteral("Udev Name"));
}

namespace {

// Capacities that read as 0, or cannot be read at all.
class CapacityFileManager : public KZFileManager
{
public:
    bool fail = false;
    int statvfs(const char *, struct statvfs *out) override
    {
        if (fail) {
            errno = EIO;
            return -1;
        }
        *out = {};
        return 0;
    }
};

} // namespace

TEST_F(VolumeTest, CapacitiesOfZeroReadAsUnknown)
{
    CapacityFileManager fileManager;
    KZFilesUtilities::Roots roots;
    roots.fileManager = &fileManager;
    const KZFilesUtilities capacities(roots);
    auto record = capacities.directoryInfoForPath("/");
    ASSERT_TRUE(record && record->isDisk);
    const KZCapacity unknown = QStringLiteral("unknown");
    EXPECT_EQ(record->totSize, unknown);
    EXPECT_EQ(record->freeSize, unknown);
    EXPECT_EQ(record->isLocked, std::optional<bool>(false));
    EXPECT_EQ(record->toVariantMap().value(QStringLiteral("totSize")),
              QVariant(QStringLiteral("unknown")));

    fileManager.fail = true;
    record = capacities.directoryInfoForPath("/");
    EXPECT_EQ(record->isLocked, std::optional<bool>(true)) << "unreadable counts as read-only";
    EXPECT_EQ(capacities.volumeCapacityWithURL(KZPath::urlFromPath("/")), 0u);
    EXPECT_EQ(capacities.volumeItemsCountWithURL(KZPath::urlFromPath("/")), 0u);
    EXPECT_GT(utilities().volumeItemsCountWithURL(KZPath::urlFromPath("/")), 0u);
}

TEST_F(VolumeTest, DirectoryInfoOfFoldersFilesPackagesAndLinks)
{
    const QByteArray base = local(m_sandbox.path(QStringLiteral("items")));
    KZTestFiles::makeFolders(base + "/Folder \xe9");
    KZTestFiles::makeFolders(base + "/Tool.app/Contents");
    KZTestFiles::writeFile(base + "/plain.txt", "x");
    KZTestFiles::writeFile(base + "/Recent.savedSearch", "<plist/>");
    ::symlink("Folder \xe9", (base + "/link").constData());

    EXPECT_FALSE(utilities().directoryInfoForPath(""));
    EXPECT_FALSE(utilities().directoryInfoForPath(base + "/plain.txt"));
    EXPECT_FALSE(utilities().directoryInfoForPath(base + "/Tool.app"));
    EXPECT_FALSE(utilities().directoryInfoForPath(base + "/missing"));

    const auto smart = utilities().directoryInfoForPath(base + "/Recent.savedSearch");
    ASSERT_TRUE(smart);
    EXPECT_FALSE(smart->isDisk);
    EXPECT_EQ(smart->isSmartFolder, std::optional<bool>(true));
    EXPECT_FALSE(smart->isLocked || smart->totSize || smart->freeSize);

    const auto linked = utilities().directoryInfoForPath(base + "/link");
    ASSERT_TRUE(linked);
    EXPECT_EQ(linked->path, base + "/link");
    EXPECT_EQ(pathOf(linked->url), base + "/Folder \xe9");
    EXPECT_EQ(linked->isSmartFolder, std::optional<bool>(false));
    EXPECT_EQ(linked->toVariantMap().keys(),
              (QStringList{QStringLiteral("isDisk"), QStringLiteral("isSmartFolder"),
                           QStringLiteral("name"), QStringLiteral("path"), QStringLiteral("url")}));
}

TEST(FilesUtilities, SmallVolumeHelpers)
{
    const KZFilesUtilities &utilities = KZFilesUtilities::sharedControl();
    quint16 count = 99;
    EXPECT_EQ(utilities.removeSlashesFromFileSystemName(QStringLiteral("a/b/c"), &count),
              QStringLiteral("a:b:c"));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(utilities.removeSlashesFromFileSystemName(QStringLiteral("/"), &count),
              QStringLiteral(":"));
    EXPECT_EQ(count, 1);
    EXPECT_EQ(utilities.removeSlashesFromFileSystemName(QStringLiteral("plain"), &count),
              QStringLiteral("plain"));
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(utilities.volumesArray().isEmpty());
    EXPECT_FALSE(utilities.urlIsStartupDisk(KZPath::urlFromPath("/")));

    const QUrl root = KZPath::urlFromPath("/");
    const QUrl missing = KZPath::urlFromPath("/no/such/item");
    const QUrl web(QStringLiteral("https://example.org/"));
    const QVariantList list{root, missing, web, 42};
    EXPECT_EQ(utilities.URLsToPaths(list),
              QVariant(QVariantList{QByteArray("/"), missing, web, 42}));
    EXPECT_EQ(utilities.URLsToPaths(root), QVariant(QByteArray("/")));
    EXPECT_EQ(utilities.URLsToPaths(missing), QVariant(missing));
}
