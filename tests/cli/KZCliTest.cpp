// binwise run as the real executable on generated Trashes: what list and items print, and
// what empty and erase leave on disk, in the info files and the log, with their summary and
// exit status.
#include "KZCliRunner.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QThread>

#include <csignal>

#include <dirent.h>
#include <ftw.h>
#include <unistd.h>

using KZTestFiles::exists;
using KZTestFiles::readFile;
using KZTestFiles::writeFile;

namespace {

using KZTestFiles::allocatedBelow;
using KZTestFiles::namesIn;

// Every object of the array has exactly these fields.
void expectFields(const QJsonArray &objects, QStringList fields)
{
    fields.sort();
    for (const QJsonValue &object : objects)
        EXPECT_EQ(object.toObject().keys(), fields);
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

const QByteArray kSrm = "/usr/bin/srm";

class Cli : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(cli.isValid()); }

    KZCliRunner cli;
};

} // namespace

TEST_F(Cli, ListItemsAndEmptyEachVolumeNamedOrAll)
{
    QString whyNot;
    const QByteArray alpha = cli.addVolume("Alpha", &whyNot);
    const QByteArray beta = cli.addVolume("Beta", &whyNot);
    if (alpha.isEmpty() || beta.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash full = KZTestTrash::onVolume(alpha);
    full.addFile("big", QByteArray(5000, 'x'));
    full.addFolder("folder", {"one", "deeper/two"});
    const quint64 size = allocatedBelow(full.files());
    ASSERT_GT(size, 0u);
    KZTestTrash betaTrash = KZTestTrash::onVolume(beta);

    const KZCliResult json = cli.run({"list", "--json"});
    ASSERT_EQ(json.exitCode, 0) << str(json.err);
    const QJsonArray records = QJsonDocument::fromJson(json.out).array();
    expectFields(records, {QStringLiteral("volumeName"), QStringLiteral("volumeURL"),
                           QStringLiteral("trashURL"), QStringLiteral("trashIsEmpty"),
                           QStringLiteral("itemsCount"), QStringLiteral("itemsSize")});
    ASSERT_EQ(records.size(), 2);
    const QJsonObject first = records.at(0).toObject();
    EXPECT_EQ(first.value(QStringLiteral("volumeName")).toString(), QStringLiteral("Alpha"));
    EXPECT_EQ(first.value(QStringLiteral("volumeURL")).toString(),
              KZPath::urlFromPath(alpha).toString());
    EXPECT_EQ(first.value(QStringLiteral("trashURL")).toString(),
              KZPath::urlFromPath(full.files()).toString());
    EXPECT_FALSE(first.value(QStringLiteral("trashIsEmpty")).toBool());
    // big, folder, folder/one, folder/deeper, folder/deeper/two.
    EXPECT_EQ(first.value(QStringLiteral("itemsCount")).toInteger(), 5);
    EXPECT_EQ(quint64(first.value(QStringLiteral("itemsSize")).toInteger()), size);
    const QJsonObject second = records.at(1).toObject();
    EXPECT_EQ(second.value(QStringLiteral("volumeName")).toString(), QStringLiteral("Beta"));
    EXPECT_TRUE(second.value(QStringLiteral("trashIsEmpty")).toBool());
    EXPECT_EQ(second.value(QStringLiteral("itemsCount")).toInteger(), 0);

    const KZCliResult text = cli.run({"list"});
    ASSERT_EQ(text.exitCode, 0) << str(text.err);
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    EXPECT_EQ(QString::fromUtf8(text.out),
              QStringLiteral("Alpha\t%1\t%2\t5\t%3\nBeta\t%4\t%5\t0\t%6\n")
                  .arg(QString::fromUtf8(alpha), QString::fromUtf8(full.files()),
                       numbers.sizeToFormatString(size, 4, true), QString::fromUtf8(beta),
                       QString::fromUtf8(betaTrash.files()),
                       numbers.sizeToFormatString(0, 4, true)));

    // A second volume named Alpha: only a mount point (here with a trailing slash) tells.
    const QByteArray otherAlpha = cli.addVolume("other/Alpha", &whyNot);
    ASSERT_FALSE(otherAlpha.isEmpty()) << whyNot.toStdString();
    KZTestTrash::onVolume(otherAlpha).addFile("in other alpha");
    betaTrash.addFile("in beta");
    const KZCliResult byName = cli.run({"items", "Beta"});
    EXPECT_EQ(byName.exitCode, 0);
    EXPECT_EQ(byName.out.count('\n'), 1);
    EXPECT_TRUE(byName.out.startsWith("Beta\tin beta\t")) << str(byName.out);
    const KZCliResult byMount = cli.run({"items", otherAlpha + "/", "Beta"});
    EXPECT_EQ(byMount.exitCode, 0) << str(byMount.err);
    EXPECT_EQ(byMount.out.count('\n'), 2);
    EXPECT_TRUE(byMount.out.contains("\tin other alpha\t"));
    EXPECT_TRUE(byMount.out.contains("\tin beta\t"));
    const KZCliResult ambiguous = cli.run({"items", "Alpha"});
    EXPECT_EQ(ambiguous.exitCode, 2);
    EXPECT_TRUE(ambiguous.out.isEmpty());
    EXPECT_TRUE(ambiguous.err.contains("mount point")) << str(ambiguous.err);
    const KZCliResult unknown = cli.run({"items", "Nowhere", "Beta"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.out.isEmpty());
    EXPECT_TRUE(unknown.err.contains("Nowhere"));

    betaTrash.addFolder("two", {"x/y/z", "empty/"});
    betaTrash.addDirectorySizesLine("two", 4096);
    const KZCliResult one = cli.run({"empty", "Beta", "--yes"});
    EXPECT_EQ(one.exitCode, 0) << str(one.err);
    EXPECT_TRUE(namesIn(betaTrash.files()).isEmpty());
    EXPECT_TRUE(namesIn(betaTrash.root() + "/info").isEmpty());
    EXPECT_FALSE(betaTrash.directorySizes().contains("two"));
    EXPECT_EQ(namesIn(full.files()), (QByteArrayList{"big", "folder"}));
    expectInfoForEveryItem(full);
    EXPECT_TRUE(one.out.startsWith("Erased ")) << str(one.out);
    // The single volume's job is logged under the volume's name, one line per item.
    EXPECT_EQ(cli.logFolders(), QStringList{QStringLiteral("Beta")});
    const QByteArrayList logged = loggedPaths(cli.logText(QStringLiteral("Beta")));
    for (const QByteArray &path :
         {betaTrash.itemPath("in beta"), betaTrash.itemPath("two"), betaTrash.itemPath("two/x/y/z"),
          betaTrash.itemPath("two/empty")})
        EXPECT_TRUE(logged.contains(path)) << str(path) << "\n" << str(logged.join('\n'));
    // Nothing left to do on Beta: said, and nothing asked.
    const KZCliResult again = cli.run({"empty", beta});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.out.contains("nothing to erase")) << str(again.out);

    const KZCliResult all = cli.run({"empty", "--all", "--yes"});
    EXPECT_EQ(all.exitCode, 0) << str(all.err);
    EXPECT_TRUE(namesIn(full.files()).isEmpty());
    EXPECT_TRUE(namesIn(full.root() + "/info").isEmpty());
    EXPECT_TRUE(exists(full.files())) << "the Trash folder itself stays";
    // The job empties all Trashes, and its log says so.
    const QByteArray allLog = cli.logText(QStringLiteral("All Trashes"));
    EXPECT_TRUE(loggedPaths(allLog).contains(full.itemPath("folder/deeper/two")));
    EXPECT_TRUE(allLog.contains("Start emptying all Trashes")) << str(allLog);
}

TEST_F(Cli, ItemsKeepNamesThatAreNotTextByteExactAndEraseTakesOnlyItemsOfATrash)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    const QByteArray newline = "two\nlines";
    const QByteArray invalid = "caf\xe9 \xff";
    trash->addFile(newline, "a", "/home/someone/two\nlines");
    trash->addFile(invalid, "b", "/home/someone/caf\xe9 \xff");
    trash->addFolder("folder", {"inside"});
    trash->writeInfo("folder", "/home/someone/folder", "2024-03-05T10:20:30");
    writeFile(trash->itemPath("no info"), "c");
    trash->addFile("-dash");

    const KZCliResult json = cli.run({"items", "--json"});
    ASSERT_EQ(json.exitCode, 0) << str(json.err);
    const QJsonArray items = QJsonDocument::fromJson(json.out).array();
    expectFields(items,
                 {QStringLiteral("volumeName"), QStringLiteral("name"), QStringLiteral("itemURL"),
                  QStringLiteral("originalPath"), QStringLiteral("added"), QStringLiteral("size")});
    ASSERT_EQ(items.size(), 5);
    QMap<QByteArray, QJsonObject> byPath;
    for (const QJsonValue &item : items) {
        const QJsonObject object = item.toObject();
        const QUrl url = QUrl::fromEncoded(
            object.value(QStringLiteral("itemURL")).toString().toLatin1(), QUrl::StrictMode);
        byPath.insert(KZPath::pathFromURL(url), object);
    }
    ASSERT_TRUE(byPath.contains(trash->itemPath(newline))) << str(json.out);
    ASSERT_TRUE(byPath.contains(trash->itemPath(invalid))) << str(json.out);

    const QJsonObject lines = byPath.value(trash->itemPath(newline));
    EXPECT_EQ(lines.value(QStringLiteral("name")).toString(), QStringLiteral("two\nlines"));
    EXPECT_EQ(lines.value(QStringLiteral("originalPath")).toString(),
              QStringLiteral("/home/someone/two\nlines"));
    const QJsonObject folder = byPath.value(trash->itemPath("folder"));
    // 2024-03-05 10:20:30 in the tests' time zone (UTC), counted from 2001-01-01.
    EXPECT_EQ(folder.value(QStringLiteral("added")).toInteger(), 731326830);
    EXPECT_EQ(quint64(folder.value(QStringLiteral("size")).toInteger()),
              allocatedBelow(trash->itemPath("folder")));
    const QJsonObject orphan = byPath.value(trash->itemPath("no info"));
    EXPECT_TRUE(orphan.value(QStringLiteral("originalPath")).isNull());
    EXPECT_TRUE(orphan.value(QStringLiteral("added")).isNull());

    // Text: one line per item, escapes where a name would break the line or is not text.
    const KZCliResult text = cli.run({"items"});
    ASSERT_EQ(text.exitCode, 0) << str(text.err);
    const QByteArrayList rows = text.out.trimmed().split('\n');
    ASSERT_EQ(rows.size(), 5) << str(text.out);
    for (const QByteArray &row : rows)
        EXPECT_EQ(row.count('\t'), 4) << str(row);
    EXPECT_TRUE(
        text.out.contains("\ttwo\\nlines\t/home/someone/two\\nlines\t2024-03-05 10:20:30\t"))
        << str(text.out);
    EXPECT_TRUE(text.out.contains("\tcaf\\xe9 \\xff\t")) << str(text.out);
    EXPECT_TRUE(text.out.contains("\tfolder\t/home/someone/folder\t2024-03-05 10:20:30\t"));
    EXPECT_TRUE(text.out.contains("\tno info\t-\t-\t"));

    // Anything but a whole item of a Trash is refused, and nothing of the request is erased.
    const QByteArray outside = QFile::encodeName(cli.sandbox().path(QStringLiteral("outside")));
    writeFile(outside, "not in a Trash");
    const QList<QByteArrayList> refused{
        {"erase", "--yes", trash->itemPath("folder"), outside},
        {"erase", "--yes", trash->itemPath("folder/inside")},
        {"erase", "--yes", trash->infoPath("folder")},
        {"erase", "--yes", trash->files()},
        {"erase", "--yes", "file://host/" + trash->itemPath("folder")},
    };
    for (const QByteArrayList &arguments : refused) {
        const KZCliResult result = cli.run(arguments);
        EXPECT_EQ(result.exitCode, 2) << str(arguments.join(' '));
        EXPECT_TRUE(result.err.contains("nothing was erased")) << str(result.err);
    }
    EXPECT_EQ(readFile(outside), "not in a Trash");
    EXPECT_TRUE(exists(trash->itemPath("folder/inside")));
    EXPECT_TRUE(exists(trash->infoPath("folder")));

    // Relative paths, the names that are neither text nor one line by the URLs "items --json"
    // gives them, and a name that looks like an option after "--".
    const auto urlOf = [&](const QByteArray &name) {
        return byPath.value(trash->itemPath(name))
            .value(QStringLiteral("itemURL"))
            .toString()
            .toUtf8();
    };
    const QByteArray here = QDir::currentPath().toLocal8Bit();
    ASSERT_EQ(::chdir(trash->files().constData()), 0);
    // Options may follow names; "erase" here is the value of --locked, not a name.
    const KZCliResult erased = cli.run({"erase", "folder/", "--locked", "erase", urlOf(newline),
                                        urlOf(invalid), "-y", "--", "-dash"});
    ASSERT_EQ(::chdir(here.constData()), 0);
    EXPECT_EQ(erased.exitCode, 0) << str(erased.err);
    EXPECT_EQ(namesIn(trash->files()), QByteArrayList{"no info"});
    EXPECT_TRUE(namesIn(trash->root() + "/info").isEmpty());
    const QByteArrayList logged = loggedPaths(cli.logText(QStringLiteral("Checked items")));
    EXPECT_TRUE(logged.contains(trash->itemPath("folder/inside")));
    EXPECT_TRUE(logged.contains(KZPath::escapedDisplayString(trash->itemPath(newline)).toUtf8()))
        << str(logged.join('\n'));
}

