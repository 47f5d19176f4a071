// The per-item outcomes "binwise erase --json" and "binwise empty --json" print, read back as
// JSON, for a run as an ordinary user that meets every kind of item at once: erased, locked,
// someone else's, on a read-only file system, and one that vanishes under the erase.
#include "KZCliRunner.h"
#include "KZTestMount.h"
#include "KZTestUser.h"

#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <cstring>

#include <fcntl.h>
#include <ftw.h>
#include <unistd.h>

using KZTestFiles::chownTree;
using KZTestFiles::exists;
using KZTestFiles::namesIn;
using KZTestFiles::writeFile;

namespace {

constexpr uid_t kUser = KZTestUser::kNobody;
// Entries of the folder erased first, to give the test time to take "vanishing" away.
constexpr qint64 kMany = 30000;

QJsonObject documentOf(const QByteArray &out)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(out, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << str(out);
    return document.object();
}

// name -> the item's object.
QHash<QString, QJsonObject> itemsOf(const QJsonObject &document)
{
    QHash<QString, QJsonObject> items;
    for (const QJsonValue &value : document.value(QStringLiteral("items")).toArray()) {
        const QJsonObject item = value.toObject();
        items.insert(item.value(QStringLiteral("name")).toString(), item);
    }
    return items;
}

qint64 total(const QJsonObject &document, const char *key)
{
    return document.value(QStringLiteral("totals"))
        .toObject()
        .value(QLatin1String(key))
        .toInteger(-1);
}

} // namespace

