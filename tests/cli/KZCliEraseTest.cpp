// binwise empty and erase, run as the real executable on generated Trashes: what is left on
// disk, the info files, the log, the summary and the exit status.
#include "KZCliRunner.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QStandardPaths>
#include <QThread>

#include <csignal>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

using KZTestFiles::exists;
using KZTestFiles::readFile;
using KZTestFiles::writeFile;

namespace {

std::string str(const QByteArray &bytes)
{
    return bytes.toStdString();
}

QByteArrayList namesIn(const QByteArray &folder)
{
    QByteArrayList names;
    if (DIR *dir = ::opendir(folder.constData())) {
        while (const dirent *entry = ::readdir(dir)) {
            const QByteArray name(entry->d_name);
            if (name != "." && name != "..")
                names.append(name);
        }
        ::closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Every item still in the Trash has its info file.
void expectInfoForEveryItem(const KZTestTrash &trash)
{
    for (const QByteArray &name : namesIn(trash.files()))
        EXPECT_TRUE(exists(trash.infoPath(name))) << "no info file for " << str(name);
}

// The paths of a log's item lines ("<number> <path>").
QByteArrayList loggedPaths(const QByteArray &log)
{
    QByteArrayList paths;
    for (const QByteArray &line : log.split('\n')) {
        const qsizetype space = line.indexOf(' ');
        if (space > 0 && line.left(space).replace(",", "").toULongLong() > 0
            && line.mid(space + 1).startsWith('/'))
            paths.append(line.mid(space + 1));
    }
    return paths;
}

QByteArray srm()
{
    return QByteArrayLiteral("/usr/bin/srm");
}

// Waits until the condition holds (true) or the time is up (false).
template<typename Condition>
bool waitFor(Condition condition, int ms = 30000)
{
    const QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(5);
    }
    return true;
}

class CliErase : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(cli.isValid()); }

    // Two volumes of the test's own, or skip.
    bool twoVolumes()
    {
        QString whyNot;
        alpha = cli.addVolume("Alpha", &whyNot);
        beta = cli.addVolume("Beta", &whyNot);
        if (alpha.isEmpty() || beta.isEmpty()) {
            m_whyNot = whyNot;
            return false;
        }
        return true;
    }
    // A big job that srm makes slow: time to interrupt it half-way.
    QByteArrayList slowTrash(KZTestTrash &trash, int items)
    {
        QByteArrayList names;
        for (int i = 0; i < items; ++i) {
            const QByteArray name = "item " + QByteArray::number(i).rightJustified(4, '0');
            trash.addFile(name, QByteArray(1000, 'x'));
            names.append(name);
        }
        return names;
    }

    KZCliRunner cli;
    QByteArray alpha;
    QByteArray beta;
    QString m_whyNot;
};

} // namespace