TEST_F(Cli, UsageErrorsExitWithTwoAndHelpAndVersionWithZero)
{
    // No arguments at all start the desktop application (tested in tests/desktop).
    const QList<QByteArrayList> wrong{
        {"frobnicate"},
        {"tray", "extra"},
        {"list", "--yes"},
        {"list", "extra"},
        {"empty", "--all", "Some volume"},
        {"empty", "--locked=maybe"},
        {"empty", "--locked"},
        {"erase"},
        {"--json", "list"},
        {"empty", "--yes=no"},
    };
    for (const QByteArrayList &arguments : wrong) {
        const KZCliResult result = cli.run(arguments);
        EXPECT_EQ(result.exitCode, 2) << str(arguments.join(' '));
        EXPECT_TRUE(result.out.isEmpty()) << str(arguments.join(' '));
        EXPECT_TRUE(result.err.startsWith("binwise: ")) << str(result.err);
    }

    const KZCliResult version = cli.run({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.out, "binwise " BINWISE_VERSION "\n");
    for (const QByteArrayList &arguments :
         QList<QByteArrayList>{{"--help"}, {"help", "empty"}, {"empty", "-h"}}) {
        const KZCliResult help = cli.run(arguments);
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_TRUE(help.out.startsWith("Usage: binwise")) << str(help.out);
    }
    EXPECT_TRUE(cli.run({"help", "erase"}).out.contains("--no-permission"));
}

TEST_F(Cli, TheConfirmationIsAskedOnATerminalOnlyAndTheSettingsAreTheUsers)
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
    for (const QByteArrayList &arguments :
         QList<QByteArrayList>{{"erase", "--yes", trash->itemPath("a")},
                               {"empty", "--yes", "--secure"},
                               {"empty", "--yes", "--older-than", "1d"}}) {
        const KZCliResult refused = cli.run(arguments);
        EXPECT_EQ(refused.exitCode, 2) << str(arguments.join(' '));
        EXPECT_TRUE(refused.err.contains("showAlert")) << str(refused.err);
    }
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{"a", "b"}));
    // Nothing is asked even on a terminal (a question would be cancelled) and, as without a
    // confirmation always, nothing is logged.
    const KZCliResult unasked = cli.runOnTerminal({"empty"}, "3\n");
    EXPECT_EQ(unasked.exitCode, 0) << str(unasked.err);
    EXPECT_FALSE(unasked.err.contains("Do you want")) << str(unasked.err);
    EXPECT_TRUE(namesIn(trash->files()).isEmpty());
    EXPECT_TRUE(cli.logFolders().isEmpty());

    cli.setSetting(QStringLiteral("showAlert"), true);
    cli.setSetting(QStringLiteral("writeLog"), false);
    trash->addFile("precious");
    // No terminal and no --yes: refused before anything is shown or touched.
    const KZCliResult refused = cli.run({"empty"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.err.contains("--yes")) << str(refused.err);
    // Cancel (the third choice) on a terminal, or the input ending (Ctrl-D) before an answer.
    for (const QByteArray &typed : {QByteArray("3\n"), QByteArray("\x04")}) {
        const KZCliResult cancelled = cli.runOnTerminal({"empty"}, typed);
        EXPECT_EQ(cancelled.exitCode, 3) << str(cancelled.err);
        EXPECT_TRUE(cancelled.err.contains("Do you want to empty")) << str(cancelled.err);
    }
    // --secure without --yes offers only the secure erase (so "1" is asked again) and cancel.
    if (exists(kSrm)) {
        EXPECT_EQ(cli.runOnTerminal({"empty", "--secure"}, "1\n3\n").exitCode, 3);
    }
    EXPECT_TRUE(exists(trash->itemPath("precious")));
    EXPECT_TRUE(exists(trash->infoPath("precious")));

    const KZCliResult confirmed = cli.runOnTerminal({"empty"}, "1\n");
    EXPECT_EQ(confirmed.exitCode, 0) << str(confirmed.err);
    EXPECT_FALSE(exists(trash->itemPath("precious")));
    EXPECT_FALSE(exists(trash->infoPath("precious")));
    EXPECT_TRUE(cli.logFolders().isEmpty()) << "writeLog is off";
}