TEST(CliOutcomes, EachRequestedItemHasItsOutcomeAndTheTotalsCountThem)
{
    if (!KZTestUser::canSwitchUser())
        GTEST_SKIP() << "running binwise as another user needs root";
    KZCliRunner cli;
    ASSERT_TRUE(cli.isValid());
    QString whyNot;
    const QByteArray top = cli.addVolume("Work", &whyNot);
    if (top.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash trash = KZTestTrash::onVolume(top, int(kUser));

    // "many" keeps the walk busy long enough for "vanishing" to go before it is reached.
    trash.addFolder("many");
    for (qint64 i = 0; i < kMany; ++i) {
        const QByteArray path = trash.itemPath("many/" + QByteArray::number(i));
        const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        ASSERT_GE(fd, 0);
        ::close(fd);
    }
    trash.addFile("vanishing");
    trash.addFile("plain", QByteArray(3000, 'p'), "/home/u/plain");
    trash.addFile("locked");
    trash.addFolder("root's folder", {"inside"});
    trash.addFolder("frozen");
    ASSERT_TRUE(chownTree(trash.root(), kUser));
    ASSERT_EQ(::lchown(trash.itemPath("root's folder").constData(), 0, 0), 0);
    ASSERT_EQ(::lchown(trash.itemPath("root's folder/inside").constData(), 0, 0), 0);
    // A read-only file system inside the Trash: its file cannot be removed by anyone.
    std::unique_ptr<KZTestMount> frozen = KZTestMount::tmpfs(trash.itemPath("frozen"), &whyNot, 1);
    ASSERT_TRUE(frozen) << whyNot.toStdString();
    ASSERT_TRUE(writeFile(trash.itemPath("frozen/f"), "f"));
    ASSERT_TRUE(chownTree(trash.itemPath("frozen"), kUser));
    ASSERT_TRUE(frozen->remount(true));
    KZTestFiles::ImmutableGuard locked(trash.itemPath("locked"));
    ASSERT_TRUE(cli.runAsUser(kUser));

    // With --json a script still has to say --yes.
    const KZCliResult unconfirmed = cli.run({"erase", "--json", trash.itemPath("plain")});
    EXPECT_EQ(unconfirmed.exitCode, 2);
    EXPECT_TRUE(unconfirmed.out.isEmpty()) << str(unconfirmed.out);
    EXPECT_TRUE(exists(trash.itemPath("plain")));
    // Cancelled at the confirmation: still one document, every item stopped.
    const KZCliResult cancelled
        = cli.runOnTerminal({"erase", "--json", trash.itemPath("plain")}, "3\n");
    EXPECT_EQ(cancelled.exitCode, 3) << str(cancelled.err);
    EXPECT_EQ(itemsOf(documentOf(cancelled.out))
                  .value(QStringLiteral("plain"))
                  .value(QStringLiteral("outcome"))
                  .toString(),
              QStringLiteral("stopped"));
    EXPECT_TRUE(exists(trash.itemPath("plain")));

    QByteArrayList arguments{"erase", "--yes", "--json"};
    for (const char *name : {"many", "vanishing", "plain", "locked", "root's folder", "frozen"})
        arguments.append(trash.itemPath(name));
    std::unique_ptr<QProcess> process = cli.start(arguments);
    ASSERT_TRUE(process->waitForStarted());
    // The log is opened once the erase is confirmed, just before the walk starts with "many".
    const QString logs = cli.sandbox().stateHome() + QStringLiteral("/Binwise/Logs");
    const QDeadlineTimer deadline(60000);
    while (!QDir(logs).exists() && !deadline.hasExpired()
           && process->state() != QProcess::NotRunning)
        QThread::usleep(200);
    ASSERT_EQ(::unlink(trash.itemPath("vanishing").constData()), 0)
        << "binwise reached it first: " << std::strerror(errno);
    ASSERT_TRUE(process->waitForFinished(120000));
    const QByteArray out = process->readAllStandardOutput();
    const QByteArray err = process->readAllStandardError();
    EXPECT_EQ(process->exitCode(), 1) << str(out) << str(err);
    // The summary a terminal run prints goes to standard error; standard output is JSON alone.
    EXPECT_TRUE(err.contains("Erased ")) << str(err);

    const QJsonObject document = documentOf(out);
    const QHash<QString, QJsonObject> items = itemsOf(document);
    ASSERT_EQ(items.size(), 6) << str(out);
    const auto outcome = [&](const char *name) {
        return items.value(QString::fromUtf8(name)).value(QStringLiteral("outcome")).toString();
    };
    const auto reason = [&](const char *name) {
        return items.value(QString::fromUtf8(name)).value(QStringLiteral("reason"));
    };
    EXPECT_EQ(outcome("many"), QStringLiteral("erased"));
    EXPECT_EQ(outcome("plain"), QStringLiteral("erased"));
    EXPECT_TRUE(reason("plain").isNull());
    EXPECT_EQ(items.value(QStringLiteral("plain")).value(QStringLiteral("erasedSize")).toInteger(),
              4096);
    EXPECT_EQ(items.value(QStringLiteral("plain")).value(QStringLiteral("originalPath")).toString(),
              QStringLiteral("/home/u/plain"));
    EXPECT_EQ(outcome("vanishing"), QStringLiteral("gone"));
    EXPECT_EQ(outcome("root's folder"), QStringLiteral("skippedNoPermission"));
    EXPECT_TRUE(reason("root's folder").toString().contains(QStringLiteral("no permission")));
    EXPECT_EQ(outcome("frozen"), QStringLiteral("failed"));
    EXPECT_EQ(reason("frozen").toString(), QStringLiteral("frozen/f: Read-only file system"));
    const bool lockable = locked.isSet();
    if (lockable) {
        EXPECT_EQ(outcome("locked"), QStringLiteral("skippedLocked"));
        EXPECT_TRUE(reason("locked").toString().contains(QStringLiteral("locked")));
    }
    EXPECT_EQ(total(document, "count"), 6);
    EXPECT_EQ(total(document, "erased"), lockable ? 2 : 3);
    EXPECT_EQ(total(document, "gone"), 1);
    EXPECT_EQ(total(document, "skippedLocked"), lockable ? 1 : 0);
    EXPECT_EQ(total(document, "skippedNoPermission"), 1);
    EXPECT_EQ(total(document, "failed"), 1);
    EXPECT_EQ(total(document, "busy"), 0);
    EXPECT_EQ(total(document, "stopped"), 0);
    // "many" with its entries, and "plain".
    EXPECT_EQ(total(document, "erasedEntries"), kMany + (lockable ? 2 : 3));
    EXPECT_GE(total(document, "erasedSize"), 4096);

    // "empty --json" reports the whole Trash's items the same way; with the read-only file
    // system gone, what stays is what the user's rights cannot remove.
    ASSERT_TRUE(frozen->remount(false));
    frozen.reset();
    trash.addFile("another");
    ASSERT_TRUE(chownTree(trash.itemPath("another"), kUser));
    const KZCliResult emptied = cli.run({"empty", "Work", "--yes", "--json"});
    EXPECT_EQ(emptied.exitCode, 1) << str(emptied.out) << str(emptied.err);
    const QJsonObject again = documentOf(emptied.out);
    const QHash<QString, QJsonObject> left = itemsOf(again);
    EXPECT_EQ(left.value(QStringLiteral("another")).value(QStringLiteral("outcome")).toString(),
              QStringLiteral("erased"));
    EXPECT_EQ(left.value(QStringLiteral("frozen")).value(QStringLiteral("outcome")).toString(),
              QStringLiteral("erased"));
    EXPECT_EQ(
        left.value(QStringLiteral("root's folder")).value(QStringLiteral("outcome")).toString(),
        QStringLiteral("skippedNoPermission"));
    EXPECT_EQ(total(again, "count"), lockable ? 4 : 3);
    EXPECT_EQ(total(again, "skippedNoPermission"), 1);
    EXPECT_EQ(namesIn(trash.files()).contains("another"), false);

    // Skips asked for are the user's: said so, with no word of a helper or of authorization.
    const KZCliResult skipped
        = cli.run({"empty", "Work", "--yes", "--json", "--locked=skip", "--no-permission=skip"});
    EXPECT_EQ(skipped.exitCode, 1) << str(skipped.err);
    EXPECT_TRUE(skipped.err.contains("without permission skipped")) << str(skipped.err);
    EXPECT_FALSE(skipped.err.contains("helper") || skipped.err.contains("authorized"))
        << str(skipped.err);
    const QHash<QString, QJsonObject> skips = itemsOf(documentOf(skipped.out));
    EXPECT_TRUE(skips.value(QStringLiteral("root's folder"))
                    .value(QStringLiteral("reason"))
                    .toString()
                    .contains(QStringLiteral("skip")))
        << str(skipped.out);
    if (lockable) {
        EXPECT_EQ(skips.value(QStringLiteral("locked")).value(QStringLiteral("outcome")).toString(),
                  QStringLiteral("skippedLocked"));
    }

    // Nothing to erase is still one document, with nothing in it.
    const KZCliResult none
        = cli.run({"empty", "Work", "--yes", "--json", "--matching", "nothing*"});
    EXPECT_EQ(none.exitCode, 0) << str(none.err);
    EXPECT_EQ(total(documentOf(none.out), "count"), 0);
    EXPECT_TRUE(none.err.contains("nothing was erased")) << str(none.err);
}
