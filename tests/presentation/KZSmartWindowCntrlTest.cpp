#include "presentation/KZSmartWindowCntrl.h"
#include "../erase/KZEraseTestSupport.h"
#include "KZTestMount.h"
#include "model/KZFilesUtilities.h"
#include "model/KZPath.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSourceListModel.h"
#include "presentation/KZTrashItemsModel.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

KZTrashLocation recordOf(const KZTestTrash &trash, const QString &volumeName,
                         bool trashIsEmpty = false)
{
    KZTrashLocation record;
    record.trashURL = trash.filesURL();
    record.volumeURL = KZPath::urlFromPath(KZPath::parentPath(trash.root()));
    record.volumeName = volumeName;
    record.trashIsEmpty = trashIsEmpty;
    return record;
}

quint64 allocated(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0 ? quint64(st.st_blocks) * 512 : 0;
}

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
    open({recordOf(trash, QStringLiteral("Home"))});
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
    EXPECT_EQ(fileName.data(KZSizeRole).toULongLong(), allocated(trash.itemPath("file.txt")));
    // 2024-03-05T10:20:30 UTC, from 1 January 2001.
    EXPECT_DOUBLE_EQ(
        items->index(file, KZTrashItemsModel::AddedColumn).data(KZSecondsRole).toDouble(),
        731326830.0);
    const QModelIndex lost = items->index(rowNamed("no-info"), KZTrashItemsModel::NameColumn);
    EXPECT_FALSE(lost.data(KZPathRole).isValid());
    EXPECT_FALSE(
        items->index(lost.row(), KZTrashItemsModel::AddedColumn).data(KZSecondsRole).isValid());

    quint64 expected = 0;
    for (const QByteArray name : {"file.txt", ".hidden", "no-info"})
        expected += allocated(trash.itemPath(name));
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