TEST_F(Cli, LockedItemsSkippedStayWithTheirInfoBehindAProgressBarThatGivesWayToQuestions)
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

    const KZCliResult skipped = cli.run({"empty", "--yes", "--locked=skip"});
    EXPECT_EQ(skipped.exitCode, 1) << str(skipped.err);
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{"holder", "locked"}));
    EXPECT_TRUE(exists(trash->itemPath("holder/locked inside")));
    EXPECT_FALSE(exists(trash->itemPath("holder/free inside")));
    expectInfoForEveryItem(*trash);
    EXPECT_FALSE(exists(trash->infoPath("loose")));
    EXPECT_TRUE(skipped.out.contains("2 of the 3 items asked for are still there"))
        << str(skipped.out);
    EXPECT_TRUE(skipped.out.contains("2 locked items skipped")) << str(skipped.out);
    EXPECT_EQ(skipped.err.count("(--locked=skip)"), 1) << "asked once, answered for all";

    // On a terminal the question about a locked item holds the job past half a second: the
    // bar opens meanwhile and is drawn once the question has been answered (skip, for all).
    trash->addFile("z");
    const KZCliResult asked = cli.runOnTerminal({"empty", "--yes"}, "1+\n");
    EXPECT_EQ(asked.exitCode, 1) << str(asked.err);
    const qsizetype question = asked.err.indexOf("Choose");
    const qsizetype bar = asked.err.lastIndexOf("\r[");
    ASSERT_GE(question, 0) << str(asked.err);
    EXPECT_GT(bar, question) << str(asked.err);
    // The line is cleared when the job ends; the summary is on standard output alone.
    EXPECT_GT(asked.err.lastIndexOf("\r\x1b[K"), bar) << str(asked.err);
    EXPECT_FALSE(asked.out.contains('\r'));
    EXPECT_TRUE(exists(trash->itemPath("locked")));
    EXPECT_FALSE(exists(trash->itemPath("z")));
}

