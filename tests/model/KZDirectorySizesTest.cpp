// The directorysizes file as other programs leave it and as Binwise rewrites it.
#include "model/KZDirectorySizes.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "protocol/KZFileDescriptor.h"

#include <gtest/gtest.h>

#include <QDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

KZFileDescriptor openRoot(const KZTestTrash &trash)
{
    return KZFileDescriptor(::open(trash.root().constData(), O_RDONLY | O_DIRECTORY));
}

struct statx_timestamp at(qint64 seconds, quint32 nanoseconds)
{
    struct statx_timestamp t = {};
    t.tv_sec = seconds;
    t.tv_nsec = nanoseconds;
    return t;
}

} // namespace

TEST(DirectorySizes, ReadsGoodLinesAndSkipsJunk)
{
    const QByteArray content = "4096 1700000000 plain\n"
                               "12288 1700000000123 with%20space\n"
                               "\n"
                               "garbage\n"
                               "12 34\n"
                               "-5 1700000000 negative\n"
                               "12x 1700000000 letters\n"
                               "99999999999999999999999 1 overflow\n"
                               "1 1 a%2Fslash\n"
                               "1 1 ..\n"
                               "8192 1700000001 last-without-newline";
    const KZDirectorySizes::Lines lines = KZDirectorySizes::parse(content);
    EXPECT_EQ(lines.size(), 3);
    EXPECT_EQ(lines.value("plain"), (KZDirectorySizes::Line{4096, 1700000000}));
    EXPECT_EQ(lines.value("with space"), (KZDirectorySizes::Line{12288, 1700000000123}));
    EXPECT_EQ(lines.value("last-without-newline"), (KZDirectorySizes::Line{8192, 1700000001}));
}

TEST(DirectorySizes, ALineHoldsForTheInfoTimeInSecondsOrMilliseconds)
{
    const struct statx_timestamp mtime = at(1700000000, 456789000);
    EXPECT_TRUE(KZDirectorySizes::isValid({1, 1700000000}, mtime));
    EXPECT_TRUE(KZDirectorySizes::isValid({1, 1700000000456}, mtime)); // as KDE writes it
    EXPECT_FALSE(KZDirectorySizes::isValid({1, 1700000001}, mtime));
    EXPECT_FALSE(KZDirectorySizes::isValid({1, 1700000000457}, mtime));
    EXPECT_FALSE(KZDirectorySizes::isValid({1, 0}, mtime));
}

TEST(DirectorySizes, UpdateReplacesAddsAndDropsAndKeepsOtherLinesAsTheyStand)
{
    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    trash.addFile("placeholder");
    const QByteArray foreign = "4096 1700000000123 kde%20folder\n"
                               "a line of some future format\n"
                               "100 200 replaced\n"
                               "300 400 dropped\n";
    ASSERT_TRUE(KZTestFiles::writeFile(trash.root() + "/directorysizes", foreign));
    const KZFileDescriptor root = openRoot(trash);
    ASSERT_TRUE(KZDirectorySizes::update(KZFileManager::defaultManager(), root.get(),
                                         {{"replaced", {111, 222}}, {"new one", {333, 444}}},
                                         {"dropped"}));
    const QByteArray after = trash.directorySizes();
    EXPECT_TRUE(after.startsWith("4096 1700000000123 kde%20folder\n"
                                 "a line of some future format\n"))
        << after.toStdString();
    const KZDirectorySizes::Lines lines = KZDirectorySizes::parse(after);
    EXPECT_EQ(lines.size(), 3);
    EXPECT_EQ(lines.value("replaced"), (KZDirectorySizes::Line{111, 222}));
    EXPECT_EQ(lines.value("new one"), (KZDirectorySizes::Line{333, 444}));
    EXPECT_TRUE(after.contains("333 444 new%20one\n"));
    EXPECT_FALSE(lines.contains("dropped"));
    // No temporary left behind.
    EXPECT_EQ(KZTestFiles::namesIn(trash.root()),
              (QByteArrayList{"directorysizes", "files", "info"}));

    // Nothing to change: the file is not rewritten (same inode).
    struct stat before = {};
    ::stat((trash.root() + "/directorysizes").constData(), &before);
    ASSERT_TRUE(KZDirectorySizes::recordFolder(KZFileManager::defaultManager(), root.get(),
                                               "replaced", 111, 222));
    struct stat again = {};
    ::stat((trash.root() + "/directorysizes").constData(), &again);
    EXPECT_EQ(before.st_ino, again.st_ino);
}

TEST(DirectorySizes, AFileThatIsNotRegularIsNeitherReadNorWrittenThrough)
{
    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    trash.addFile("placeholder");
    const QByteArray elsewhere = QDir::tempPath().toLocal8Bit() + "/binwise-not-a-trash-file";
    KZTestFiles::writeFile(elsewhere, "1 1 outside\n");
    ASSERT_EQ(::symlink(elsewhere.constData(), (trash.root() + "/directorysizes").constData()), 0);
    const KZFileDescriptor root = openRoot(trash);
    EXPECT_TRUE(KZDirectorySizes::read(root.get()).isEmpty());
    // The link is replaced by a file of its own; what it pointed at is untouched.
    EXPECT_TRUE(
        KZDirectorySizes::recordFolder(KZFileManager::defaultManager(), root.get(), "a", 1, 2));
    EXPECT_EQ(KZTestFiles::readFile(elsewhere), "1 1 outside\n");
    EXPECT_EQ(trash.directorySizes(), "1 2 a\n");
    ::unlink(elsewhere.constData());

    // A FIFO in its place is not waited on.
    ::unlink((trash.root() + "/directorysizes").constData());
    ASSERT_EQ(::mkfifo((trash.root() + "/directorysizes").constData(), 0600), 0);
    EXPECT_TRUE(KZDirectorySizes::read(root.get()).isEmpty());
}
