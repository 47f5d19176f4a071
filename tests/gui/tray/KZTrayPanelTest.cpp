#include "gui/tray/KZTrayPanel.h"
#include "KZGuiTestSupport.h"
#include "KZTestMount.h"
#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "gui/tray/KZDiskMenuItemView.h"
#include "gui/tray/KZTraySpinner.h"
#include "model/KZPath.h"
#include "presentation/KZTrashSizeQueue.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QScreen>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

namespace {

// The text a row shows for a measurement, built from the table and the number formats.
QString expectedInfo(quint64 count, quint64 size)
{
    const KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    return KZLocalizedFormat(
        count == 1 ? QStringLiteral("item_size") : QStringLiteral("items_size"),
        {numbers.numberToFormatString(double(count)), numbers.sizeToFormatString(size, 4, true)});
}

// Keeps every thread of the shared size pool busy, so that rows shown meanwhile stay measuring.
class BusySizePool
{
public:
    BusySizePool()
    {
        QThreadPool &pool = KZTrashSizeQueue::sharedControl().pool();
        m_threads = pool.maxThreadCount();
        for (int i = 0; i < m_threads; ++i)
            pool.start([this] {
                m_started.release();
                m_release.acquire();
            });
        m_started.acquire(m_threads);
    }
    ~BusySizePool()
    {
        m_release.release(m_threads);
        KZTrashSizeQueue::sharedControl().pool().waitForDone();
    }

private:
    int m_threads = 0;
    QSemaphore m_started;
    QSemaphore m_release;
};

class TrayPanelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        KZGuiTestSupport::applyPalette(false);
        ASSERT_TRUE(m_sandbox.isValid());
    }
    void TearDown() override { KZTrashSizeQueue::sharedControl().pool().waitForDone(); }

    // The home Trash's record: its volume is the home folder.
    KZTrashLocation home(bool trashIsEmpty, const QString &name = QStringLiteral("Home")) const
    {
        KZTrashLocation record = m_home.location(name, trashIsEmpty);
        record.volumeURL = KZPath::urlFromPath(m_homeFolder);
        return record;
    }

    void show(KZTrayPanel &panel, const QList<KZTrashLocation> &records, bool isWorking = false)
    {
        panel.showRows(records, isWorking, QRect(200, 0, 24, 24));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
    }
    static QPoint centerOf(KZTrayPanel &panel, QWidget *row)
    {
        return row->mapTo(&panel, row->rect().center());
    }
    static void click(KZTrayPanel &panel, QWidget *row)
    {
        QTest::mouseMove(panel.windowHandle(), centerOf(panel, row));
        QTest::mouseClick(panel.windowHandle(), Qt::LeftButton, {}, centerOf(panel, row));
    }
    static void waitMeasured(KZDiskMenuItemView *row)
    {
        ASSERT_TRUE(QTest::qWaitFor([row] { return !row->info().isNull(); }, 10000));
    }

    // The sandbox comes first: the Trashes are made in its home and folders.
    KZTestSandbox m_sandbox;
    KZTestTrash m_home = KZTestTrash::home();
    QByteArray m_homeFolder = QFile::encodeName(m_sandbox.home());
    KZTestTrash m_other
        = KZTestTrash::onVolume(QFile::encodeName(m_sandbox.path(QStringLiteral("other"))));
    KZTestTrash m_third
        = KZTestTrash::onVolume(QFile::encodeName(m_sandbox.path(QStringLiteral("third"))));
};

} // namespace

