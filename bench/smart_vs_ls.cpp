// Times the smart-delete window's opening against ls -la: a generated Trash of 10,000 top-level
// items (files and folders, each with its info file) is opened until the first volume's items
// are listed in their order, and ls -la lists the same files/ and info/ folders, in the same
// run on the same (warm) tree. Then the memory taken by a tree of 100,000 top-level items.
//
//   binwise_smart_bench [--dir FOLDER] [--runs N] [--items N] [--memory-items N]
//
// Prints the medians, "open/ls ratio: X" (the target is 3 or less) and the resident memory the
// larger tree added.
#include "model/KZTrashLocation.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZTrashItemsModel.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

void writeFile(const QByteArray &path, const QByteArray &content)
{
    const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    if (::write(fd, content.constData(), size_t(content.size())) < 0)
        std::perror(path.constData());
    ::close(fd);
}

// TRASH/files with count top-level items, every third a folder of three files, the others
// files of a few kilobytes; each with TRASH/info/NAME.trashinfo.
void generate(const QByteArray &trash, int count)
{
    ::mkdir(trash.constData(), 0700);
    ::mkdir((trash + "/files").constData(), 0700);
    ::mkdir((trash + "/info").constData(), 0700);
    const QByteArray content(3000, 'x');
    for (int i = 0; i < count; ++i) {
        const QByteArray name = "item " + QByteArray::number(i) + (i % 3 == 0 ? "" : ".txt");
        const QByteArray path = trash + "/files/" + name;
        if (i % 3 == 0) {
            ::mkdir(path.constData(), 0700);
            for (const char *child : {"/a", "/b", "/c"})
                writeFile(path + child, content);
        } else {
            writeFile(path, content.left(500 + i % 2500));
        }
        writeFile(trash + "/info/" + name + ".trashinfo",
                  "[Trash Info]\nPath=/home/user/Documents/" + name.toPercentEncoding("/")
                      + "\nDeletionDate=2024-03-05T10:" + QByteArray::number(10 + i % 50)
                      + ":30\n");
    }
}

KZTrashLocation recordOf(const QByteArray &trash)
{
    KZTrashLocation record;
    record.trashURL = QUrl::fromLocalFile(QString::fromLocal8Bit(trash + "/files"));
    record.volumeURL = QUrl::fromLocalFile(QString::fromLocal8Bit(trash).section(u'/', 0, -2));
    record.volumeName = QStringLiteral("Bench");
    record.trashIsEmpty = false;
    return record;
}

template<typename Condition>
void waitFor(Condition condition)
{
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
}

// Opens the window on the Trash; answers the milliseconds until the item list held its rows
// (*listed) and until they were in their order (the answer).
double openOnce(const QByteArray &trash, int expected, double *listed)
{
    KZSmartWindowCntrl cntrl;
    QElapsedTimer clock;
    clock.start();
    cntrl.showWindowWithDict({recordOf(trash)});
    waitFor([&] { return cntrl.itemsModel()->rowCount() == expected; });
    *listed = double(clock.nsecsElapsed()) / 1e6;
    waitFor([&] { return !cntrl.isSorting(); });
    const double sorted = double(clock.nsecsElapsed()) / 1e6;
    cntrl.windowWillClose();
    return sorted;
}

double lsOnce(const QByteArray &trash)
{
    QProcess ls;
    ls.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer clock;
    clock.start();
    ls.start(QStringLiteral("ls"), {QStringLiteral("-la"), QString::fromLocal8Bit(trash + "/files"),
                                    QString::fromLocal8Bit(trash + "/info")});
    ls.waitForFinished(-1);
    return double(clock.nsecsElapsed()) / 1e6;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QByteArray base;
    int runs = 7;
    int items = 10000;
    int memoryItems = 100000;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--dir"))
            base = arguments[i + 1].toLocal8Bit();
        else if (arguments[i] == QLatin1String("--runs"))
            runs = std::max(1, arguments[i + 1].toInt());
        else if (arguments[i] == QLatin1String("--items"))
            items = std::max(1, arguments[i + 1].toInt());
        else if (arguments[i] == QLatin1String("--memory-items"))
            memoryItems = std::max(0, arguments[i + 1].toInt());
    }
    QTemporaryDir temporary(base.isEmpty() ? QString()
                                           : QString::fromLocal8Bit(base + "/smart-bench-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "cannot make a temporary folder\n");
        return 1;
    }
    const QByteArray top = temporary.path().toLocal8Bit();
    const QByteArray trash = top + "/.Trash-" + QByteArray::number(::getuid());

    QElapsedTimer clock;
    clock.start();
    generate(trash, items);
    std::printf("generated %d top-level items in %.1f s under %s\n", items,
                clock.elapsed() / 1000.0, trash.constData());

    std::vector<double> openTimes;
    std::vector<double> listTimes;
    std::vector<double> lsTimes;
    // One untimed round of each warms the caches for both alike.
    for (int round = -1; round < runs; ++round) {
        double listed = 0;
        const double opened = openOnce(trash, items, &listed);
        const double ls = lsOnce(trash);
        if (round >= 0) {
            openTimes.push_back(opened);
            listTimes.push_back(listed);
            lsTimes.push_back(ls);
        }
    }
    const double opened = median(openTimes);
    const double ls = median(lsTimes);
    std::printf("open until listed: median %.2f ms; until sorted by name: median %.2f ms\n",
                median(listTimes), opened);
    std::printf("ls -la files/ info/: median %.2f ms\n", ls);
    std::printf("open/ls ratio: %.3f\n", opened / ls);

    if (memoryItems > 0) {
        const QByteArray bigTrash = top + "/big/.Trash-" + QByteArray::number(::getuid());
        ::mkdir((top + "/big").constData(), 0700);
        clock.restart();
        generate(bigTrash, memoryItems);
        std::printf("generated %d top-level items in %.1f s\n", memoryItems,
                    clock.elapsed() / 1000.0);
        const long before = residentKiB();
        KZSmartWindowCntrl cntrl;
        cntrl.showWindowWithDict({recordOf(bigTrash)});
        waitFor([&] { return !cntrl.isGathering() && !cntrl.isSorting(); });
        waitFor([&] { return cntrl.gatherersRunning() == 0; });
        const long after = residentKiB();
        std::printf("resident memory of a %d-item tree: %.1f MiB (%ld KiB before, %ld after)\n",
                    memoryItems, double(after - before) / 1024.0, before, after);
        cntrl.windowWillClose();
    }
    return 0;
}