TEST_F(CliErase, OneVolumeLeavesTheOthersAndAllEmptiesEveryTrashWithItsLog)
{
    if (!twoVolumes())
        GTEST_SKIP() << m_whyNot.toStdString();
    KZTestTrash first = KZTestTrash::onVolume(alpha);
    KZTestTrash second = KZTestTrash::onVolume(beta);
    first.addFile("kept");
    first.addFolder("kept folder", {"a", "b/c"});
    second.addFile("one");
    second.addFolder("two", {"x/y/z", "empty/"});
    second.addDirectorySizesLine("two", 4096);

    const KZCliResult one = cli.run({"empty", "Beta", "--yes"});
    EXPECT_EQ(one.exitCode, 0) << str(one.err);
    EXPECT_TRUE(namesIn(second.files()).isEmpty());
    EXPECT_TRUE(namesIn(second.root() + "/info").isEmpty());
    EXPECT_FALSE(second.directorySizes().contains("two"));
    EXPECT_EQ(namesIn(first.files()), (QByteArrayList{"kept", "kept folder"}));
    expectInfoForEveryItem(first);
    EXPECT_TRUE(one.out.startsWith("Erased ")) << str(one.out);
    // The single volume's job is logged under the volume's name, one line per item.
    EXPECT_EQ(cli.logFolders(), QStringList{QStringLiteral("Beta")});
    const QByteArrayList logged = loggedPaths(cli.logText(QStringLiteral("Beta")));
    for (const QByteArray &path : {second.itemPath("one"), second.itemPath("two"),
                                   second.itemPath("two/x/y/z"), second.itemPath("two/empty")})
        EXPECT_TRUE(logged.contains(path)) << str(path) << "\n" << str(logged.join('\n'));

    // Nothing left to do on Beta: said, and nothing asked or logged.
    const KZCliResult again = cli.run({"empty", beta});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.out.contains("nothing to erase")) << str(again.out);

    const KZCliResult all = cli.run({"empty", "--all", "--yes"});
    EXPECT_EQ(all.exitCode, 0) << str(all.err);
    EXPECT_TRUE(namesIn(first.files()).isEmpty());
    EXPECT_TRUE(namesIn(first.root() + "/info").isEmpty());
    EXPECT_TRUE(exists(first.files())) << "the Trash folder itself stays";
    // Two volumes: the job empties all Trashes, and its log says so.
    EXPECT_TRUE(cli.logFolders().contains(QStringLiteral("All Trashes")));
    const QByteArray allLog = cli.logText(QStringLiteral("All Trashes"));
    EXPECT_TRUE(loggedPaths(allLog).contains(first.itemPath("kept folder/b/c")));
    EXPECT_TRUE(allLog.contains("Start emptying all Trashes")) << str(allLog);
}

TEST_F(CliErase, ErasingNamedItemsRefusesAnythingOutsideATrashAndErasesNothingThen)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    const QByteArray odd = "caf\xe9\nline";
    trash->addFile("first");
    trash->addFile("-dash");
    trash->addFile(odd);
    trash->addFolder("folder", {"inner"});
    trash->addFile("stays");
    const QByteArray outside = QFile::encodeName(cli.sandbox().path(QStringLiteral("outside")));
    writeFile(outside, "not in a Trash");

    const QList<QByteArrayList> refused{
        {"erase", "--yes", trash->itemPath("first"), outside},
        {"erase", "--yes", trash->itemPath("folder/inner")},
        {"erase", "--yes", trash->infoPath("first")},
        {"erase", "--yes", trash->files()},
        {"erase", "--yes", trash->itemPath("not there")},
        {"erase", "--yes", "file://host/" + trash->itemPath("first")},
    };
    for (const QByteArrayList &arguments : refused) {
        const KZCliResult result = cli.run(arguments);
        EXPECT_EQ(result.exitCode, 2) << str(arguments.join(' '));
        EXPECT_TRUE(result.err.contains("nothing was erased")) << str(result.err);
    }
    EXPECT_EQ(readFile(outside), "not in a Trash");
    EXPECT_TRUE(exists(trash->itemPath("first")));
    EXPECT_TRUE(exists(trash->itemPath("folder/inner")));
    EXPECT_TRUE(exists(trash->infoPath("first")));

    // The name that is neither text nor one line, by the URL that "items --json" gives it.
    QByteArray oddURL;
    for (const QJsonValue &item :
         QJsonDocument::fromJson(cli.run({"items", "--json"}).out).array()) {
        const QByteArray url = item.toObject().value(QStringLiteral("itemURL")).toString().toUtf8();
        if (KZPath::pathFromURL(QUrl::fromEncoded(url)) == trash->itemPath(odd))
            oddURL = url;
    }
    ASSERT_FALSE(oddURL.isEmpty());

    // With relative paths, and a name that looks like an option after "--".
    const QByteArray here = QDir::currentPath().toLocal8Bit();
    ASSERT_EQ(::chdir(trash->files().constData()), 0);
    const KZCliResult erased
        = cli.run({"erase", "--yes", "first", "folder/", oddURL, "--", "-dash"});
    ASSERT_EQ(::chdir(here.constData()), 0);
    EXPECT_EQ(erased.exitCode, 0) << str(erased.err);
    EXPECT_EQ(namesIn(trash->files()), QByteArrayList{"stays"});
    EXPECT_EQ(namesIn(trash->root() + "/info"), QByteArrayList{"stays.trashinfo"});
    const QByteArrayList logged = loggedPaths(cli.logText(QStringLiteral("Checked items")));
    EXPECT_TRUE(logged.contains(trash->itemPath("folder/inner")));
    EXPECT_TRUE(logged.contains(KZPath::escapedDisplayString(trash->itemPath(odd)).toUtf8()))
        << str(logged.join('\n'));
}

