// Choosing Trash items by age, size and name, through the real binwise executable: the
// boundaries of --older-than and --larger-than, --matching against what the real trash-rm
// removes from the same Trash, and "empty" erasing exactly the chosen items with their info
// files while the rest stays byte for byte.
#include "KZCliRunner.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>

#include <algorithm>

using KZTestFiles::allocatedBelow;
using KZTestFiles::exists;
using KZTestFiles::namesIn;
using KZTestFiles::readFile;
using KZTestFiles::writeFile;

namespace {

// A DeletionDate secondsAgo before now, in local time as info files write it.
QByteArray deletedAgo(qint64 secondsAgo)
{
    return QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch() - secondsAgo)
        .toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))
        .toUtf8();
}

// The names "items --json" printed, sorted.
QByteArrayList namesOf(const KZCliResult &result)
{
    QByteArrayList names;
    for (const QJsonValue &value : QJsonDocument::fromJson(result.out).array())
        names.append(value.toObject().value(QStringLiteral("name")).toString().toUtf8());
    std::sort(names.begin(), names.end());
    return names;
}

constexpr qint64 kDay = 86400;

class CliChoosing : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(cli.isValid()); }

    KZCliRunner cli;
};

} // namespace

TEST_F(CliChoosing, AgeAndSizeChooseStrictlyBeyondTheirBoundaryAndEmptyErasesOnlyThose)
{
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    // Two minutes either side of thirty days: slack for the seconds the test itself takes.
    trash->addFile("old", "o");
    trash->writeInfo("old", "/home/u/old", deletedAgo(30 * kDay + 120));
    trash->addFile("recent", "r");
    trash->writeInfo("recent", "/home/u/recent", deletedAgo(30 * kDay - 120));
    trash->addFile("big", QByteArray(4097, 'b'));
    trash->writeInfo("big", "/home/u/big", deletedAgo(40 * kDay));
    trash->addFile("page", QByteArray(4096, 'p'));
    trash->writeInfo("page", "/home/u/page", deletedAgo(3600));
    trash->addFolder("folder", {"a", "b"});
    trash->writeInfo("folder", "/home/u/folder", deletedAgo(31 * kDay));
    // No DeletionDate, and no info file at all: never older than anything.
    trash->addFile("undated", "u");
    ASSERT_TRUE(writeFile(trash->infoPath("undated"), "[Trash Info]\nPath=/home/u/undated\n"));
    ASSERT_TRUE(writeFile(trash->itemPath("no info"), "n"));
    ASSERT_EQ(allocatedBelow(trash->itemPath("page")), 4096u);
    ASSERT_EQ(allocatedBelow(trash->itemPath("big")), 8192u);
    ASSERT_EQ(allocatedBelow(trash->itemPath("folder")), 8192u);

    const auto chosen = [&](const QByteArrayList &options) {
        KZCliResult result = cli.run(QByteArrayList{"items", "--json"} + options);
        EXPECT_EQ(result.exitCode, 0) << str(options.join(' ')) << ": " << str(result.err);
        return namesOf(result);
    };
    const QByteArrayList older{"big", "folder", "old"};
    EXPECT_EQ(chosen({"--older-than", "30d"}), older);
    EXPECT_EQ(chosen({"--older-than=30"}), older); // days, as trash-empty counts them
    EXPECT_EQ(chosen({"--older-than", "43200m"}), older);
    EXPECT_EQ(chosen({"--older-than", "720h"}), older);
    EXPECT_EQ(chosen({"--older-than", "4w"}), (QByteArrayList{"big", "folder", "old", "recent"}));
    EXPECT_EQ(chosen({"--older-than", "50m"}),
              (QByteArrayList{"big", "folder", "old", "page", "recent"}));
    // Sizes step by 1000 as binwise prints them, by 1024 with "i"; the boundary is not chosen.
    EXPECT_EQ(chosen({"--larger-than", "4096"}), (QByteArrayList{"big", "folder"}));
    EXPECT_EQ(chosen({"--larger-than", "4Ki"}), (QByteArrayList{"big", "folder"}));
    EXPECT_EQ(chosen({"--larger-than", "4k"}).size(), 7);
    EXPECT_EQ(chosen({"--larger-than", "8192"}), QByteArrayList{});
    EXPECT_EQ(chosen({"--older-than", "35d", "--larger-than", "4096"}), QByteArrayList{"big"});
    // The text listing chooses the same.
    const KZCliResult text = cli.run({"items", "Work", "--older-than", "30d"});
    EXPECT_EQ(text.exitCode, 0) << str(text.err);
    EXPECT_EQ(text.out.count('\n'), 3) << str(text.out);

    for (const QByteArrayList &wrong : QList<QByteArrayList>{{"items", "--older-than", "30x"},
                                                             {"items", "--older-than", "-3d"},
                                                             {"items", "--larger-than", "1.5G"},
                                                             {"items", "--larger-than", "9Q"},
                                                             {"list", "--older-than", "1d"},
                                                             {"erase", "--matching", "x", "y"},
                                                             {"empty", "--matching"}}) {
        const KZCliResult refused = cli.run(wrong);
        EXPECT_EQ(refused.exitCode, 2) << str(wrong.join(' '));
        EXPECT_TRUE(refused.out.isEmpty()) << str(refused.out);
        EXPECT_TRUE(refused.err.startsWith("binwise: ")) << str(refused.err);
    }
    // trash-empty's habit of a number of days is pointed at --older-than.
    const KZCliResult days = cli.run({"empty", "--yes", "30"});
    EXPECT_EQ(days.exitCode, 2);
    EXPECT_TRUE(days.err.contains("use --older-than 30")) << str(days.err);

    // Emptying by age erases the chosen items and their info files; the rest stays as it was.
    QHash<QByteArray, QByteArray> kept;
    for (const char *name : {"recent", "page", "undated", "no info"}) {
        kept.insert(trash->itemPath(name), readFile(trash->itemPath(name)));
        if (exists(trash->infoPath(name)))
            kept.insert(trash->infoPath(name), readFile(trash->infoPath(name)));
    }
    const KZCliResult emptied = cli.run({"empty", "--older-than", "30d", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    // old 1, big 1, folder 3.
    EXPECT_TRUE(emptied.out.startsWith("Erased 5 items, ")) << str(emptied.out);
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{"no info", "page", "recent", "undated"}));
    EXPECT_EQ(namesIn(trash->root() + "/info"),
              (QByteArrayList{"page.trashinfo", "recent.trashinfo", "undated.trashinfo"}));
    for (auto it = kept.cbegin(); it != kept.cend(); ++it)
        EXPECT_EQ(readFile(it.key()), it.value()) << str(it.key());
    // Logged as the chosen items they are, not as the whole Trash.
    EXPECT_TRUE(cli.logText(QStringLiteral("Checked items")).contains("folder"))
        << str(cli.logFolders().join(u',').toUtf8());

    const KZCliResult none = cli.run({"empty", "Work", "--older-than", "30d", "--yes"});
    EXPECT_EQ(none.exitCode, 0) << str(none.err);
    EXPECT_EQ(none.out, "No item in the Trash matches what was asked; nothing was erased.\n");
    EXPECT_EQ(namesIn(trash->files()).size(), 4);
}

