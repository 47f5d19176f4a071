// Times opening the tray menu's volumes submenu with ten volumes: the rows are made (record,
// action, icon, text) and the menu is shown, while every Trash is still being measured on the
// shared pool. Compared with one "ls -f" listing the ten Trash folders, in the same run.
//
//   binwise_tray_bench [--runs N]
//
// Prints the medians and "open/ls ratio: X" (below 1.0: opening is faster than ls).
#include "KZBenchTree.h"
#include "gui/tray/KZStatusItem.h"
#include "model/KZPath.h"
#include "presentation/KZBinwise.h"
#include "presentation/KZTrashSizeQueue.h"
#include "presentation/KZTrayMenuRows.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QProcess>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int kVolumes = 10;
constexpr int kFilesPerTrash = 3000;

} // namespace

int main(int argc, char **argv)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    // The offscreen platform warns at every popup that it cannot grab the keyboard.
    setenv("QT_LOGGING_RULES", "default.warning=false", 0);
    setenv("LC_ALL", "en_US.UTF-8", 0);
    QApplication app(argc, argv);
    int runs = 25;
    const QStringList arguments = app.arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == QLatin1String("--runs"))
            runs = std::max(1, arguments[i + 1].toInt());
    }

    QTemporaryDir dir;
    KZBenchTree tree;
    QList<KZTrashLocation> records;
    QStringList trashFolders;
    for (int v = 0; v < kVolumes; ++v) {
        const QByteArray volume = dir.path().toLocal8Bit() + "/volume" + QByteArray::number(v);
        const QByteArray trash = volume + "/.Trash-1000";
        tree.makeTrashFolders(trash);
        for (int f = 0; f < kFilesPerTrash; ++f) {
            const QByteArray path = trash + "/files/f" + QByteArray::number(f);
            const int fd = ::open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            if (fd >= 0)
                ::close(fd);
        }
        KZTrashLocation record;
        record.trashURL = KZPath::urlFromPath(trash + "/files");
        record.volumeURL = KZPath::urlFromPath(volume);
        record.volumeName = QStringLiteral("Volume %1").arg(v + 1);
        record.trashIsEmpty = false;
        records.append(record);
        trashFolders.append(QString::fromLocal8Bit(trash + "/files"));
    }

    KZStatusItem statusItem(0);
    KZBinwise::Environment environment;
    environment.locations = [&records](QList<KZError> *) {
        return records;
    };
    KZBinwise controller(&statusItem, environment);
    statusItem.setController(&controller);
    statusItem.setupStatusMenu([](bool) {});
    QMenu *submenu = statusItem.volumesMenu();

    std::vector<double> opens;
    int pendingAtShow = 0;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        submenu->popup(QPoint(10, 10));
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        const double ms = double(clock.nsecsElapsed()) / 1e6;
        if (!submenu->isVisible() || submenu->actions().size() != kVolumes) {
            std::fprintf(stderr, "the submenu did not show its %d rows\n", kVolumes);
            return 1;
        }
        for (int row = 0; row < statusItem.rows()->count(); ++row)
            pendingAtShow += statusItem.rows()->info(row).isNull() ? 1 : 0;
        opens.push_back(ms);
        submenu->hide();
        KZTrashSizeQueue::sharedControl().waitForDone();
        QCoreApplication::processEvents();
    }

    std::vector<double> listings;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        QProcess ls;
        ls.start(QStringLiteral("ls"), QStringList{QStringLiteral("-f")} + trashFolders);
        ls.waitForFinished(-1);
        listings.push_back(double(clock.nsecsElapsed()) / 1e6);
    }

    const double open = KZBenchTree::median(opens);
    const double list = KZBenchTree::median(listings);
    std::printf("submenu with %d volumes (%d files each), %d runs\n", kVolumes, kFilesPerTrash,
                runs);
    std::printf("open (rows made and shown): median %.2f ms, max %.2f ms\n", open,
                *std::max_element(opens.begin(), opens.end()));
    std::printf("rows still measuring when shown: %.1f of %d on average\n",
                double(pendingAtShow) / runs, kVolumes);
    std::printf("ls -f of the ten Trash folders: median %.2f ms\n", list);
    std::printf("open/ls ratio: %.2f\n", open / list);
    return 0;
}
