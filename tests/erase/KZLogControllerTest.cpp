#include "erase/KZLogController.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "format/KZDateUtilities.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "model/KZPath.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>

#include <sys/stat.h>

namespace {

QVariantMap settings(const QString &name, int days)
{
    return {{KZLogController::kStartStr, QStringLiteral("start_delete_single")},
            {KZLogController::kEndStr, QStringLiteral("end_delete_single")},
            {KZLogController::kPartialLogName, name},
            {KZLogController::kGapTime, days}};
}

QStringList logFiles(const QByteArray &folder)
{
    return QDir(QString::fromLocal8Bit(folder)).entryList(QDir::Files, QDir::Name);
}

// One session of two items at the given time; answers the file written.
QByteArray session(const QByteArray &logs, const QString &name, int days, double at)
{
    KZLogController log(settings(name, days), logs, KZFileManager::defaultManager());
    log.setClock([at] { return at; });
    EXPECT_TRUE(log.openLogFile());
    log.writeStartSession();
    log.writeEntryWithPath("/trash/files/one", 1000);
    log.writeEntryWithPath("/trash/files/two\nlines \xff", 2000);
    const QByteArray path = KZPath::pathFromURL(log.currLogURL());
    log.writeEndSessionAndCloseFile();
    return path;
}

QString date(double at, unsigned style)
{
    return KZDateUtilities::sharedControl().stringWithSeconds(
        at - double(KZDateUtilities::kSeconds1970To2001), style, true, true);
}

} // namespace

TEST(LogController, SessionsWithinTheRenewalPeriodShareOneFile)
{
    KZTestSandbox sandbox;
    const QByteArray logs = KZLogController::defaultLogsFolder();
    EXPECT_EQ(logs, sandbox.stateHome().toLocal8Bit() + "/Binwise/Logs");
    const double now = double(QDateTime::currentSecsSinceEpoch());

    const QByteArray first = session(logs, QStringLiteral("Back/up"), 7, now);
    const QByteArray second = session(logs, QStringLiteral("Back/up"), 7, now + 60);
    EXPECT_EQ(first, second);
    // A "/" cannot be in a file name; the folder and the name use ":" for it.
    EXPECT_EQ(KZPath::parentPath(first), logs + "/Back:up");
    EXPECT_EQ(
        KZPath::fileName(first),
        QStringLiteral("Back:up %1.log")
            .arg(date(now, KZDateUtilities::LongStyle).replace(QLatin1Char('/'), QLatin1Char(':')))
            .toUtf8());
    struct stat st = {};
    ASSERT_EQ(::stat(logs.constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700);

    const QString start = KZLocalizedString(QStringLiteral("start_delete_single"));
    const QString endText = KZLocalizedString(QStringLiteral("end_delete_single"));
    QString expected;
    for (const double at : {now, now + 60}) {
        expected
            += date(at, KZDateUtilities::FullStyle) + QLatin1Char(' ') + start + QLatin1Char('\n');
        expected += QStringLiteral("1 /trash/files/one\n2 /trash/files/two\\nlines \\xff\n");
        expected += KZLocalizedFormat(
            QStringLiteral("items_erased"),
            {KZNumberUtilities::sharedControl().sizeToFormatString(3000, 4, true),
             date(at, KZDateUtilities::FullStyle), endText});
    }
    EXPECT_EQ(QString::fromUtf8(KZTestFiles::readFile(first)), expected);
}

TEST(LogController, ANewFileBeginsWhenTheNewestIsOldEnoughOrHidden)
{
    KZTestSandbox sandbox;
    const QByteArray logs = sandbox.path(QStringLiteral("logs")).toLocal8Bit();
    const double now = double(QDateTime::currentSecsSinceEpoch());

    // The newest file is a day old: with two days it is kept, with one a new one begins.
    const QByteArray first = session(logs, QStringLiteral("Home"), 2, now);
    EXPECT_EQ(session(logs, QStringLiteral("Home"), 2, now + 86402), first);
    const QByteArray renewed = session(logs, QStringLiteral("Home"), 1, now + 86402);
    EXPECT_NE(renewed, first);
    // Zero days: every job begins a file.
    EXPECT_NE(session(logs, QStringLiteral("Home"), 0, now + 86404), renewed);
    EXPECT_EQ(logFiles(logs + "/Home").size(), 3);

    // Hidden files and folders never count as the log in use.
    const QByteArray other = logs + "/Other";
    KZTestFiles::makeFolders(other + "/sub folder");
    KZTestFiles::writeFile(other + "/.hidden log", "old");
    const QByteArray made = session(logs, QStringLiteral("Other"), 30, now);
    EXPECT_EQ(KZPath::parentPath(made), other);
    EXPECT_FALSE(KZPath::fileName(made).startsWith('.'));
    EXPECT_EQ(KZTestFiles::readFile(other + "/.hidden log"), "old");
}
