#include "presentation/KZSmartWindowCntrl.h"
#include "../erase/KZEraseTestSupport.h"
#include "KZTestMount.h"
#include "foundation/KZNotificationCenter.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"
#include "model/KZTrashSizes.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSourceListModel.h"
#include "presentation/KZTrashItemsModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <numeric>

#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A sandboxed home with a real engine answering from a script, and the controller over it.
class SmartWindow : public ::testing::Test
{
protected:
    SmartWindow()
    {
        KZSmartWindowCntrl::Environment environment;
        environment.engine = erase.engine.get();
        environment.maxGatherers = 2;
        cntrl = std::make_unique<KZSmartWindowCntrl>(nullptr, environment);
        QObject::connect(cntrl.get(), &KZSmartWindowCntrl::closeRequested, cntrl.get(),
                         [this] { cntrl->windowWillClose(); });
    }

    // Opens the window and waits until the first volume's items are listed and sorted.
    void open(const QList<KZTrashLocation> &records)
    {
        cntrl->showWindowWithDict(records);
        ASSERT_TRUE(
            QTest::qWaitFor([&] { return !cntrl->isGathering() && !cntrl->isSorting(); }, 30000));
    }
    bool waitForSizes()
    {
        return QTest::qWaitFor([&] { return cntrl->gatherersRunning() == 0; });
    }
    int rowNamed(const char *utf8) const
    {
        const QString name = QString::fromUtf8(utf8);
        for (int row = 0; row < cntrl->itemsCount(); ++row) {
            if (cntrl->itemAt(row)->name == name)
                return row;
        }
        return -1;
    }
    void tick(int row, Qt::CheckState state, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        KZTrashItemsModel *model = cntrl->itemsModel();
        model->setKeyboardModifiers(modifiers);
        ASSERT_TRUE(model->setData(model->index(row, KZTrashItemsModel::CheckColumn), state,
                                   Qt::CheckStateRole));
    }
    QList<int> checks() const
    {
        QList<int> states;
        for (int row = 0; row < cntrl->itemsCount(); ++row)
            states.append(cntrl->itemAt(row)->check);
        return states;
    }

    KZEraseFixture erase;
    KZTestTrash &trash = erase.trash;
    std::unique_ptr<KZSmartWindowCntrl> cntrl;
};

} // namespace

