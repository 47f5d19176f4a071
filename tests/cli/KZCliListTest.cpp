// binwise list, items and the command line itself, run as the real executable.
#include "KZCliRunner.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <ftw.h>
#include <sys/stat.h>

namespace {

std::string str(const QByteArray &bytes)
{
    return bytes.toStdString();
}

// Allocated bytes of everything below path that is not a folder, as du counts them.
quint64 allocatedBelow(const QByteArray &path)
{
    static quint64 total;
    total = 0;
    ::nftw(
        path.constData(),
        [](const char *, const struct stat *st, int type, struct FTW *) {
            if (type == FTW_F || type == FTW_SL || type == FTW_SLN)
                total += quint64(st->st_blocks) * 512;
            return 0;
        },
        16, FTW_PHYS);
    return total;
}

QJsonArray parseArray(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << str(json);
    return document.array();
}

// Every object of the array has exactly these fields.
void expectFields(const QJsonArray &objects, QStringList fields)
{
    fields.sort();
    for (const QJsonValue &object : objects)
        EXPECT_EQ(object.toObject().keys(), fields);
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

} // namespace

TEST(CliList, EachVolumeTrashAsTabbedTextAndAsJsonInRecordOrder)
{
    KZCliRunner cli;
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
    const KZTestTrash empty = KZTestTrash::onVolume(beta);

    const KZCliResult json = cli.run({"list", "--json"});
    ASSERT_EQ(json.exitCode, 0) << str(json.err);
    const QJsonArray records = parseArray(json.out);
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
    EXPECT_EQ(QString::fromUtf8(text.out),
              QStringLiteral("Alpha\t%1\t%2\t5\t%3\nBeta\t%4\t%5\t0\t%6\n")
                  .arg(QString::fromUtf8(alpha), QString::fromUtf8(full.files()), sizeText(size),
                       QString::fromUtf8(beta), QString::fromUtf8(empty.files()), sizeText(0)));
}

TEST(CliList, ItemsKeepNamesThatAreNotTextByteExactAndEachOnOneLine)
{
    KZCliRunner cli;
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
    KZTestFiles::writeFile(trash->itemPath("no info"), "c");

    const KZCliResult json = cli.run({"items", "--json"});
    ASSERT_EQ(json.exitCode, 0) << str(json.err);
    const QJsonArray items = parseArray(json.out);
    expectFields(items,
                 {QStringLiteral("volumeName"), QStringLiteral("name"), QStringLiteral("itemURL"),
                  QStringLiteral("originalPath"), QStringLiteral("added"), QStringLiteral("size")});
    ASSERT_EQ(items.size(), 4);
    QMap<QByteArray, QJsonObject> byPath;
    for (const QJsonValue &item : items) {
        const QJsonObject object = item.toObject();
        const QUrl url = QUrl::fromEncoded(
            object.value(QStringLiteral("itemURL")).toString().toLatin1(), QUrl::StrictMode);
        byPath.insert(KZPath::pathFromURL(url), object);
    }
    ASSERT_TRUE(byPath.contains(trash->itemPath(newline))) << str(json.out);
    ASSERT_TRUE(byPath.contains(trash->itemPath(invalid))) << str(json.out);
    ASSERT_TRUE(byPath.contains(trash->itemPath("folder")));
    ASSERT_TRUE(byPath.contains(trash->itemPath("no info")));

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
    ASSERT_EQ(rows.size(), 4) << str(text.out);
    for (const QByteArray &row : rows)
        EXPECT_EQ(row.count('\t'), 4) << str(row);
    EXPECT_TRUE(
        text.out.contains("\ttwo\\nlines\t/home/someone/two\\nlines\t2024-03-05 10:20:30\t"))
        << str(text.out);
    EXPECT_TRUE(text.out.contains("\tcaf\\xe9 \\xff\t")) << str(text.out);
    EXPECT_TRUE(text.out.contains("\tfolder\t/home/someone/folder\t2024-03-05 10:20:30\t"));
    EXPECT_TRUE(text.out.contains("\tno info\t-\t-\t"));
}

TEST(CliList, ItemsOfTheVolumesNamedByNameOrMountPoint)
{
    KZCliRunner cli;
    QString whyNot;
    const QByteArray first = cli.addVolume("a/Same", &whyNot);
    const QByteArray second = cli.addVolume("b/Same", &whyNot);
    const QByteArray other = cli.addVolume("Other", &whyNot);
    if (first.isEmpty() || second.isEmpty() || other.isEmpty())
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash::onVolume(first).addFile("in first");
    KZTestTrash::onVolume(second).addFile("in second");
    KZTestTrash::onVolume(other).addFile("in other");

    const KZCliResult byName = cli.run({"items", "Other"});
    EXPECT_EQ(byName.exitCode, 0);
    EXPECT_EQ(byName.out.count('\n'), 1);
    EXPECT_TRUE(byName.out.startsWith("Other\tin other\t")) << str(byName.out);

    // Two volumes share the name: only a mount point (here with a trailing slash) tells.
    const KZCliResult ambiguous = cli.run({"items", "Same"});
    EXPECT_EQ(ambiguous.exitCode, 2);
    EXPECT_TRUE(ambiguous.out.isEmpty());
    EXPECT_TRUE(ambiguous.err.contains("mount point")) << str(ambiguous.err);
    const KZCliResult byMount = cli.run({"items", second + "/", "Other"});
    EXPECT_EQ(byMount.exitCode, 0) << str(byMount.err);
    EXPECT_EQ(byMount.out.count('\n'), 2);
    EXPECT_TRUE(byMount.out.contains("\tin second\t"));
    EXPECT_TRUE(byMount.out.contains("\tin other\t"));

    const KZCliResult unknown = cli.run({"items", "Nowhere", "Other"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.out.isEmpty());
    EXPECT_TRUE(unknown.err.contains("Nowhere"));
}

TEST(CliList, UsageErrorsExitWithTwoAndHelpAndVersionWithZero)
{
    KZCliRunner cli;
    const QList<QByteArrayList> wrong{
        {},
        {"frobnicate"},
        {"list", "--yes"},
        {"list", "extra"},
        {"items", "--all"},
        {"empty", "--all", "Some volume"},
        {"empty", "--locked=maybe"},
        {"empty", "--locked"},
        {"erase"},
        {"erase", "--json", "x"},
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
         QList<QByteArrayList>{{"--help"}, {"help"}, {"help", "empty"}, {"empty", "-h"}}) {
        const KZCliResult help = cli.run(arguments);
        EXPECT_EQ(help.exitCode, 0);
        EXPECT_TRUE(help.out.startsWith("Usage: binwise")) << str(help.out);
    }
    EXPECT_TRUE(cli.run({"help", "erase"}).out.contains("--no-permission"));
}