TEST_F(CliErase, TheConfirmationIsAskedOnATerminalAndNeverWithoutOne)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    trash->addFile("precious");

    // No terminal and no --yes: refused before anything is shown or touched.
    for (const KZCliRunner::Input input : {KZCliRunner::Input::Closed, KZCliRunner::Input::Pipe}) {
        const KZCliResult refused = cli.run({"empty"}, input, "1\n");
        EXPECT_EQ(refused.exitCode, 2);
        EXPECT_TRUE(refused.err.contains("--yes")) << str(refused.err);
        EXPECT_TRUE(exists(trash->itemPath("precious")));
    }
    EXPECT_TRUE(cli.logFolders().isEmpty());

    // Cancel (the third choice) on a terminal.
    const KZCliResult cancelled = cli.run({"empty"}, KZCliRunner::Input::Terminal, "3\n");
    EXPECT_EQ(cancelled.exitCode, 3) << str(cancelled.err);
    EXPECT_TRUE(cancelled.err.contains("Do you want to empty")) << str(cancelled.err);
    EXPECT_TRUE(exists(trash->itemPath("precious")));
    EXPECT_TRUE(exists(trash->infoPath("precious")));
    // The input ending (Ctrl-D) before an answer cancels too.
    const KZCliResult closed = cli.run({"empty"}, KZCliRunner::Input::Terminal, "\x04");
    EXPECT_EQ(closed.exitCode, 3);
    EXPECT_TRUE(exists(trash->itemPath("precious")));

    // --secure without --yes offers only the secure erase and cancel.
    if (exists(srm())) {
        const KZCliResult secure
            = cli.run({"empty", "--secure"}, KZCliRunner::Input::Terminal, "1\n3\n");
        EXPECT_EQ(secure.exitCode, 3) << str(secure.err);
        EXPECT_TRUE(secure.err.contains("2) Secure Empty Trash")) << str(secure.err);
        EXPECT_FALSE(secure.err.contains("1) Empty Trash")) << str(secure.err);
        EXPECT_TRUE(exists(trash->itemPath("precious")));
    }

    const KZCliResult confirmed = cli.run({"empty"}, KZCliRunner::Input::Terminal, "1\n");
    EXPECT_EQ(confirmed.exitCode, 0) << str(confirmed.err);
    EXPECT_FALSE(exists(trash->itemPath("precious")));
    EXPECT_FALSE(exists(trash->infoPath("precious")));
}

TEST_F(CliErase, SettingsAreTheUsers)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    trash->addFile("a");
    trash->addFile("b");
    cli.setSetting(QStringLiteral("showAlert"), false);

    // Without the confirmation a checked-items erase would erase nothing, and no erase is
    // secure: both are refused rather than run differently from what was asked.
    for (const QByteArrayList &arguments : QList<QByteArrayList>{
             {"erase", "--yes", trash->itemPath("a")}, {"empty", "--yes", "--secure"}}) {
        const KZCliResult refused = cli.run(arguments);
        EXPECT_EQ(refused.exitCode, 2) << str(arguments.join(' '));
        EXPECT_TRUE(refused.err.contains("showAlert")) << str(refused.err);
    }
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{"a", "b"}));

    // Nothing is confirmed and, as without a confirmation always, nothing is logged.
    const KZCliResult result = cli.run({"empty", "--yes"});
    EXPECT_EQ(result.exitCode, 0) << str(result.err);
    EXPECT_FALSE(result.err.contains("Do you want")) << str(result.err);
    EXPECT_TRUE(namesIn(trash->files()).isEmpty());
    EXPECT_TRUE(cli.logFolders().isEmpty());

    cli.setSetting(QStringLiteral("showAlert"), true);
    cli.setSetting(QStringLiteral("writeLog"), false);
    trash->addFile("c");
    EXPECT_EQ(cli.run({"empty", "--yes"}).exitCode, 0);
    EXPECT_FALSE(exists(trash->itemPath("c")));
    EXPECT_TRUE(cli.logFolders().isEmpty());
}