TEST_F(TrayPanelTest, FullTrashesGatherThenShowCountAndSizeAndAnEmptyOneIsDimmedAndNeverMeasured)
{
    m_home.addFile("one", QByteArray(10000, 'x'));
    m_other.addFile("a", "a");
    m_other.addFile("b", "b");
    const KZTestTrash fourth
        = KZTestTrash::onVolume(QFile::encodeName(m_sandbox.path(QStringLiteral("fourth"))));
    // Third's record still says full, but the Trash was emptied meanwhile: nothing found.
    KZTrayPanel panel;
    panel.showRows({home(false), m_other.location(QStringLiteral("Other"), false),
                    m_third.location(QStringLiteral("Third"), false),
                    fourth.location(QStringLiteral("Fourth"), true)},
                   false, QRect(200, 0, 24, 24));
    const QList<KZDiskMenuItemView *> rows = panel.rows();
    ASSERT_EQ(rows.size(), 4);
    // Results come back through the event loop, which has not run since the panel opened.
    for (KZDiskMenuItemView *row : rows.mid(0, 3)) {
        EXPECT_TRUE(row->isMenuItemEnabled());
        EXPECT_TRUE(row->sizeIsWorking());
        EXPECT_TRUE(row->info().isNull());
        EXPECT_EQ(row->secondLine(), KZLocalizedString(QStringLiteral("Gathering_info")));
        EXPECT_TRUE(row->findChild<KZTraySpinner *>()->isAnimating());
    }
    KZDiskMenuItemView *empty = rows[3];
    EXPECT_FALSE(empty->isMenuItemEnabled());
    EXPECT_EQ(empty->firstLine(), QStringLiteral("Fourth…"));
    EXPECT_EQ(empty->secondLine(), KZLocalizedString(QStringLiteral("Trash_empty")));
    EXPECT_FALSE(empty->findChild<KZTraySpinner *>()->isVisible());

    const quint64 expectedCounts[] = {1, 2, 0};
    const char *expectedStarts[] = {"1 item, ", "2 items, ", "0 items, "};
    for (int i = 0; i < 3; ++i) {
        KZDiskMenuItemView *row = rows[i];
        waitMeasured(row);
        ASSERT_TRUE(row->diskDict().itemsCount.has_value());
        ASSERT_TRUE(row->diskDict().itemsSize.has_value());
        EXPECT_EQ(*row->diskDict().itemsCount, expectedCounts[i]);
        EXPECT_EQ(row->info(), expectedInfo(expectedCounts[i], *row->diskDict().itemsSize));
        EXPECT_TRUE(row->info().startsWith(QLatin1String(expectedStarts[i])))
            << qPrintable(row->info());
        EXPECT_EQ(row->secondLine(), row->info());
        EXPECT_FALSE(row->findChild<KZTraySpinner *>()->isVisible());
    }
    EXPECT_GE(*rows[0]->diskDict().itemsSize, 10000u);
    EXPECT_EQ(*rows[2]->diskDict().itemsSize, 0u);
    KZTrashSizeQueue::sharedControl().pool().waitForDone();
    QCoreApplication::processEvents();
    EXPECT_FALSE(empty->sizeIsWorking());
    EXPECT_TRUE(empty->info().isNull());
    EXPECT_FALSE(empty->diskDict().itemsCount.has_value());
    EXPECT_EQ(empty->secondLine(), KZLocalizedString(QStringLiteral("Trash_empty")));

    // Both rows show the same icon; the dimmed one draws it at half opacity over the window.
    const QImage fullPicture = rows[1]->grab().toImage();
    const QImage emptyPicture = empty->grab().toImage();
    const qreal ratio = fullPicture.devicePixelRatio();
    int differing = 0;
    for (int y = 8; y < 56; y += 4)
        for (int x = 12; x < 52; x += 4)
            differing += fullPicture.pixel(QPoint(x, y) * ratio)
                         != emptyPicture.pixel(QPoint(x, y) * ratio);
    EXPECT_GT(differing, 10);
}

