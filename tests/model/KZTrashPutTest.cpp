#include "model/KZTrashPut.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "model/KZPath.h"
#include "model/KZTrashFolder.h"

#include <gtest/gtest.h>

#include <QProcess>

#include <sys/stat.h>

#include <unistd.h>

using namespace KZTestFiles;

namespace {

// Fails the move into the Trash, after checking that the info file is already there.
class FailingMoveFileManager : public KZFileManager
{
public:
    int moveError = 0;
    QByteArray infoFolder;
    bool infoWasThere = false;

    int renameat2(int olddirfd, const char *oldname, int newdirfd, const char *newname,
                  unsigned flags) override
    {
        infoWasThere = exists(infoFolder + '/' + newname + ".trashinfo");
        if (moveError) {
            errno = moveError;
            return -1;
        }
        return KZFileManager::renameat2(olddirfd, oldname, newdirfd, newname, flags);
    }
};

} // namespace

TEST(TrashPut, InfoFirstUniqueNamesAndNothingLeftWhenTheMoveFails)
{
    KZTestSandbox sandbox;
    KZFilesUtilities utilities;
    const QByteArray dataHome = KZTrashFolder::dataHomeFromEnvironment();
    const QByteArray work = QFile::encodeName(sandbox.path(QStringLiteral("work")));
    const QByteArray files = dataHome + "/Trash/files";
    const QByteArray info = dataHome + "/Trash/info";
    ASSERT_TRUE(makeFolders(work));
    FailingMoveFileManager fm;
    fm.infoFolder = info;
    KZTrashPut put(utilities, dataHome, ::getuid(), fm);

    ASSERT_TRUE(writeFile(work + "/a.txt", "one"));
    KZError error;
    ASSERT_EQ(put.trashItemAtPath(work + "/a.txt", &error), files + "/a.txt")
        << error.localizedDescription.toStdString();
    EXPECT_TRUE(fm.infoWasThere);
    const QByteArray text = readFile(info + "/a.txt.trashinfo");
    EXPECT_TRUE(text.startsWith("[Trash Info]\nPath=" + (work + "/a.txt").toPercentEncoding("/")
                                + "\nDeletionDate="))
        << text.toStdString();
    EXPECT_EQ(text.size(), text.indexOf("DeletionDate=") + 13 + 19 + 1) << "YYYY-MM-DDThh:mm:ss";

    // Taken names are skipped, a name in files/ without an info file too.
    ASSERT_TRUE(writeFile(files + "/a.3.txt", "left without info"));
    for (const char *expected : {"a.2.txt", "a.4.txt"}) {
        ASSERT_TRUE(writeFile(work + "/a.txt", expected));
        EXPECT_EQ(put.trashItemAtPath(work + "/a.txt", &error), files + '/' + expected);
        EXPECT_EQ(readFile(files + '/' + expected), expected);
    }
    EXPECT_FALSE(exists(info + "/a.3.txt.trashinfo"));
    EXPECT_FALSE(exists(dataHome + "/Trash/directorysizes")) << "files need no size line";

    // A folder gets its directorysizes line: du -B1 of it, and its info file's time.
    ASSERT_TRUE(makeFolders(work + "/tree/deep"));
    ASSERT_TRUE(writeFile(work + "/tree/deep/data", QByteArray(20000, 'd')));
    QProcess du;
    du.start(QStringLiteral("du"), {QStringLiteral("-sB1"), QFile::decodeName(work + "/tree")});
    ASSERT_TRUE(du.waitForFinished());
    const QByteArray duSize = du.readAllStandardOutput().split('\t').value(0);
    ASSERT_EQ(put.trashItemAtPath(work + "/tree", &error), files + "/tree");
    struct stat infoStat = {};
    ASSERT_EQ(::stat((info + "/tree.trashinfo").constData(), &infoStat), 0);
    EXPECT_EQ(readFile(dataHome + "/Trash/directorysizes"),
              duSize + ' ' + QByteArray::number(qint64(infoStat.st_mtime)) + " tree\n");

    // A move that fails leaves the item where it was and no info file.
    ASSERT_TRUE(writeFile(work + "/b.txt", "stays"));
    const QByteArrayList infoBefore = namesIn(info);
    for (const int errnum : {EXDEV, EACCES}) {
        fm.moveError = errnum;
        EXPECT_TRUE(put.trashItemAtPath(work + "/b.txt", &error).isEmpty());
        EXPECT_TRUE(error.localizedDescription.contains(QStringLiteral("stays where it is")));
        EXPECT_EQ(readFile(work + "/b.txt"), "stays");
        EXPECT_EQ(namesIn(info), infoBefore);
    }
}

TEST(TrashPut, CandidateNamesKeepTheExtension)
{
    EXPECT_EQ(KZTrashPut::candidateName("photo.jpg", 1), "photo.jpg");
    EXPECT_EQ(KZTrashPut::candidateName("photo.jpg", 2), "photo.2.jpg");
    EXPECT_EQ(KZTrashPut::candidateName("archive.tar.gz", 3), "archive.3.tar.gz");
    EXPECT_EQ(KZTrashPut::candidateName(".profile", 2), ".profile.2");
    EXPECT_EQ(KZTrashPut::candidateName("README", 4), "README.4");
}