TEST_F(CliErase, LockedItemsSkippedStayWithTheirInfoAndTheExitStatusSaysSo)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    trash->addFile("locked");
    trash->addFile("loose");
    trash->addFolder("holder", {"locked inside", "free inside"});
    const KZTestFiles::ImmutableGuard locked(trash->itemPath("locked"));
    const KZTestFiles::ImmutableGuard inside(trash->itemPath("holder/locked inside"));
    if (!locked.isSet() || !inside.isSet())
        GTEST_SKIP() << "cannot set the immutable flag here (needs root and a file system "
                        "that keeps it)";
    // A helper that answers its version, so that locked items are asked about rather than
    // counted as needing rights the run does not have.
    cli.environment().insert(QStringLiteral("BINWISE_HELPER_PATH"),
                             QStringLiteral(BINWISE_HELPER_BINARY));

    const KZCliResult result = cli.run({"empty", "--yes", "--locked=skip"});
    EXPECT_EQ(result.exitCode, 1) << str(result.err);
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{"holder", "locked"}));
    EXPECT_TRUE(exists(trash->itemPath("holder/locked inside")));
    EXPECT_FALSE(exists(trash->itemPath("holder/free inside")));
    expectInfoForEveryItem(*trash);
    EXPECT_FALSE(exists(trash->infoPath("loose")));
    EXPECT_TRUE(result.out.contains("2 of the 3 items asked for are still there"))
        << str(result.out);
    EXPECT_TRUE(result.out.contains("2 locked items skipped")) << str(result.out);
    // Asked once, answered for all.
    EXPECT_EQ(result.err.count("(--locked=skip)"), 1) << str(result.err);
}

TEST_F(CliErase, AProgressBarOnATerminalOnceTheJobHasRunHalfASecondThatGivesWayToQuestions)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    trash->addFile("a");
    trash->addFile("locked");
    trash->addFile("z");
    const KZTestFiles::ImmutableGuard locked(trash->itemPath("locked"));
    if (!locked.isSet())
        GTEST_SKIP() << "cannot set the immutable flag here";
    cli.environment().insert(QStringLiteral("BINWISE_HELPER_PATH"),
                             QStringLiteral(BINWISE_HELPER_BINARY));

    // The question about the locked item holds the job past half a second: the bar opens
    // meanwhile and is drawn once the question has been answered (skip, for all).
    const KZCliResult result
        = cli.run({"empty", "--yes"}, KZCliRunner::Input::TerminalWithErrors, "1+\n");
    EXPECT_EQ(result.exitCode, 1) << str(result.err);
    const qsizetype question = result.err.indexOf("Choose");
    const qsizetype bar = result.err.lastIndexOf("\r[");
    ASSERT_GE(question, 0) << str(result.err);
    EXPECT_GT(bar, question) << str(result.err);
    // The line is cleared when the job ends; the summary is on standard output alone.
    EXPECT_GT(result.err.lastIndexOf("\r\x1b[K"), bar) << str(result.err);
    EXPECT_FALSE(result.out.contains('\r'));
    EXPECT_TRUE(exists(trash->itemPath("locked")));
    EXPECT_FALSE(exists(trash->itemPath("z")));
}