TEST_F(TrayPanelTest, ClickReturnAndSpaceBlinkThenChooseOnce)
{
    m_home.addFile("one");
    const KZTrashLocation record = home(false);
    for (const int way : {0, int(Qt::Key_Return), int(Qt::Key_Space), int(Qt::Key_Enter)}) {
        SCOPED_TRACE(way);
        KZTrayPanel panel;
        show(panel, {record});
        KZDiskMenuItemView *row = panel.rows().value(0);
        ASSERT_TRUE(row);
        QSignalSpy chosen(&panel, &KZTrayPanel::rowChosen);
        QSignalSpy toggles(row, &KZDiskMenuItemView::isSelectedChanged);
        QElapsedTimer clock;
        if (way == 0) {
            QTest::mouseMove(panel.windowHandle(), centerOf(panel, row));
            ASSERT_TRUE(QTest::qWaitFor([row] { return row->isSelected(); }, 2000));
            // The hover selected the row; the blink starts from there.
            toggles.clear();
            clock.start();
            QTest::mouseClick(panel.windowHandle(), Qt::LeftButton, {}, centerOf(panel, row));
        } else {
            QTest::keyClick(panel.windowHandle(), Qt::Key_Down);
            ASSERT_TRUE(row->hasFocus());
            ASSERT_TRUE(row->isSelected());
            toggles.clear();
            clock.start();
            QTest::keyClick(panel.windowHandle(), Qt::Key(way));
        }
        EXPECT_TRUE(row->isBlinking());
        EXPECT_EQ(chosen.count(), 0);
        // A second choice while it blinks is the same choice.
        QTest::keyClick(panel.windowHandle(), Qt::Key_Return);
        ASSERT_TRUE(chosen.wait(2000));
        EXPECT_GE(clock.elapsed(), 3 * KZDiskMenuItemView::kBlinkIntervalMs);
        EXPECT_EQ(toggles.count(), 4);
        EXPECT_TRUE(row->isSelected());
        EXPECT_FALSE(panel.isVisible());
        QTest::qWait(300);
        ASSERT_EQ(chosen.count(), 1);
        const auto chosenRecord = chosen[0][0].value<KZTrashLocation>();
        EXPECT_EQ(chosenRecord.trashURL, record.trashURL);
        EXPECT_EQ(chosenRecord.volumeName, record.volumeName);
    }
}

TEST_F(TrayPanelTest, WhileWorkingEveryRowIsDimmedAndUnmeasured)
{
    m_home.addFile("one");
    m_other.addFile("two");
    KZTrayPanel panel;
    show(panel, {home(false), m_other.location(QStringLiteral("Other"), false)}, true);
    QSignalSpy chosen(&panel, &KZTrayPanel::rowChosen);
    QSignalSpy rowChosen(panel.rows()[0], &KZDiskMenuItemView::chosen);
    for (KZDiskMenuItemView *row : panel.rows()) {
        EXPECT_FALSE(row->isMenuItemEnabled());
        EXPECT_FALSE(row->sizeIsWorking());
        EXPECT_EQ(row->secondLine(), KZLocalizedString(QStringLiteral("Trash_empty")));
    }
    // The keyboard never lands on a dimmed row; Return there chooses nothing.
    QTest::keyClick(panel.windowHandle(), Qt::Key_Down);
    EXPECT_FALSE(panel.rows()[0]->hasFocus());
    QTest::keyClick(panel.windowHandle(), Qt::Key_Return);
    EXPECT_TRUE(panel.isVisible());
    // A click on a dimmed row closes the panel and does nothing else.
    click(panel, panel.rows()[0]);
    EXPECT_FALSE(panel.rows()[0]->isSelected());
    QTest::qWait(300);
    EXPECT_FALSE(panel.isVisible());
    EXPECT_EQ(chosen.count(), 0);
    EXPECT_EQ(rowChosen.count(), 0);
}

