#include "gui/smartwindow/KZSmartWindow.h"
#include "KZGuiTestSupport.h"
#include "KZSmartWindowTestSupport.h"
#include "KZTestMount.h"
#include "gui/smartwindow/KZLazyIconModel.h"
#include "gui/smartwindow/KZSourceTableView.h"
#include "gui/smartwindow/KZTrashedTableView.h"
#include "gui/smartwindow/KZWaitingView.h"
#include "model/KZPath.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZSourceListModel.h"
#include "presentation/KZTrashItemsModel.h"

#include <QAbstractItemModelTester>
#include <QElapsedTimer>
#include <QHeaderView>
#include <QHelpEvent>
#include <QPushButton>
#include <QTest>
#include <QToolTip>

#include <unistd.h>

namespace {

using Window = KZSmartWindowTest;

} // namespace

TEST_F(Window, ShowsEachVolumeAndAVolumeWithoutATrashEmptyDimmedAndUnselectable)
{
    trash.addFile("report.pdf", QByteArray(120000, 'r'), "/home/someone/Documents/report.pdf");
    trash.addFile("notes.txt", "notes", "/home/someone/notes.txt");
    trash.addFolder("Holiday pictures", {"one.jpg", "two.jpg", "more/three.jpg"});
    trash.writeInfo("Holiday pictures", "/home/someone/Pictures/Holiday pictures");
    // A volume that has never had a Trash: shown, empty, and nothing is made on it.
    const QByteArray bare = erase.sandbox.path(QStringLiteral("Backup disk")).toLocal8Bit();
    KZTestFiles::makeFolders(bare);
    KZTrashLocation bareRecord;
    bareRecord.trashURL
        = KZPath::urlFromPath(bare + "/.Trash-" + QByteArray::number(::getuid()) + "/files");
    bareRecord.volumeURL = KZPath::urlFromPath(bare);
    bareRecord.volumeName = QStringLiteral("Backup disk");
    bareRecord.trashIsEmpty = true;

    QAbstractItemModelTester sources(window->sourceList()->model(),
                                     QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester items(window->list()->model(),
                                   QAbstractItemModelTester::FailureReportingMode::Fatal);
    open({recordOf(trash, QStringLiteral("Home")), bareRecord});

    EXPECT_TRUE(window->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_EQ(window->sourceList()->model()->rowCount(), 2);
    EXPECT_EQ(window->sourceList()->selectedRow(), 0);
    EXPECT_EQ(window->list()->model()->rowCount(), 3);
    EXPECT_TRUE(window->eraseBtn()->isEnabled());
    EXPECT_FALSE(window->waitingView()->isVisible());
    // The empty volume can be neither chosen nor ticked.
    const QModelIndex bareName
        = window->sourceList()->model()->index(1, KZSourceListModel::NameColumn);
    EXPECT_FALSE(bareName.flags().testFlag(Qt::ItemIsSelectable));
    clickVolume(1, KZSourceListModel::NameColumn);
    clickVolume(1, KZSourceListModel::CheckColumn);
    EXPECT_EQ(window->sourceList()->selectedRow(), 0);
    EXPECT_EQ(cntrl->volumeAt(1)->check, KZCheckOff);
    EXPECT_EQ(window->list()->model()->rowCount(), 3);
    EXPECT_TRUE(KZTestFiles::namesIn(bare).isEmpty());

    // Each row's second line is where the item came from; icons came for the rows drawn.
    const int report = rowNamed("report.pdf");
    EXPECT_EQ(itemIndex(report, KZTrashItemsModel::NameColumn).data(KZPathRole).toString(),
              QStringLiteral("/home/someone/Documents/report.pdf"));
    EXPECT_FALSE(itemIndex(report, KZTrashItemsModel::NameColumn)
                     .data(Qt::DecorationRole)
                     .value<QImage>()
                     .isNull());
    KZGuiTestSupport::saveScreenshots(window.get(), QStringLiteral("smartwindow-volumes"));
}

TEST_F(Window, TickBoxesTickWithoutSelectingShiftTicksARangeAndLongNamesShowAsToolTips)
{
    for (int i = 0; i < 8; ++i)
        trash.addFile("file " + QByteArray::number(i), QByteArray(1000 * (i + 1), 'x'),
                      "/home/someone/Desktop/file " + QByteArray::number(i));
    KZTestTrash other
        = KZTestTrash::onVolume(erase.sandbox.path(QStringLiteral("USB stick")).toLocal8Bit());
    other.addFile("song.ogg", QByteArray(5000, 's'));
    const QString longName = QStringLiteral("A USB stick whose name goes on and on past the row");
    open({recordOf(trash, QStringLiteral("Home")), recordOf(other, longName)});
    ASSERT_EQ(shownNames().first(), "file 0");

    // A volume name too long for its row shows whole as a tool tip; a short one has none.
    KZSourceTableView *sources = window->sourceList();
    const auto toolTipOf = [&](int row) {
        const QRect cell
            = sources->visualRect(sources->model()->index(row, KZSourceListModel::NameColumn));
        QHelpEvent help(QEvent::ToolTip, cell.center(),
                        sources->viewport()->mapToGlobal(cell.center()));
        QCoreApplication::sendEvent(sources->viewport(), &help);
        const QString text = QToolTip::isVisible() ? QToolTip::text() : QString();
        QToolTip::hideText();
        return text;
    };
    // The short one first: a tool tip that was shown fades out rather than going at once.
    EXPECT_EQ(toolTipOf(0), QString());
    EXPECT_EQ(toolTipOf(1), longName + QStringLiteral(" Trash"));

    // A click on a tick box ticks the item and leaves the selection alone.
    clickItem(1, KZTrashItemsModel::CheckColumn);
    EXPECT_EQ(selectedItemRow(), -1);
    EXPECT_EQ(itemIndex(1, 0).data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);
    // Shift on another box gives every row between the first box's state.
    clickItem(4, KZTrashItemsModel::CheckColumn, Qt::ShiftModifier);
    EXPECT_EQ(selectedItemRow(), -1);
    QList<Qt::CheckState> states;
    for (int row = 0; row < 8; ++row)
        states.append(itemIndex(row, 0).data(Qt::CheckStateRole).value<Qt::CheckState>());
    const auto on = Qt::Checked;
    const auto off = Qt::Unchecked;
    EXPECT_EQ(states, (QList<Qt::CheckState>{off, on, on, on, on, off, off, off}));

    // The volume row's box is mixed and its badge counts the ticks (the shift-clicked row
    // moves the count twice, once as a tick and once as the range's end: the counts are
    // deltas, as they always were).
    const QAbstractItemModel *volumes = window->sourceList()->model();
    EXPECT_EQ(volumes->index(0, KZSourceListModel::CheckColumn)
                  .data(Qt::CheckStateRole)
                  .value<Qt::CheckState>(),
              Qt::PartiallyChecked);
    EXPECT_GT(volumes->index(0, 0).data(KZCheckedCountRole).toULongLong(), 0u);
    KZGuiTestSupport::saveScreenshots(window.get(), QStringLiteral("smartwindow-mixed"));

    // The volume's own box ticks all, then clears all.
    clickVolume(0, KZSourceListModel::CheckColumn);
    EXPECT_EQ(volumes->index(0, 0).data(KZCheckedCountRole).toULongLong(), 8u);
    clickVolume(0, KZSourceListModel::CheckColumn);
    EXPECT_EQ(volumes->index(0, 0).data(KZCheckedCountRole).toULongLong(), 0u);
    for (int row = 0; row < 8; ++row)
        EXPECT_EQ(itemIndex(row, 0).data(Qt::CheckStateRole).value<Qt::CheckState>(),
                  Qt::Unchecked);

    // Showing the other volume and coming back forgets the range.
    clickItem(2, KZTrashItemsModel::CheckColumn);
    clickVolume(1, KZSourceListModel::NameColumn);
    ASSERT_TRUE(waitForSort());
    EXPECT_EQ(shownNames(), QList<QByteArray>{"song.ogg"});
    EXPECT_FALSE(cntrl->multiSelection());
}

TEST_F(Window, HeaderClicksSortEachColumnBothWaysBeepWhileASortRunsAndARefusedEraseKeepsAll)
{
    trash.addFile("beta", QByteArray(30000, 'b'));
    trash.writeInfo("beta", "/b", "2024-01-03T10:00:00");
    trash.addFile("Alpha", QByteArray(100, 'a'));
    trash.writeInfo("Alpha", "/a", "2024-01-02T10:00:00");
    trash.addFile("gamma", QByteArray(9000, 'g'));
    trash.writeInfo("gamma", "/g", "2024-01-01T10:00:00");
    open({recordOf(trash, QStringLiteral("Home"))});
    QHeaderView *header = window->list()->horizontalHeader();
    const auto clickHeader = [&](int column) {
        QTest::mouseClick(
            header->viewport(), Qt::LeftButton, {},
            QPoint(header->sectionViewportPosition(column) + header->sectionSize(column) / 2,
                   header->height() / 2));
    };
    const auto sortedBy = [&](int column) {
        clickHeader(column);
        EXPECT_TRUE(waitForSort());
        return shownNames();
    };
    // Until a header is clicked names compare case-sensitively.
    EXPECT_EQ(shownNames(), (QList<QByteArray>{"Alpha", "beta", "gamma"}));
    EXPECT_EQ(sortedBy(KZTrashItemsModel::NameColumn),
              (QList<QByteArray>{"gamma", "beta", "Alpha"}));
    EXPECT_EQ(header->sortIndicatorOrder(), Qt::DescendingOrder);
    EXPECT_EQ(sortedBy(KZTrashItemsModel::NameColumn),
              (QList<QByteArray>{"Alpha", "beta", "gamma"}));
    EXPECT_EQ(sortedBy(KZTrashItemsModel::SizeColumn),
              (QList<QByteArray>{"Alpha", "gamma", "beta"}));
    EXPECT_EQ(header->sortIndicatorSection(), int(KZTrashItemsModel::SizeColumn));
    EXPECT_EQ(sortedBy(KZTrashItemsModel::SizeColumn),
              (QList<QByteArray>{"beta", "gamma", "Alpha"}));
    EXPECT_EQ(sortedBy(KZTrashItemsModel::AddedColumn),
              (QList<QByteArray>{"gamma", "Alpha", "beta"}));
    EXPECT_EQ(sortedBy(KZTrashItemsModel::AddedColumn),
              (QList<QByteArray>{"beta", "Alpha", "gamma"}));

    // A second click before the first sort has come back only beeps.
    const int beeps = erase.script->beepCount();
    clickHeader(KZTrashItemsModel::NameColumn);
    clickHeader(KZTrashItemsModel::SizeColumn);
    EXPECT_EQ(erase.script->beepCount(), beeps + 1);
    ASSERT_TRUE(waitForSort());
    EXPECT_EQ(shownNames(), (QList<QByteArray>{"Alpha", "beta", "gamma"}));
    EXPECT_EQ(header->sortIndicatorSection(), int(KZTrashItemsModel::NameColumn));

    // An erase the user refuses keeps the window, the item and its tick.
    clickItem(0, KZTrashItemsModel::CheckColumn);
    erase.script->enqueue({KZAlertThirdButtonReturn});
    QTest::mouseClick(window->eraseBtn(), Qt::LeftButton);
    QCoreApplication::processEvents();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(KZTestFiles::exists(trash.itemPath("Alpha")));
    EXPECT_EQ(itemIndex(0, 0).data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Checked);

    // Cancel closes; opening again builds afresh, with nothing ticked.
    QTest::mouseClick(window->cancelBtn(), Qt::LeftButton);
    EXPECT_FALSE(window->isVisible());
    open({recordOf(trash, QStringLiteral("Home"))});
    EXPECT_EQ(itemIndex(0, 0).data(Qt::CheckStateRole).value<Qt::CheckState>(), Qt::Unchecked);
}

TEST_F(Window, EraseTakesTheTickedFolderAndFileFromTwoVolumesAndNothingElse)
{
    QString whyNot;
    const auto mount
        = KZTestMount::tmpfs(erase.sandbox.path(QStringLiteral("volume")).toLocal8Bit(), &whyNot);
    if (!mount)
        GTEST_SKIP() << whyNot.toStdString();
    KZTestTrash volume = KZTestTrash::onVolume(mount->mountPoint());
    trash.addFolder("old project", {"src/main.c", "README"});
    trash.addFile("keep.txt", "keep");
    volume.addFile("movie.mkv", QByteArray(4096, 'm'));
    volume.addFolder("stays", {"a"});
    open({recordOf(trash, QStringLiteral("Home")), recordOf(volume, QStringLiteral("Volume"))});

    // Erase with nothing ticked only beeps.
    const int beeps = erase.script->beepCount();
    QTest::mouseClick(window->eraseBtn(), Qt::LeftButton);
    EXPECT_EQ(erase.script->beepCount(), beeps + 1);
    EXPECT_TRUE(erase.script->shown().isEmpty());
    EXPECT_TRUE(window->isVisible());

    clickItem(rowNamed("old project"), KZTrashItemsModel::CheckColumn);
    clickVolume(1, KZSourceListModel::NameColumn);
    ASSERT_TRUE(waitForSort());
    clickItem(rowNamed("movie.mkv"), KZTrashItemsModel::CheckColumn);

    // While the user is asked, Erase is disabled and a second erase is refused.
    bool enabledWhileAsked = true;
    bool secondAccepted = true;
    KZScriptedAlertBackend::Answer yes(KZAlertFirstButtonReturn);
    yes.waitUntil = [&] {
        enabledWhileAsked = window->eraseBtn()->isEnabled();
        secondAccepted = cntrl->eraseAction();
        return true;
    };
    erase.script->enqueue(yes);
    QTest::mouseClick(window->eraseBtn(), Qt::LeftButton);
    ASSERT_TRUE(erase.waitForEnd());
    EXPECT_FALSE(enabledWhileAsked);
    EXPECT_FALSE(secondAccepted);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->isVisible(); }));
    EXPECT_FALSE(cntrl->isOpen());
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->eraseBtn()->isEnabled(); }));

    EXPECT_EQ(KZTestFiles::namesIn(trash.files()), QByteArrayList{"keep.txt"});
    EXPECT_EQ(KZTestFiles::namesIn(trash.root() + "/info"), QByteArrayList{"keep.txt.trashinfo"});
    EXPECT_EQ(KZTestFiles::namesIn(volume.files()), QByteArrayList{"stays"});
    EXPECT_EQ(KZTestFiles::namesIn(volume.root() + "/info"), QByteArrayList{"stays.trashinfo"});
    EXPECT_EQ(KZTestFiles::readFile(trash.itemPath("keep.txt")), "keep");
    EXPECT_TRUE(KZTestFiles::exists(volume.itemPath("stays/a")));
}

