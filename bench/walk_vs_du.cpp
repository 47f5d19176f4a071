// Times the plain folder walk against du -sB1 on one generated Trash of about 100,000 entries,
// in the same run and on the same (warm) tree, and checks that both count the same bytes: du's
// total less the blocks of the folders themselves, which a walk leaves out.
//
//   binwise_walk_bench [--dir FOLDER] [--runs N]
//
// Prints the medians and "walk/du ratio: X" (below 1.0: the walk is faster).
#include "model/KZDirectoryWalker.h"
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

namespace {

int g_entries = 0;

void makeFolder(const QByteArray &path)
{
    if (::mkdir(path.constData(), 0755) == 0)
        ++g_entries;
}

void makeFile(const QByteArray &path, int bytes)
{
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    if (bytes > 0) {
        const QByteArray data(bytes, 'b');
        if (::write(fd, data.constData(), size_t(bytes)) != bytes)
            std::perror("write");
    }
    ::close(fd);
    ++g_entries;
}

// Mostly empty files, like a real Trash's clutter, with a tenth holding a few kilobytes.
int sizeFor(int i)
{
    return i % 10 == 0 ? 1000 + (i * 37) % 9000 : (i % 3 == 0 ? 100 : 0);
}

void generate(const QByteArray &files)
{
    // Flat folders: 20 folders of 2,250 files.
    for (int f = 0; f < 20; ++f) {
        const QByteArray folder = files + "/flat" + QByteArray::number(f);
        makeFolder(folder);
        for (int i = 0; i < 2250; ++i)
            makeFile(folder + "/file" + QByteArray::number(i) + ".txt", sizeFor(i));
    }
    // One wide folder of 30,000 files, a dot-file in every tenth place.
    const QByteArray wide = files + "/wide";
    makeFolder(wide);
    for (int i = 0; i < 30000; ++i)
        makeFile(wide + (i % 10 == 0 ? "/.dot" : "/entry") + QByteArray::number(i), sizeFor(i));
    // Deep folders: 50 chains of 200 levels, one file per level.
    for (int chain = 0; chain < 50; ++chain) {
        QByteArray path = files + "/deep" + QByteArray::number(chain);
        makeFolder(path);
        for (int level = 0; level < 200; ++level) {
            path += "/d";
            makeFolder(path);
            makeFile(path + (level % 5 == 0 ? "/.hidden-note" : "/note"), sizeFor(level));
        }
    }
    // Symbolic links (inside, outside, dangling) and hard links.
    const QByteArray links = files + "/links";
    makeFolder(links);
    for (int i = 0; i < 5000; ++i) {
        const QByteArray target = i % 3 == 0   ? QByteArray("/usr")
                                  : i % 3 == 1 ? files + "/wide/entry1"
                                               : QByteArray("/no/such/target");
        if (::symlink(target.constData(), (links + "/link" + QByteArray::number(i)).constData())
            == 0)
            ++g_entries;
    }
    for (int i = 0; i < 1000; ++i) {
        if (::link((files + "/flat0/file" + QByteArray::number(i) + ".txt").constData(),
                   (links + "/hard" + QByteArray::number(i)).constData())
            == 0)
            ++g_entries;
    }
    // Dot-files and dot-folders at the top.
    for (int i = 0; i < 2000; ++i)
        makeFile(files + "/.dotfile" + QByteArray::number(i), sizeFor(i));
    makeFolder(files + "/.dotfolder");
    for (int i = 0; i < 100; ++i)
        makeFile(files + "/.dotfolder/f" + QByteArray::number(i), sizeFor(i));
}

// Bytes allocated to the folders themselves (the root included), which du counts.
quint64 folderBlocks(const QByteArray &root)
{
    quint64 total = 0;
    struct stat st = {};
    if (::lstat(root.constData(), &st) == 0)
        total += quint64(st.st_blocks) * 512;
    KZDirectoryWalker walker;
    walker.visit = [&](const KZDirectoryWalker::Entry &entry) {
        if (entry.type != DT_DIR)
            return KZDirectoryWalker::Action::Continue;
        struct stat folder = {};
        if (::fstatat(entry.dirfd, entry.name, &folder, AT_SYMLINK_NOFOLLOW) == 0)
            total += quint64(folder.st_blocks) * 512;
        return KZDirectoryWalker::Action::Descend;
    };
    walker.walk(::open(root.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return total;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

} // namespace

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
    ::mkdir(trash.constData(), 0700);
    ::mkdir(files.constData(), 0700);
    ::mkdir((trash + "/info").constData(), 0700);

    QElapsedTimer clock;
    clock.start();
    generate(files);
    std::printf("generated %d entries in %.1f s under %s\n", g_entries, clock.elapsed() / 1000.0,
                files.constData());

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
    const quint64 folders = folderBlocks(files);
    const double walk = median(walkTimes);
    const double du = median(duTimes);
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