TEST_F(TrayPanelTest, ArrowsSkipDimmedRowsHoverFollowsTheMouseAndOutsideCloses)
{
    m_home.addFile("one");
    m_third.addFile("three");
    KZTrayPanel panel;
    show(panel, {home(false), m_other.location(QStringLiteral("Other"), true),
                 m_third.location(QStringLiteral("Third"), false)});
    const QList<KZDiskMenuItemView *> rows = panel.rows();
    ASSERT_EQ(rows.size(), 3);
    for (KZDiskMenuItemView *row : rows)
        EXPECT_FALSE(row->isSelected());
    const auto selected = [&rows] {
        QList<int> which;
        for (int i = 0; i < rows.size(); ++i)
            if (rows[i]->isSelected())
                which.append(i);
        return which;
    };
    QTest::keyClick(panel.windowHandle(), Qt::Key_Down);
    EXPECT_EQ(selected(), QList<int>{0});
    QTest::keyClick(panel.windowHandle(), Qt::Key_Down);
    EXPECT_EQ(selected(), QList<int>{2});
    QTest::keyClick(panel.windowHandle(), Qt::Key_Down);
    EXPECT_EQ(selected(), QList<int>{0});
    QTest::keyClick(panel.windowHandle(), Qt::Key_Up);
    EXPECT_EQ(selected(), QList<int>{2});

    QTest::mouseMove(panel.windowHandle(), centerOf(panel, rows[0]));
    EXPECT_TRUE(QTest::qWaitFor([&] { return selected() == QList<int>{0}; }, 2000));
    QTest::mouseMove(panel.windowHandle(), centerOf(panel, rows[1]));
    EXPECT_TRUE(QTest::qWaitFor([&] { return selected().isEmpty(); }, 2000));
    QTest::mouseMove(panel.windowHandle(), centerOf(panel, rows[2]));
    EXPECT_TRUE(QTest::qWaitFor([&] { return selected() == QList<int>{2}; }, 2000));

    // Keyboard goes on from the row under the mouse.
    QTest::keyClick(panel.windowHandle(), Qt::Key_Up);
    EXPECT_EQ(selected(), QList<int>{0});

    // Keys other than the arrows, Return, Enter and Space do nothing.
    QSignalSpy chosen(&panel, &KZTrayPanel::rowChosen);
    for (const Qt::Key key : {Qt::Key_A, Qt::Key_X, Qt::Key_0, Qt::Key_Backspace, Qt::Key_Delete,
                              Qt::Key_Right, Qt::Key_F2})
        QTest::keyClick(panel.windowHandle(), key);
    for (const char letter : {'y', 'e', 's'})
        QTest::keyClick(panel.windowHandle(), letter);
    QTest::keyClick(panel.windowHandle(), Qt::Key_Space, Qt::ControlModifier);
    QTest::qWait(300);
    EXPECT_FALSE(rows[0]->isBlinking());
    EXPECT_EQ(chosen.count(), 0);
    EXPECT_EQ(selected(), QList<int>{0});

    QTest::mouseClick(panel.windowHandle(), Qt::LeftButton, {}, QPoint(-30, panel.height() / 2));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !panel.isVisible(); }, 2000));
    EXPECT_EQ(chosen.count(), 0);
}

TEST_F(TrayPanelTest, PlacedByTheIconOrNearThePointerKeptOnScreenAndNarrowWithALongName)
{
    m_home.addFile("one");
    // A long name keeps the panel narrow and its rows aligned.
    const QString longName
        = QStringLiteral("Backups of the whole family photo library ").repeated(4);
    const QList<KZTrashLocation> records{home(false, longName),
                                         m_other.location(QStringLiteral("B"), true)};
    KZTrayPanel panel;
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();

    // An icon in a top bar: the panel hangs under it, left edges aligned.
    panel.showRows(records, false, QRect(300, screen.top(), 24, 24));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
    EXPECT_EQ(panel.geometry().topLeft(), QPoint(300, screen.top() + 24));
    EXPECT_EQ(panel.frameGeometry(), panel.geometry());
    ASSERT_EQ(panel.rows().size(), 2);
    EXPECT_EQ(panel.rows()[0]->firstLine(), longName + QChar(0x2026));
    EXPECT_LT(panel.width(), 520);
    EXPECT_GT(panel.width(), 300);
    EXPECT_EQ(panel.rows()[0]->width(), panel.rows()[1]->width());

    // An icon in a bottom bar, at the right end: above it, pushed left onto the screen.
    const QRect bottomRight(screen.right() - 10, screen.bottom() - 23, 24, 24);
    panel.showRows(records, false, bottomRight);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
    EXPECT_EQ(panel.geometry().bottom(), bottomRight.top() - 1);
    EXPECT_EQ(panel.geometry().right(), screen.right());
    EXPECT_TRUE(screen.contains(panel.geometry()));

    // No geometry from the host: at the pointer, even in the screen's far corner.
    for (const QPoint pointer : {QPoint(400, 300), screen.bottomRight() - QPoint(2, 2)}) {
        QCursor::setPos(pointer);
        ASSERT_TRUE(QTest::qWaitFor([&] { return QCursor::pos() == pointer; }, 2000));
        panel.showRows(records, false, QRect());
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
        EXPECT_TRUE(screen.contains(panel.geometry()));
        const QRect near = panel.geometry().adjusted(-2, -2, 2, 2);
        EXPECT_TRUE(near.contains(pointer)) << pointer.x() << "," << pointer.y();
        // The pointer is beside the panel, not over a row whose release would choose it.
        EXPECT_FALSE(panel.geometry().adjusted(0, 1, 0, -1).contains(pointer));
    }

    // Panels at the screen's sides: beside the icon.
    const QRect area(0, 0, 1000, 800);
    const QSize size(300, 200);
    EXPECT_EQ(KZTrayPanel::placement(size, QRect(3, 100, 24, 24), area.adjusted(30, 0, 0, 0)),
              QRect(QPoint(30, 100), size));
    EXPECT_EQ(KZTrayPanel::placement(size, QRect(975, 700, 24, 24), area.adjusted(0, 0, -30, 0)),
              QRect(QPoint(970 - 300, 600), size));
}