TEST_F(Cli, InterruptedJobsKeepEveryUnerasedItemWithItsInfo)
{
    if (!exists(kSrm))
        GTEST_SKIP() << "no /usr/bin/srm to make the job last";
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();

    for (const int signal : {SIGINT, SIGKILL}) {
        // A big job that srm makes slow: time to interrupt it half-way.
        const qsizetype count = 1500;
        for (int i = 0; i < count; ++i)
            trash->addFile("item " + QByteArray::number(i), QByteArray(1000, 'x'));
        std::unique_ptr<QProcess> process = cli.start({"empty", "--yes", "--secure"});
        ASSERT_TRUE(process->waitForStarted());
        const QDeadlineTimer deadline(30000);
        while (namesIn(trash->files()).size() >= count - 5 && !deadline.hasExpired())
            QThread::msleep(5);
        ASSERT_FALSE(deadline.hasExpired()) << "the erase did not start";
        ::kill(pid_t(process->processId()), signal);
        ASSERT_TRUE(process->waitForFinished(60000));
        EXPECT_FALSE(namesIn(trash->files()).isEmpty()) << "the job ended before it was stopped";
        expectInfoForEveryItem(*trash);
        if (signal == SIGINT) {
            // Stopped like the progress window's Stop: status 3, and the log closed.
            EXPECT_EQ(process->exitStatus(), QProcess::NormalExit);
            const QByteArray err = process->readAllStandardError();
            EXPECT_EQ(process->exitCode(), 3) << str(err);
            EXPECT_FALSE(err.contains('\r')) << "a progress bar drawn into a pipe";
            EXPECT_TRUE(process->readAllStandardOutput().startsWith("Stopped."));
            const QByteArray log = cli.logText(QStringLiteral("Work"));
            EXPECT_TRUE(log.contains("(secure erase)")) << str(log.left(500));
            EXPECT_TRUE(log.contains("Erased ")) << "no end line:\n" << str(log.right(500));
            EXPECT_TRUE(log.contains("\nStopped before the end; the rest was left.\n"))
                << "the stop is logged:\n"
                << str(log.right(500));
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

TEST_F(Cli, SecureEraseWithoutSrmIsRefused)
{
    if (::geteuid() != 0 || QStandardPaths::findExecutable(QStringLiteral("unshare")).isEmpty())
        GTEST_SKIP() << "hiding /usr/bin/srm needs root and unshare";
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    trash->addFile("still here");
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
                   QStringLiteral("sh"), QFile::decodeName(empty),
                   cli.sandbox().path(QStringLiteral("volumes/Work")), table,
                   QFile::decodeName(KZCliRunner::binary())});
    ASSERT_TRUE(process.waitForFinished(60000));
    if (process.exitCode() == 77)
        GTEST_SKIP() << "cannot bind-mount in a private namespace here";
    const QByteArray err = process.readAllStandardError();
    EXPECT_EQ(process.exitCode(), 2) << str(err);
    EXPECT_TRUE(err.contains("/usr/bin/srm")) << str(err);
    EXPECT_TRUE(exists(trash->itemPath("still here")));
}