TEST_F(Window, LoadsIconsOnlyForTheRowsItShows)
{
    for (int i = 0; i < 3000; ++i)
        KZTestFiles::writeFile(
            trash.itemPath("item " + QByteArray::number(i).rightJustified(4, '0') + ".txt"), "x");
    open({recordOf(trash, QStringLiteral("Home"))});
    ASSERT_EQ(window->list()->model()->rowCount(), 3000);
    const int shown = window->list()->viewport()->height() / window->list()->rowHeight(0) + 2;
    // The rows on show before the first sort came back, and those on show after it.
    EXPECT_GT(window->itemIcons()->loadsStarted(), 0);
    EXPECT_LE(window->itemIcons()->loadsStarted(), 2 * shown);
    // Scrolling to the end asks for the rows that come into view, not for those in between.
    window->list()->scrollToBottom();
    QTest::qWait(50);
    window->itemIcons()->waitForLoads();
    EXPECT_LE(window->itemIcons()->loadsStarted(), 3 * shown);
}

TEST_F(Window, CoversItselfWithTheSpinnerOnlyWhenTheTreeTakesLongerThanHalfASecond)
{
    // Enough items that listing them takes a while on most machines.
    constexpr int kItems = 40000;
    for (int i = 0; i < kItems; ++i)
        KZTestFiles::writeFile(trash.itemPath("entry " + QByteArray::number(i)), "x");
    QElapsedTimer clock;
    clock.start();
    cntrl->showWindowWithDict({recordOf(trash, QStringLiteral("Home"))});
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    // Nothing covers the window during the first half second.
    while (cntrl->isGathering() && clock.elapsed() < 400) {
        EXPECT_FALSE(window->waitingView()->isVisible());
        QTest::qWait(20);
    }
    QTest::qWait(qMax<qint64>(0, 650 - clock.elapsed()));
    const bool stillBuilding = cntrl->isGathering();
    if (stillBuilding) {
        EXPECT_TRUE(window->waitingView()->isVisible());
        EXPECT_TRUE(window->waitingView()->isSpinning());
        // The buttons along the bottom stay uncovered.
        EXPECT_EQ(window->waitingView()->geometry().bottom() + 1,
                  window->cancelBtn()->parentWidget()->y());
        KZGuiTestSupport::saveScreenshot(window.get(), QStringLiteral("smartwindow-waiting"),
                                         false);
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cntrl->isGathering(); }, 60000));
    EXPECT_FALSE(window->waitingView()->isVisible());
    EXPECT_FALSE(window->waitingView()->isSpinning());
    EXPECT_EQ(window->list()->model()->rowCount(), kItems);
    if (!stillBuilding)
        GTEST_SKIP() << "the tree was built within half a second: no waiting view to see";
}
