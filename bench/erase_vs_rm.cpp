// Times emptying a generated Trash through the erase engine (every per-item check, the log on,
// the confirmation answered by a script once its calculation is done) against rm -rf of an
// identical tree generated fresh in the same run, for two shapes: a mixed tree of about 100,000
// entries, and 20,000 top-level items each with its .trashinfo.
//
//   binwise_erase_bench [--dir FOLDER] [--runs N] [--shape mixed|flat|both]
//
// Prints the medians and "erase/rm ratio: X" per shape (below 1.0: the engine is faster).
// HOME and the XDG folders point into the temporary folder: nothing of the user's is touched.
#include "KZBenchTree.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "foundation/KZAppGlobals.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZPath.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

void makeTrash(KZBenchTree &tree, const QByteArray &trash, bool mixed)
{
    tree.makeTrashFolders(trash);
    if (mixed)
        tree.generateMixed(trash, true);
    else
        tree.generateFlat(trash);
}

struct Engine
{
    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate presenter;
    KZUserDefaults defaults;
    KZBWAlert alert;
    std::unique_ptr<KZDeleteItems> engine;
    QElapsedTimer clock;
    qint64 answeredAt = 0;

    Engine(const QString &settings, const QByteArray &logs)
        : defaults(settings)
        , alert(KZBWAlert::Environment{&presenter, &defaults, nullptr, {}, {}})
    {
        presenter.setBackend(script);
        defaults.setupDefaultsPreferences();
        defaults.setValue(KZUserDefaults::kShowAlert, true);
        defaults.setValue(KZUserDefaults::kWriteLog, true);
        KZDeleteItems::Environment environment;
        environment.userDefaults = &defaults;
        environment.presenter = &presenter;
        environment.alert = &alert;
        environment.logsFolder = logs;
        engine = std::make_unique<KZDeleteItems>(environment);
        clock.start();
    }

    // Erases the Trash and answers the milliseconds from the user's answer (given once the
    // confirmation has measured the Trash, as a reader of the alert would) to the job's end.
    double erase(const QByteArray &trash, quint64 *erased)
    {
        KZScriptedAlertBackend::Answer answer{KZAlertFirstButtonReturn};
        answer.waitUntil = [this] {
            if (alert.sizeIsWorking())
                return false;
            answeredAt = clock.nsecsElapsed();
            return true;
        };
        script->enqueue(answer);
        KZEraseRecord record;
        record.trashURL = KZPath::urlFromPath(trash + "/files");
        record.volumeName = QStringLiteral("Bench");
        record.trashIsEmpty = false;
        if (!engine->prepareToEraseWithArray({record}))
            return -1;
        // The job ends at the timer's next tick; end it as soon as the walk is done so that
        // the tick's period does not count.
        while (engine->isWorking()) {
            QCoreApplication::processEvents();
            QThread::usleep(200); // leave the processors to the walk
        }
        engine->updateProgressStatus();
        const qint64 end = clock.nsecsElapsed();
        *erased = engine->lastJobSummary().erasedCount;
        return double(end - answeredAt) / 1e6;
    }
};

double removeWithRm(const QByteArray &tree)
{
    QElapsedTimer clock;
    QProcess rm;
    clock.start();
    rm.start(QStringLiteral("rm"), {QStringLiteral("-rf"), QString::fromLocal8Bit(tree)});
    rm.waitForFinished(-1);
    return double(clock.nsecsElapsed()) / 1e6;
}

int countEntries(const QByteArray &folder)
{
    QProcess find;
    find.start(QStringLiteral("find"),
               {QString::fromLocal8Bit(folder), QStringLiteral("-mindepth"), QStringLiteral("1")});
    find.waitForFinished(-1);
    return int(find.readAllStandardOutput().count('\n'));
}

} // namespace

int main(int argc, char **argv)
{
    QByteArray base;
    int runs = 3;
    QByteArray shape = "both";
    for (int i = 1; i + 1 < argc; ++i) {
        if (QByteArray(argv[i]) == "--dir")
            base = argv[i + 1];
        else if (QByteArray(argv[i]) == "--runs")
            runs = std::max(1, atoi(argv[i + 1]));
        else if (QByteArray(argv[i]) == "--shape")
            shape = argv[i + 1];
    }
    QTemporaryDir temporary(base.isEmpty() ? QString()
                                           : QString::fromLocal8Bit(base + "/erase-bench-XXXXXX"));
    if (!temporary.isValid()) {
        std::fprintf(stderr, "cannot make a temporary folder\n");
        return 1;
    }
    const QByteArray root = temporary.path().toLocal8Bit();
    const QByteArray home = root + "/home";
    ::mkdir(home.constData(), 0700);
    setenv("HOME", home.constData(), 1);
    setenv("XDG_DATA_HOME", (home + "/.local/share").constData(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/.config").constData(), 1);
    setenv("XDG_STATE_HOME", (home + "/.local/state").constData(), 1);
    setenv("LC_ALL", "en_US.UTF-8", 0);
    QCoreApplication app(argc, argv);
    KZAppGlobals::setHelperAvailable(false);

    Engine engine(QString::fromLocal8Bit(root + "/settings.ini"), root + "/logs");
    int failures = 0;
    for (const bool mixed : {true, false}) {
        if ((mixed && shape == "flat") || (!mixed && shape == "mixed"))
            continue;
        std::vector<double> eraseTimes;
        std::vector<double> rmTimes;
        for (int run = 0; run < runs; ++run) {
            // A volume Trash: the engine checks every item against it, as it does for real.
            const QByteArray trash = root + "/.Trash-" + QByteArray::number(::getuid());
            const QByteArray copy = root + "/rm-copy";
            KZBenchTree tree;
            makeTrash(tree, trash, mixed);
            const int entries = tree.entries();
            makeTrash(tree, copy, mixed);
            ::sync();
            // Alternate which goes first, so neither always meets the other's write-back.
            double rmTime = 0;
            double eraseTime = 0;
            quint64 erased = 0;
            if (run % 2 == 0)
                rmTime = removeWithRm(copy);
            eraseTime = engine.erase(trash, &erased);
            if (run % 2 != 0)
                rmTime = removeWithRm(copy);
            const int left = countEntries(trash + "/files") + countEntries(trash + "/info");
            std::printf("%s run %d: %d entries, erased %llu (left %d), erase %.1f ms, rm -rf %.1f "
                        "ms\n",
                        mixed ? "mixed" : "top-level", run + 1, entries,
                        static_cast<unsigned long long>(erased), left, eraseTime, rmTime);
            if (eraseTime < 0 || left != 0 || int(erased) != entries)
                ++failures;
            eraseTimes.push_back(eraseTime);
            rmTimes.push_back(rmTime);
            removeWithRm(trash);
        }
        std::printf("%s: erase median %.1f ms, rm -rf median %.1f ms\n",
                    mixed ? "mixed tree (about 100,000 entries)" : "20,000 top-level items",
                    KZBenchTree::median(eraseTimes), KZBenchTree::median(rmTimes));
        std::printf("erase/rm ratio: %.3f\n",
                    KZBenchTree::median(eraseTimes) / KZBenchTree::median(rmTimes));
    }
    return failures == 0 ? 0 : 2;
}
