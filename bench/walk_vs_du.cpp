// Times the plain folder walk against du -sB1 on one generated Trash of about 100,000 entries,
// in the same run and on the same (warm) tree, and checks that both count the same bytes: du's
// total less the blocks of the folders themselves, which a walk leaves out.
//
//   binwise_walk_bench [--dir FOLDER] [--runs N]
//
// Prints the medians and "walk/du ratio: X" (below 1.0: the walk is faster).
#include "KZBenchTree.h"
#include "model/KZFilesUtilities.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QByteArray base;
    int runs = 7;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--dir"))
            base = arguments[i + 1].toLocal8Bit();
        else if (arguments[i] == QLatin1String("--runs"))
            runs = std::max(1, arguments[i + 1].toInt());
    }
    QTemporaryDir temporary(base.isEmpty() ? QString()
                                           : QString::fromLocal8Bit(base + "/walk-bench-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "cannot make a temporary folder\n");
        return 1;
    }
    const QByteArray trash
        = temporary.path().toLocal8Bit() + "/.Trash-" + QByteArray::number(::getuid());
    const QByteArray files = trash + "/files";
    KZBenchTree tree;
    tree.makeTrashFolders(trash);

    QElapsedTimer clock;
    clock.start();
    tree.generateMixed(trash, false);
    std::printf("generated %d entries in %.1f s under %s\n", tree.entries(),
                clock.elapsed() / 1000.0, files.constData());

    const KZFilesUtilities &utilities = KZFilesUtilities::sharedControl();
    const QUrl url = KZPath::urlFromPath(files);
    KZItemSizeInfo size;
    quint64 count = 0;
    quint64 duTotal = 0;
    std::vector<double> walkTimes;
    std::vector<double> duTimes;
    // One untimed round of each warms the caches for both alike.
    for (int round = -1; round < runs; ++round) {
        clock.restart();
        count = 0;
        size = utilities.iterateFolderForSize(url, &count);
        const double walk = double(clock.nsecsElapsed()) / 1e6;

        QProcess du;
        clock.restart();
        du.start(QStringLiteral("du"), {QStringLiteral("-sB1"), QString::fromLocal8Bit(files)});
        du.waitForFinished(-1);
        const double duTime = double(clock.nsecsElapsed()) / 1e6;
        duTotal = du.readAllStandardOutput().split('\t').first().toULongLong();
        if (round >= 0) {
            walkTimes.push_back(walk);
            duTimes.push_back(duTime);
        }
    }
    const quint64 folders = KZBenchTree::folderBlocks(files);
    const double walk = KZBenchTree::median(walkTimes);
    const double du = KZBenchTree::median(duTimes);
    std::printf("walk: %llu items, %llu allocated bytes, %llu logical bytes, median %.2f ms\n",
                static_cast<unsigned long long>(count),
                static_cast<unsigned long long>(size.totalFileSize),
                static_cast<unsigned long long>(size.fileSize), walk);
    std::printf("du -sB1: %llu bytes (%llu without the folders' own %llu), median %.2f ms\n",
                static_cast<unsigned long long>(duTotal),
                static_cast<unsigned long long>(duTotal - folders),
                static_cast<unsigned long long>(folders), du);
    const bool same = duTotal - folders == size.totalFileSize;
    std::printf("byte totals %s\n", same ? "agree" : "DIFFER");
    std::printf("walk/du ratio: %.3f\n", walk / du);
    return same ? 0 : 2;
}