TEST_F(CliErase, InterruptedJobsKeepEveryUnerasedItemWithItsInfo)
{
    if (!exists(srm()))
        GTEST_SKIP() << "no /usr/bin/srm to make the job last";
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();

    for (const int signal : {SIGINT, SIGKILL}) {
        const QByteArrayList names = slowTrash(*trash, 1500);
        std::unique_ptr<QProcess> process = cli.start({"empty", "--yes", "--secure"});
        ASSERT_TRUE(process->waitForStarted());
        ASSERT_TRUE(waitFor([&] { return namesIn(trash->files()).size() < names.size() - 5; }))
            << "the erase did not start";
        ::kill(pid_t(process->processId()), signal);
        ASSERT_TRUE(process->waitForFinished(60000));
        const QByteArrayList left = namesIn(trash->files());
        EXPECT_GT(left.size(), 0) << "the job ended before it was interrupted";
        expectInfoForEveryItem(*trash);
        if (signal == SIGINT) {
            // Stopped like the progress window's Stop: status 3, and the log closed.
            EXPECT_EQ(process->exitStatus(), QProcess::NormalExit);
            EXPECT_EQ(process->exitCode(), 3) << str(process->readAllStandardError());
            EXPECT_TRUE(process->readAllStandardOutput().startsWith("Stopped."));
            QByteArray log;
            for (const QString &folder : cli.logFolders())
                log += cli.logText(folder);
            EXPECT_TRUE(log.contains("(secure erase)")) << str(log.left(500));
            EXPECT_TRUE(log.contains("Erased ")) << "no end line:\n" << str(log.right(500));
            // What was erased before the stop is logged, and only that.
            const QByteArrayList logged = loggedPaths(log);
            EXPECT_FALSE(logged.isEmpty());
            for (const QByteArray &path : logged)
                EXPECT_FALSE(exists(path)) << "logged but still there: " << str(path);
        } else {
            EXPECT_EQ(process->exitStatus(), QProcess::CrashExit);
        }
        // Start afresh for the next signal.
        ASSERT_EQ(cli.run({"empty", "--yes"}).exitCode, 0);
    }
}

TEST_F(CliErase, SecureEraseWithoutSrmIsRefused)
{
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("unshare")).isEmpty())
        GTEST_SKIP() << "hiding /usr/bin/srm needs root and unshare";
    QString whyNot;
    const QByteArray volume = cli.addVolume("Work", &whyNot);
    if (volume.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash trash = KZTestTrash::onVolume(volume);
    trash.addFile("still here");
    // In a mount namespace of its own, an empty folder hides /usr/bin/srm from binwise. Mounts
    // have identifiers of their own there, so binwise's mount table is taken there too.
    const QByteArray empty = QFile::encodeName(cli.sandbox().path(QStringLiteral("no-tools")));
    ASSERT_TRUE(KZTestFiles::makeFolders(empty));
    const QString table = cli.sandbox().path(QStringLiteral("namespace-mountinfo"));
    cli.environment().insert(QStringLiteral("BINWISE_MOUNTINFO"), table);
    QProcess process;
    process.setProcessEnvironment(cli.environment());
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(QStringLiteral("unshare"),
                  {QStringLiteral("--mount"), QStringLiteral("--propagation"),
                   QStringLiteral("private"), QStringLiteral("/bin/sh"), QStringLiteral("-c"),
                   QStringLiteral("awk -v point=\"$2\" '$5 == point' /proc/self/mountinfo > "
                                  "\"$3\" && mount --bind \"$1\" /usr/bin || exit 77; "
                                  "exec \"$4\" empty --yes --secure"),
                   QStringLiteral("sh"), QFile::decodeName(empty), QFile::decodeName(volume), table,
                   QFile::decodeName(KZCliRunner::binary())});
    ASSERT_TRUE(process.waitForFinished(60000));
    if (process.exitCode() == 77)
        GTEST_SKIP() << "cannot bind-mount in a private namespace here";
    EXPECT_EQ(process.exitCode(), 2) << str(process.readAllStandardError());
    EXPECT_TRUE(process.readAllStandardError().contains("/usr/bin/srm"));
    EXPECT_TRUE(exists(trash.itemPath("still here")));
}