TEST_F(TrayPanelTest, WithoutVolumesOneDimmedLineSaysSo)
{
    KZTrayPanel panel;
    panel.showRows({}, false, QRect());
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&panel));
    EXPECT_TRUE(panel.rows().isEmpty());
    const QList<QLabel *> labels = panel.findChildren<QLabel *>();
    ASSERT_EQ(labels.size(), 1);
    EXPECT_EQ(labels[0]->text(), KZLocalizedString(QStringLiteral("No_trash")));
    EXPECT_NE(labels[0]->text(), QStringLiteral("No_trash"));
    EXPECT_EQ(labels[0]->foregroundRole(), QPalette::PlaceholderText);
    KZGuiTestSupport::saveScreenshot(&panel, QStringLiteral("tray-panel-no-trash"), false);
    QTest::keyClick(panel.windowHandle(), Qt::Key_Escape);
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(TrayPanelTest, Screenshots)
{
    QString whyNot;
    const QByteArray first = QFile::encodeName(m_sandbox.path(QStringLiteral("Photos")));
    const QByteArray second = QFile::encodeName(m_sandbox.path(QStringLiteral("Backup")));
    auto photos = KZTestMount::tmpfs(first, &whyNot);
    auto backup = photos ? KZTestMount::tmpfs(second, &whyNot) : nullptr;
    if (!photos || !backup)
        GTEST_SKIP() << qPrintable(whyNot);
    m_home.addFile("letter.txt", QByteArray(120000, 'x'));
    KZTestTrash photosTrash = KZTestTrash::onVolume(first);
    photosTrash.addFolder("Holiday", {"one.jpg", "two.jpg", "more/"});
    KZTestTrash backupTrash = KZTestTrash::onVolume(second);
    const QList<KZTrashLocation> records{home(false),
                                         photosTrash.location(QStringLiteral("Photos"), false),
                                         backupTrash.location(QStringLiteral("Backup"), true)};

    // The home row's text as a first opening measures it...
    KZTrayPanel panel;
    show(panel, {records[0]});
    waitMeasured(panel.rows()[0]);
    const QString measured = panel.rows()[0]->info();
    panel.hide();

    // ...shown beside a row whose measurement waits for the busy pool, and an empty Trash.
    BusySizePool busy;
    show(panel, records);
    panel.rows()[0]->setInfo(measured);
    for (const bool dark : {false, true}) {
        KZGuiTestSupport::applyPalette(dark);
        QTest::mouseMove(panel.windowHandle(), QPoint(panel.width() / 2, panel.height() - 2));
        QTest::qWait(200);
        KZGuiTestSupport::saveScreenshot(&panel, QStringLiteral("tray-panel"), dark);
        QTest::mouseMove(panel.windowHandle(), centerOf(panel, panel.rows()[0]));
        ASSERT_TRUE(QTest::qWaitFor([&] { return panel.rows()[0]->isSelected(); }, 2000));
        QTest::qWait(100);
        KZGuiTestSupport::saveScreenshot(&panel, QStringLiteral("tray-panel-hover"), dark);
    }
    EXPECT_EQ(panel.rows()[1]->secondLine(), KZLocalizedString(QStringLiteral("Gathering_info")));
    panel.hide();
}