TEST_F(CliChoosing, MatchingChoosesWhatTrashRmRemovesFromTheSameTrash)
{
    if (QStandardPaths::findExecutable(QStringLiteral("trash-rm")).isEmpty())
        GTEST_SKIP() << "no trash-rm (Debian package trash-cli)";
    QString whyNot;
    std::optional<KZTestTrash> trash = cli.someTrash(&whyNot);
    if (!trash)
        GTEST_SKIP() << whyNot.toStdString();
    const QByteArray top = trash->root().left(trash->root().lastIndexOf('/'));

    // trash-rm reads every Trash of the machine: every name and pattern holds "kzq", so that
    // nothing but this test's items can ever match.
    const auto fill = [&] {
        for (const QByteArray &name : namesIn(trash->files()))
            KZTestSandbox::removeTree(trash->itemPath(name));
        for (const QByteArray &name : namesIn(trash->root() + "/info"))
            ::unlink((trash->root() + "/info/" + name).constData());
        // Trash name, then the original path (relative to the volume, or absolute).
        const QList<QPair<QByteArray, QByteArray>> items{
            {"kzq-a.txt", "docs/kzq-a.txt"},
            {"kzq-a.txt.2", "other/kzq-a.txt"},
            {"kzq-b.log", "docs/kzq-b.log"},
            {"kzq-c.TXT", "docs/kzq-c.TXT"},
            {".kzq-hidden", "docs/.kzq-hidden"},
            {"kzq-[x].txt", "docs/kzq-[x].txt"},
            {"kzq-\xc3\xbc.txt", "docs/kzq-\xc3\xbc.txt"},
            {"renamed", "docs/kzq-d.txt"},
            {"kzq-dir", top + "/elsewhere/kzq-dir"},
        };
        for (const auto &[name, original] : items) {
            if (name == "kzq-dir")
                trash->addFolder(name, {"kzq-inside.txt"});
            else
                trash->addFile(name, "x");
            trash->writeInfo(name, original);
        }
        // In the Trash without an info file: neither tool takes it.
        writeFile(trash->itemPath("kzq-orphan.txt"), "x");
    };
    QProcessEnvironment peers = QProcessEnvironment::systemEnvironment();
    for (const QString &key : {QStringLiteral("HOME"), QStringLiteral("XDG_DATA_HOME")})
        peers.insert(key, cli.environment().value(key));

    const QByteArrayList patterns{"kzq-*.txt",   "kzq-?.log",     "*kzq-*",
                                  "kzq-[a-b].*", "kzq-[!a]*",     "kzq-[x].txt",
                                  "kzq-?.txt",   "kzq-[.txt",     ".kzq*",
                                  "kzq-*.txt*",  "KZQ-*",         top + "/docs/kzq-a.txt",
                                  "kzq-dir",     "kzq-\xc3\xbc*", "kzq-[b-a]*"};
    for (const QByteArray &pattern : patterns) {
        fill();
        const KZCliResult ours = cli.run({"items", "--matching", pattern, "--json"});
        ASSERT_EQ(ours.exitCode, 0) << str(ours.err);
        const QByteArrayList before = namesIn(trash->files());
        QProcess peer;
        peer.setProcessEnvironment(peers);
        peer.setStandardInputFile(QProcess::nullDevice());
        peer.start(QStringLiteral("trash-rm"), {QString::fromUtf8(pattern)});
        ASSERT_TRUE(peer.waitForFinished(60000));
        QByteArrayList removed;
        const QByteArrayList after = namesIn(trash->files());
        for (const QByteArray &name : before) {
            if (!after.contains(name))
                removed.append(name);
        }
        EXPECT_EQ(namesOf(ours), removed) << "pattern " << str(pattern);
    }

    // And "empty --matching" erases what "items --matching" listed, info files with them.
    fill();
    const KZCliResult emptied = cli.run({"empty", "--matching", "kzq-*.txt", "--yes"});
    EXPECT_EQ(emptied.exitCode, 0) << str(emptied.out) << str(emptied.err);
    EXPECT_EQ(namesIn(trash->files()), (QByteArrayList{".kzq-hidden", "kzq-b.log", "kzq-c.TXT",
                                                       "kzq-dir", "kzq-orphan.txt"}));
    EXPECT_FALSE(exists(trash->infoPath("renamed")));
    EXPECT_FALSE(exists(trash->infoPath("kzq-a.txt.2")));
    EXPECT_TRUE(exists(trash->infoPath("kzq-b.log")));
}