TEST_F(SmartWindow, BuildsTheTreeAndGrowsSizesUntilOneReload)
{
    trash.addFile("file.txt", QByteArray(20000, 'x'), "/home/someone/Documents/file.txt");
    trash.addFile(".hidden", "dot");
    trash.addFolder("folder", {"a", "b/c", "b/d/"});
    trash.addFolder("Tool.app", {"Contents/MacOS/tool"});
    KZTestFiles::writeFile(trash.itemPath("no-info"), "lost its info file");

    QAbstractItemModelTester sourceTester(cntrl->sourceListModel(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester itemsTester(cntrl->itemsModel(),
                                         QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy gathering(cntrl.get(), &KZSmartWindowCntrl::isGatheringChanged);
    QSignalSpy reloaded(cntrl.get(), &KZSmartWindowCntrl::sizesGathered);
    QSignalSpy selected(cntrl.get(), &KZSmartWindowCntrl::selectedVolumeChanged);
    open({trash.location(u"Home"_s)});
    // Files count as soon as the list is there; folders add theirs when measured.
    quint64 files = 0;
    for (const QByteArray name : {"file.txt", ".hidden", "no-info"})
        files += KZTestFiles::allocatedBelow(trash.itemPath(name));
    const auto volumeSize = [&] {
        return cntrl->sourceListModel()
            ->index(0, KZSourceListModel::NameColumn)
            .data(KZSizeRole)
            .toULongLong();
    };
    EXPECT_GE(volumeSize(), files);
    ASSERT_TRUE(waitForSizes());
    ASSERT_TRUE(QTest::qWaitFor([&] { return reloaded.size() == 1; }));

    EXPECT_EQ(gathering.size(), 2);
    EXPECT_EQ(selected.size(), 1);
    EXPECT_EQ(cntrl->selectedVolume(), 0);
    ASSERT_EQ(cntrl->volumesCount(), 1);
    ASSERT_EQ(cntrl->itemsCount(), 5);
    // Sorted by name, case-sensitively, until a header is clicked.
    QStringList names;
    for (int row = 0; row < cntrl->itemsCount(); ++row)
        names.append(cntrl->itemAt(row)->name.value_or(QString()));
    EXPECT_EQ(names,
              (QStringList{u".hidden"_s, u"Tool.app"_s, u"file.txt"_s, u"folder"_s, u"no-info"_s}));

    KZTrashItemsModel *items = cntrl->itemsModel();
    const int file = rowNamed("file.txt");
    const QModelIndex fileName = items->index(file, KZTrashItemsModel::NameColumn);
    EXPECT_EQ(fileName.data().toString(), u"file.txt"_s);
    EXPECT_EQ(fileName.data(KZPathRole).toString(), u"/home/someone/Documents/file.txt"_s);
    EXPECT_EQ(fileName.data(KZURLRole).toUrl(), trash.itemURL("file.txt"));
    EXPECT_FALSE(fileName.data(KZIsDirectoryRole).toBool());
    EXPECT_EQ(fileName.data(KZSizeRole).toULongLong(),
              KZTestFiles::allocatedBelow(trash.itemPath("file.txt")));
    // 2024-03-05T10:20:30 UTC, from 1 January 2001.
    EXPECT_DOUBLE_EQ(
        items->index(file, KZTrashItemsModel::AddedColumn).data(KZSecondsRole).toDouble(),
        731326830.0);
    const QModelIndex lost = items->index(rowNamed("no-info"), KZTrashItemsModel::NameColumn);
    EXPECT_FALSE(lost.data(KZPathRole).isValid());
    EXPECT_FALSE(
        items->index(lost.row(), KZTrashItemsModel::AddedColumn).data(KZSecondsRole).isValid());

    quint64 expected = files;
    for (const QByteArray name : {"folder", "Tool.app"}) {
        const int row = rowNamed(name.constData());
        EXPECT_TRUE(items->index(row, 0).data(KZIsDirectoryRole).toBool());
        quint64 count = 0;
        const quint64 size = KZFilesUtilities::sharedControl()
                                 .iterateFolderForSize(trash.itemURL(name), &count)
                                 .totalFileSize;
        EXPECT_GT(size, 0u);
        EXPECT_EQ(items->index(row, 0).data(KZSizeRole).toULongLong(), size);
        expected += size;
    }
    KZSourceListModel *sources = cntrl->sourceListModel();
    const QModelIndex volume = sources->index(0, KZSourceListModel::NameColumn);
    EXPECT_EQ(volume.data().toString(), u"Home Trash"_s);
    EXPECT_EQ(volume.data(KZSizeRole).toULongLong(), expected);
    EXPECT_EQ(volume.data(KZItemsCountRole).toULongLong(), 5u);
    EXPECT_FALSE(volume.data(KZIsInvisibleRole).toBool());

    // The last gatherer reloads once, and only once.
    QCoreApplication::processEvents();
    EXPECT_EQ(reloaded.size(), 1);
}

TEST_F(SmartWindow, TickRules)
{
    // Sizes 1 to 8 pages, so that every sum names the rows it was made of.
    for (int i = 0; i < 8; ++i)
        trash.addFile("f" + QByteArray::number(i), QByteArray(4096 * (i + 1), 'x'));
    QSignalSpy reloaded(cntrl.get(), &KZSmartWindowCntrl::sizesGathered);
    open({trash.location(u"Home"_s)});
    ASSERT_EQ(cntrl->itemsCount(), 8);
    // Files only: the sizes are final at once, and no gatherer reloads anything.
    EXPECT_EQ(cntrl->gatherersRunning(), 0u);
    QList<quint64> sizes;
    for (int row = 0; row < 8; ++row)
        sizes.append(cntrl->itemAt(row)->size.load());
    const KZVolumeNode *volume = cntrl->volumeAt(0);
    KZSourceListModel *sources = cntrl->sourceListModel();
    const QModelIndex volumeTick = sources->index(0, KZSourceListModel::CheckColumn);
    const auto volumeState = [&] {
        return volumeTick.data(Qt::CheckStateRole).toInt();
    };

    // The volume's own box: on and mixed (the tristate step) tick everything, off clears it.
    for (const Qt::CheckState given : {Qt::Checked, Qt::PartiallyChecked}) {
        ASSERT_TRUE(sources->setData(volumeTick, given, Qt::CheckStateRole));
        EXPECT_EQ(checks(), QList<int>(8, 1));
        EXPECT_EQ(volume->checked_count, 8u);
        EXPECT_EQ(volume->checked_size, std::accumulate(sizes.begin(), sizes.end(), quint64(0)));
        EXPECT_EQ(volumeState(), Qt::Checked);
    }
    ASSERT_TRUE(sources->setData(volumeTick, Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_EQ(checks(), QList<int>(8, 0));
    EXPECT_EQ(volume->checked_count, 0u);
    EXPECT_EQ(volume->checked_size, 0u);

    // One item: mixed; all of them: on; none: off with no ticked size left.
    tick(1, Qt::Checked);
    EXPECT_EQ(volumeState(), Qt::PartiallyChecked);
    EXPECT_EQ(volume->check, KZCheckMixed);
    EXPECT_EQ(volume->checked_count, 1u);
    EXPECT_EQ(volume->checked_size, sizes[1]);
    EXPECT_EQ(sources->index(0, KZSourceListModel::CheckedCountColumn)
                  .data(KZCheckedCountRole)
                  .toULongLong(),
              1u);
    for (int row : {0, 2, 3, 4, 5, 6, 7})
        tick(row, Qt::Checked);
    EXPECT_EQ(volume->check, KZCheckOn);
    EXPECT_EQ(volume->checked_count, 8u);
    for (int row = 0; row < 8; ++row)
        tick(row, Qt::Unchecked);
    EXPECT_EQ(volume->check, KZCheckOff);
    EXPECT_EQ(volume->checked_size, 0u);
    cntrl->clearMultiSelection();

    // Tick row 2, shift-tick row 6: rows 3 to 5 take row 2's state, and row 6 too.
    tick(2, Qt::Checked);
    EXPECT_EQ(cntrl->multiSelection(), QList<int>{2});
    EXPECT_EQ(cntrl->firstClickState(), KZCheckOn);
    tick(6, Qt::Checked, Qt::ShiftModifier);
    EXPECT_EQ(checks(), (QList<int>{0, 0, 1, 1, 1, 1, 1, 0}));
    EXPECT_EQ(volume->check, KZCheckMixed);
    EXPECT_EQ(cntrl->multiSelection(), (QList<int>{2, 3, 4, 5, 6}));

    // Control-clicking a row of the range flips that row only and takes it out of the range.
    EXPECT_TRUE(
        cntrl->itemsListShouldSelectRow(4, KZTrashItemsModel::NameColumn, Qt::ControlModifier));
    EXPECT_EQ(checks(), (QList<int>{0, 0, 1, 1, 0, 1, 1, 0}));
    EXPECT_EQ(cntrl->multiSelection(), (QList<int>{2, 3, 5, 6}));
    EXPECT_EQ(cntrl->lastclickedRow(), 4);
    // A click on a tick box never selects its row.
    EXPECT_FALSE(
        cntrl->itemsListShouldSelectRow(7, KZTrashItemsModel::CheckColumn, Qt::NoModifier));
    EXPECT_EQ(cntrl->lastclickedRow(), 7);
    EXPECT_TRUE(cntrl->itemsListShouldSelectRow(7, -1, Qt::NoModifier));

    // A plain click on a row makes it the new anchor, with its state as the first-click state;
    // shift-clicking upwards from it gives the rows between its state.
    ASSERT_TRUE(sources->setData(volumeTick, Qt::Unchecked, Qt::CheckStateRole));
    tick(5, Qt::Checked);
    EXPECT_TRUE(cntrl->itemsListShouldSelectRow(5, KZTrashItemsModel::NameColumn, Qt::NoModifier));
    EXPECT_EQ(cntrl->multiSelection(), QList<int>{5});
    EXPECT_EQ(cntrl->firstClickState(), KZCheckOn);
    tick(1, Qt::Checked, Qt::ShiftModifier);
    EXPECT_EQ(checks(), (QList<int>{0, 1, 1, 1, 1, 1, 0, 0}));
    EXPECT_EQ(cntrl->multiSelection(), (QList<int>{5, 2, 3, 4}));

    // The first-click state is the anchor's state after its click: an unticked anchor
    // unticks the range.
    tick(3, Qt::Unchecked);
    EXPECT_EQ(cntrl->firstClickState(), KZCheckOff);
    tick(5, Qt::Unchecked, Qt::ShiftModifier);
    EXPECT_EQ(checks(), (QList<int>{0, 1, 1, 0, 0, 0, 0, 0}));

    // Shift-ticking the row next to the anchor sets it and ends the range.
    tick(6, Qt::Checked);
    tick(7, Qt::Checked, Qt::ShiftModifier);
    EXPECT_EQ(checks(), (QList<int>{0, 1, 1, 0, 0, 0, 1, 1}));
    EXPECT_FALSE(cntrl->multiSelection());

    // Opening the open window only brings it to the front: the ticks stay.
    QSignalSpy front(cntrl.get(), &KZSmartWindowCntrl::showWindowRequested);
    cntrl->showWindowWithDict({trash.location(u"Home"_s)});
    EXPECT_EQ(front.size(), 1);
    EXPECT_FALSE(cntrl->isGathering());
    EXPECT_EQ(checks(), (QList<int>{0, 1, 1, 0, 0, 0, 1, 1}));

    // Showing a volume forgets the range.
    tick(0, Qt::Checked);
    EXPECT_TRUE(cntrl->multiSelection());
    cntrl->updateSelection(0);
    EXPECT_FALSE(cntrl->multiSelection());
    QCoreApplication::processEvents();
    EXPECT_TRUE(reloaded.isEmpty());
}

TEST_F(SmartWindow, SortsOnAWorkerByEachColumnAndRefusesASecondSortWhileOneRuns)
{
    trash.addFile("b", QByteArray(3 * 4096, 'x'));
    trash.addFile("A", QByteArray(1 * 4096, 'x'));
    trash.addFile("c", QByteArray(2 * 4096, 'x'));
    KZTestFiles::writeFile(trash.itemPath("D"), QByteArray(5 * 4096, 'x')); // no info: no date
    trash.writeInfo("b", "/b", "2024-01-01T00:00:00");
    trash.writeInfo("A", "/A", "2024-01-03T00:00:00");
    trash.writeInfo("c", "/c", "2024-01-02T00:00:00");
    QAbstractItemModelTester tester(cntrl->itemsModel(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    open({trash.location(u"Home"_s)});
    KZTrashItemsModel *items = cntrl->itemsModel();
    const auto order = [&] {
        QString names;
        for (int row = 0; row < items->rowCount(); ++row)
            names += items->index(row, KZTrashItemsModel::NameColumn).data().toString();
        return names;
    };
    EXPECT_EQ(order(), u"ADbc"_s); // case-sensitive until a header is clicked
    const QPersistentModelIndex followed = items->index(2, KZTrashItemsModel::NameColumn);

    const struct
    {
        int column;
        Qt::SortOrder order;
        QString expected;
    } cases[] = {
        {KZTrashItemsModel::NameColumn, Qt::AscendingOrder, u"AbcD"_s},
        {KZTrashItemsModel::NameColumn, Qt::DescendingOrder, u"DcbA"_s},
        {KZTrashItemsModel::SizeColumn, Qt::AscendingOrder, u"AcbD"_s},
        {KZTrashItemsModel::SizeColumn, Qt::DescendingOrder, u"DbcA"_s},
        // An item without a date compares lowest.
        {KZTrashItemsModel::AddedColumn, Qt::AscendingOrder, u"DbcA"_s},
        {KZTrashItemsModel::AddedColumn, Qt::DescendingOrder, u"AcbD"_s},
    };
    for (const auto &sortCase : cases) {
        QSignalSpy sorting(cntrl.get(), &KZSmartWindowCntrl::isSortingChanged);
        items->sort(sortCase.column, sortCase.order);
        EXPECT_TRUE(cntrl->isSorting());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !cntrl->isSorting(); }));
        EXPECT_EQ(order(), sortCase.expected) << sortCase.column << " " << sortCase.order;
        EXPECT_EQ(sorting.size(), 2);
        // The view's selection follows its item.
        EXPECT_EQ(followed.data().toString(), u"b"_s);
    }

    const int beeps = erase.script->beepCount();
    EXPECT_TRUE(cntrl->sortWithColumn(KZTrashItemsModel::NameColumn, Qt::AscendingOrder));
    EXPECT_FALSE(cntrl->sortWithColumn(KZTrashItemsModel::SizeColumn, Qt::AscendingOrder));
    EXPECT_EQ(erase.script->beepCount(), beeps + 1);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !cntrl->isSorting(); }));
    EXPECT_EQ(order(), u"AbcD"_s);
}

TEST_F(SmartWindow, ClosingWhileABigFolderIsMeasuredStopsTheGatherersAndReopeningRebuilds)
{
    // On a tmpfs where one can be mounted: a hundred thousand files are made there quickly.
    QString whyNot;
    const auto mount = KZTestMount::tmpfs(erase.sandbox.path(u"big"_s).toLocal8Bit(), &whyNot);
    KZTestTrash bigTrash = mount ? KZTestTrash::onVolume(mount->mountPoint()) : trash;
    const QByteArray big = bigTrash.addFolder("big");
    for (int i = 0; i < 100000; ++i) {
        const QByteArray name = big + "/entry" + QByteArray::number(i);
        const int fd = ::open(name.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        ASSERT_GE(fd, 0);
        ::close(fd);
    }
    bigTrash.addFile("small", QByteArray(8192, 'x'));
    QAbstractItemModelTester sourceTester(cntrl->sourceListModel(),
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    QAbstractItemModelTester itemsTester(cntrl->itemsModel(),
                                         QAbstractItemModelTester::FailureReportingMode::Fatal);
    QSignalSpy reloaded(cntrl.get(), &KZSmartWindowCntrl::sizesGathered);
    int stopWorking = 0;
    KZNotificationCenter::defaultCenter().addObserver(
        KZDeleteItems::kStopWorkingNotification, nullptr, cntrl.get(),
        [&](const KZNotification &) { ++stopWorking; });

    for (int round = 0; round < 3; ++round) {
        open({bigTrash.location(u"Big"_s)});
        ASSERT_EQ(cntrl->itemsCount(), 2);
        EXPECT_EQ(cntrl->gatherersRunning(), 1u);
        cntrl->windowWillClose();
        EXPECT_FALSE(cntrl->isOpen());
        EXPECT_EQ(cntrl->volumesCount(), 0);
        EXPECT_EQ(cntrl->itemsModel()->rowCount(), 0);
        EXPECT_EQ(stopWorking, round + 1);
    }
    // Nothing of a closed window reports, and the last opening measures everything.
    open({bigTrash.location(u"Big"_s)});
    ASSERT_TRUE(QTest::qWaitFor([&] { return reloaded.size() == 1; }, 120000));
    QCoreApplication::processEvents();
    EXPECT_EQ(reloaded.size(), 1);
    quint64 count = 0;
    const quint64 expected = KZFilesUtilities::sharedControl()
                                 .iterateFolderForSize(bigTrash.itemURL("big"), &count)
                                 .totalFileSize
                             + KZTestFiles::allocatedBelow(bigTrash.itemPath("small"));
    EXPECT_EQ(count, 100000u);
    EXPECT_EQ(cntrl->sourceListModel()
                  ->index(0, KZSourceListModel::NameColumn)
                  .data(KZSizeRole)
                  .toULongLong(),
              expected);
    cntrl->windowWillClose();
    // Emptied here, while the mount is still there.
    KZTestSandbox::removeTree(bigTrash.root());
}

TEST_F(SmartWindow, AVolumeWithoutATrashFolderShowsEmptyAndDimmedAndNothingIsMade)
{
    const QByteArray withTrash = erase.sandbox.path(u"volumeA"_s).toLocal8Bit();
    const QByteArray without = erase.sandbox.path(u"volumeB"_s).toLocal8Bit();
    KZTestFiles::makeFolders(without);
    KZTestTrash trashA = KZTestTrash::onVolume(withTrash);
    trashA.addFile("kept");
    const KZTestTrash wouldBe(without + "/.Trash-" + QByteArray::number(::getuid()));
    KZTestSandbox::removeTree(wouldBe.root());
    ASSERT_FALSE(KZTestFiles::exists(wouldBe.root()));

    QAbstractItemModelTester tester(cntrl->sourceListModel(),
                                    QAbstractItemModelTester::FailureReportingMode::Fatal);
    // The empty one first: the program selects row 0 even so. Its record calls it not empty,
    // as one made before its folder went would: a missing folder is an empty Trash.
    open({wouldBe.location(u"Bare"_s, false), trashA.location(u"Used"_s)});
    KZSourceListModel *sources = cntrl->sourceListModel();
    ASSERT_EQ(sources->rowCount(), 2);
    EXPECT_EQ(cntrl->selectedVolume(), 0);
    EXPECT_EQ(cntrl->itemsCount(), 0);
    const QModelIndex bare = sources->index(0, KZSourceListModel::NameColumn);
    EXPECT_TRUE(bare.data(KZIsInvisibleRole).toBool());
    EXPECT_EQ(bare.data(KZSizeRole).toULongLong(), 0u);
    EXPECT_EQ(bare.data(KZItemsCountRole).toULongLong(), 0u);
    for (int column = 0; column < KZSourceListModel::ColumnCount; ++column) {
        const Qt::ItemFlags flags = sources->index(0, column).flags();
        EXPECT_FALSE(flags & (Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemIsUserCheckable));
        EXPECT_TRUE(sources->index(1, column).flags() & Qt::ItemIsSelectable);
    }
    EXPECT_FALSE(sources->setData(sources->index(0, KZSourceListModel::CheckColumn), Qt::Checked,
                                  Qt::CheckStateRole));
    EXPECT_EQ(cntrl->volumeAt(0)->check, KZCheckOff);
    EXPECT_FALSE(sources->index(1, KZSourceListModel::NameColumn).data(KZIsInvisibleRole).toBool());
    cntrl->updateSelection(1);
    EXPECT_EQ(cntrl->itemsCount(), 1);
    cntrl->windowWillClose();
    EXPECT_FALSE(KZTestFiles::exists(wouldBe.root()));
    EXPECT_FALSE(KZTestFiles::exists(without + "/.Trash"));
}

TEST_F(SmartWindow, FoldersMeasuredBeforeHaveTheirSizesAtOnceAndNoGatherer)
{
    trash.addFolder("measured", {"a", "b/c"});
    KZTestFiles::writeFile(trash.itemPath("measured") + "/a", QByteArray(30000, 'a'));
    trash.addFolder("new", {"x"});
    const KZTrashSizes::Measurement before = KZTrashSizes::measureTrash(trash.filesURL());
    ASSERT_EQ(before.walkedFolders, 2u);
    const quint64 recorded = KZTestFiles::allocatedBelow(trash.itemPath("measured"));
    // Grown below its top level: only a walk would see it, so the recorded size shows.
    KZTestFiles::writeFile(trash.itemPath("measured") + "/b/grown", QByteArray(50000, 'g'));
    // A folder changed directly is walked again.
    KZTestFiles::writeFile(trash.itemPath("new") + "/y", QByteArray(8000, 'y'));

    open({trash.location(u"Home"_s)});
    const KZItemNode *measured = cntrl->itemAt(rowNamed("measured"));
    ASSERT_NE(measured, nullptr);
    EXPECT_TRUE(measured->sizeFromCache);
    EXPECT_EQ(measured->size.load(), recorded);
    ASSERT_TRUE(waitForSizes());
    EXPECT_EQ(measured->size.load(), recorded);
    const KZItemNode *walked = cntrl->itemAt(rowNamed("new"));
    EXPECT_FALSE(walked->sizeFromCache);
    EXPECT_EQ(walked->size.load(), KZTestFiles::allocatedBelow(trash.itemPath("new")));
}
