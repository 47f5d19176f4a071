// Times "binwise list" (the real executable, in a sandboxed home) on a home Trash of about
// 500,000 entries in 1,000 top-level folders on a journalled ext4 loop volume, against
// du -sB1 on the same files/ folder in the same run: a first run with no size records (the
// Trash's directorysizes and Binwise's own cache removed before it) and a second run right
// after, which finds them. Both must report du's bytes less the folders' own blocks; some
// files are hard-linked across folders, so those count once in both.
//
//   binwise_list_bench [--dir FOLDER] [--runs N] [--folders N]
//
// Needs root (mkfs.ext4 and a loop mount); without it the bench says so and exits 0.
// Prints the medians and "first/du ratio: X" and "second/du ratio: Y".
#include "KZBenchTree.h"
#include "model/KZFileManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

namespace {

constexpr int kSubfolders = 10;
constexpr int kFilesPerSubfolder = 49; // 1 + 10 + 490 entries per top-level folder

bool run(const QString &program, const QStringList &arguments, QByteArray *out = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit
        || process.exitCode() != 0) {
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(program),
                     process.readAllStandardError().constData());
        return false;
    }
    if (out)
        *out = process.readAllStandardOutput();
    return true;
}

void writeFile(int dirfd, const char *name, const QByteArray &content)
{
    const int fd = ::openat(dirfd, name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    if (!content.isEmpty() && ::write(fd, content.constData(), size_t(content.size())) < 0)
        std::perror("write");
    ::close(fd);
}

// The Trash at trash (files/ and info/ made): folders top-level folders, each with its info
// file; one file in eight holds data, the rest are empty; the first file of each of the first
// twenty folders is hard-linked into the folder 500 further on.
int generate(const QByteArray &trash, int folders)
{
    int entries = 0;
    const int filesfd = ::open((trash + "/files").constData(), O_RDONLY | O_DIRECTORY);
    const int infofd = ::open((trash + "/info").constData(), O_RDONLY | O_DIRECTORY);
    const QByteArray data(300, 'x');
    for (int f = 0; f < folders; ++f) {
        const QByteArray name = "folder " + QByteArray::number(f).rightJustified(4, '0');
        ::mkdirat(filesfd, name.constData(), 0700);
        ++entries;
        const int folderfd = ::openat(filesfd, name.constData(), O_RDONLY | O_DIRECTORY);
        for (int s = 0; s < kSubfolders; ++s) {
            const QByteArray sub = "sub" + QByteArray::number(s);
            ::mkdirat(folderfd, sub.constData(), 0700);
            ++entries;
            const int subfd = ::openat(folderfd, sub.constData(), O_RDONLY | O_DIRECTORY);
            for (int i = 0; i < kFilesPerSubfolder; ++i) {
                const QByteArray file = "file" + QByteArray::number(i);
                writeFile(subfd, file.constData(), i % 8 == 0 ? data : QByteArray());
                ++entries;
            }
            ::close(subfd);
        }
        ::close(folderfd);
        writeFile(infofd, (name + ".trashinfo").constData(),
                  "[Trash Info]\nPath=/home/bench/" + name.toPercentEncoding()
                      + "\nDeletionDate=2024-03-05T10:20:30\n");
    }
    for (int f = 0; f < 20 && f + 500 < folders; ++f) {
        const QByteArray from = trash + "/files/folder "
                                + QByteArray::number(f).rightJustified(4, '0') + "/sub0/file0";
        const QByteArray to = trash + "/files/folder "
                              + QByteArray::number(f + 500).rightJustified(4, '0') + "/sub0/linked";
        if (::link(from.constData(), to.constData()) == 0)
            ++entries;
    }
    ::close(filesfd);
    ::close(infofd);
    return entries;
}

struct Timed
{
    double ms = 0;
    quint64 bytes = 0;
    quint64 count = 0;
};

// Runs program to its end with its standard output in the file out, and answers the wall
// time in milliseconds. posix_spawn and wait4, so that the timing holds the program and not
// the launcher's own machinery.
double timeRun(const QByteArrayList &command, const QByteArrayList &environment,
               const QByteArray &out)
{
    std::vector<char *> argv;
    for (const QByteArray &argument : command)
        argv.push_back(const_cast<char *>(argument.constData()));
    argv.push_back(nullptr);
    std::vector<char *> envp;
    for (const QByteArray &variable : environment)
        envp.push_back(const_cast<char *>(variable.constData()));
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.constData(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    QElapsedTimer clock;
    clock.start();
    pid_t pid = 0;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return -1;
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    const double ms = double(clock.nsecsElapsed()) / 1e6;
    posix_spawn_file_actions_destroy(&actions);
    return ms;
}

Timed timeList(const QByteArrayList &environment, const QByteArray &out)
{
    Timed timed;
    timed.ms = timeRun({BINWISE_CLI_BINARY, "list", "--json"}, environment, out);
    QFile file(QString::fromLocal8Bit(out));
    file.open(QIODevice::ReadOnly);
    const QJsonArray records = QJsonDocument::fromJson(file.readAll()).array();
    for (const QJsonValue &record : records) {
        timed.bytes += quint64(record.toObject().value(QStringLiteral("itemsSize")).toInteger());
        timed.count += quint64(record.toObject().value(QStringLiteral("itemsCount")).toInteger());
    }
    return timed;
}

Timed timeDu(const QByteArray &files, const QByteArrayList &environment, const QByteArray &out)
{
    Timed timed;
    timed.ms = timeRun({"du", "-sB1", files}, environment, out);
    QFile file(QString::fromLocal8Bit(out));
    file.open(QIODevice::ReadOnly);
    timed.bytes = file.readAll().split('\t').first().toULongLong();
    return timed;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QByteArray base;
    int runs = 5;
    int folders = 1000;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--dir"))
            base = arguments[i + 1].toLocal8Bit();
        else if (arguments[i] == QLatin1String("--runs"))
            runs = std::max(1, arguments[i + 1].toInt());
        else if (arguments[i] == QLatin1String("--folders"))
            folders = std::max(1, arguments[i + 1].toInt());
    }
    if (::geteuid() != 0) {
        std::printf("skipped: the bench needs root to make and loop-mount an ext4 volume\n");
        return 0;
    }
    QTemporaryDir temporary(base.isEmpty() ? QString()
                                           : QString::fromLocal8Bit(base + "/list-bench-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "cannot make a temporary folder\n");
        return 1;
    }
    const QByteArray root = temporary.path().toLocal8Bit();
    const QByteArray image = root + "/volume.img";
    const QByteArray volume = root + "/volume";
    QDir().mkpath(QString::fromLocal8Bit(volume));
    QFile imageFile(QString::fromLocal8Bit(image));
    if (!imageFile.open(QIODevice::WriteOnly) || !imageFile.resize(qint64(4) << 30)) {
        std::fprintf(stderr, "cannot make the image file\n");
        return 1;
    }
    imageFile.close();
    // Enough inodes for every entry; the journal stays on (ext4's default).
    if (!run(QStringLiteral("mkfs.ext4"),
             {QStringLiteral("-q"), QStringLiteral("-F"), QStringLiteral("-N"),
              QString::number(folders * 600 + 1000), QStringLiteral("-L"),
              QStringLiteral("BenchHome"), QString::fromLocal8Bit(image)})
        || !run(QStringLiteral("mount"),
                {QStringLiteral("-o"), QStringLiteral("loop"), QString::fromLocal8Bit(image),
                 QString::fromLocal8Bit(volume)})) {
        std::printf("skipped: no loop-mounted ext4 volume could be made\n");
        return 0;
    }
    struct Unmount
    {
        QByteArray path;
        ~Unmount() { run(QStringLiteral("umount"), {QString::fromLocal8Bit(path)}); }
    } unmount{volume};

    // The home's data folder lies on the volume, so its Trash is the home Trash of a volume
    // binwise is allowed to see, and nothing else.
    const QByteArray home = root + "/home";
    const QByteArray dataHome = volume + "/data";
    const QByteArray cacheHome = home + "/.cache";
    const QByteArray trash = dataHome + "/Trash";
    QDir().mkpath(QString::fromLocal8Bit(home));
    QDir().mkpath(QString::fromLocal8Bit(trash + "/files"));
    QDir().mkpath(QString::fromLocal8Bit(trash + "/info"));
    ::chmod(trash.constData(), 0700);
    QByteArray table;
    {
        QFile mountinfo(QStringLiteral("/proc/self/mountinfo"));
        if (mountinfo.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : mountinfo.readAll().split('\n')) {
                if (line.contains(' ' + volume + ' '))
                    table += line + '\n';
            }
        }
    }
    const QByteArray tablePath = root + "/mountinfo";
    QFile tableFile(QString::fromLocal8Bit(tablePath));
    if (table.isEmpty() || !tableFile.open(QIODevice::WriteOnly) || tableFile.write(table) < 0) {
        std::fprintf(stderr, "cannot write the mount table\n");
        return 1;
    }
    tableFile.close();
    QProcessEnvironment sandboxed = QProcessEnvironment::systemEnvironment();
    sandboxed.insert(QStringLiteral("HOME"), QString::fromLocal8Bit(home));
    sandboxed.insert(QStringLiteral("XDG_DATA_HOME"), QString::fromLocal8Bit(dataHome));
    sandboxed.insert(QStringLiteral("XDG_CACHE_HOME"), QString::fromLocal8Bit(cacheHome));
    sandboxed.insert(QStringLiteral("XDG_CONFIG_HOME"), QString::fromLocal8Bit(home + "/.config"));
    sandboxed.insert(QStringLiteral("XDG_STATE_HOME"),
                     QString::fromLocal8Bit(home + "/.local/state"));
    sandboxed.insert(QStringLiteral("BINWISE_MOUNTINFO"), QString::fromLocal8Bit(tablePath));
    QByteArrayList environment;
    for (const QString &variable : sandboxed.toStringList())
        environment.append(variable.toLocal8Bit());
    const QByteArray out = root + "/out";

    QElapsedTimer clock;
    clock.start();
    const int entries = generate(trash, folders);
    ::sync();
    std::printf("generated %d entries in %d folders in %.1f s under %s\n", entries, folders,
                clock.elapsed() / 1000.0, trash.constData());

    const QByteArray files = trash + "/files";
    const auto forget = [&] {
        ::unlink((trash + "/directorysizes").constData());
        QDir(QString::fromLocal8Bit(cacheHome)).removeRecursively();
    };
    std::vector<double> firstTimes;
    std::vector<double> secondTimes;
    std::vector<double> duTimes;
    Timed first;
    Timed second;
    Timed du;
    // One untimed round warms the caches for all alike.
    for (int round = -1; round < runs; ++round) {
        forget();
        du = timeDu(files, environment, out);
        first = timeList(environment, out);
        const Timed duAgain = timeDu(files, environment, out);
        second = timeList(environment, out);
        std::printf("round %d: du %.1f ms, first %.1f ms, du %.1f ms, second %.1f ms\n", round,
                    du.ms, first.ms, duAgain.ms, second.ms);
        if (round >= 0) {
            firstTimes.push_back(first.ms);
            secondTimes.push_back(second.ms);
            duTimes.push_back(du.ms);
            duTimes.push_back(duAgain.ms);
        }
    }
    const quint64 ownBlocks = KZBenchTree::folderBlocks(files);
    const quint64 expected = du.bytes - ownBlocks;
    const double firstMs = KZBenchTree::median(firstTimes);
    const double secondMs = KZBenchTree::median(secondTimes);
    const double duMs = KZBenchTree::median(duTimes);
    std::printf("binwise list, first run: %llu entries, %llu bytes, median %.1f ms\n",
                static_cast<unsigned long long>(first.count),
                static_cast<unsigned long long>(first.bytes), firstMs);
    std::printf("binwise list, second run: %llu entries, %llu bytes, median %.1f ms\n",
                static_cast<unsigned long long>(second.count),
                static_cast<unsigned long long>(second.bytes), secondMs);
    std::printf("du -sB1: %llu bytes (%llu without the folders' own %llu), median %.1f ms\n",
                static_cast<unsigned long long>(du.bytes),
                static_cast<unsigned long long>(expected),
                static_cast<unsigned long long>(ownBlocks), duMs);
    const bool same = first.bytes == expected && second.bytes == expected
                      && first.count == second.count && first.count == quint64(entries);
    std::printf("totals %s\n", same ? "agree" : "DIFFER");
    std::printf("first/du ratio: %.3f\nsecond/du ratio: %.3f\n", firstMs / duMs, secondMs / duMs);
    return same ? 0 : 2;
}
