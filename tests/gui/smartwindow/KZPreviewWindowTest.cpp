#include "gui/smartwindow/KZPreviewWindow.h"
#include "KZGuiTestSupport.h"
#include "KZSmartWindowTestSupport.h"
#include "format/KZNumberUtilities.h"
#include "gui/smartwindow/KZSmartWindow.h"
#include "gui/smartwindow/KZSourceTableView.h"
#include "gui/smartwindow/KZTrashedTableView.h"
#include "presentation/KZItemDataRoles.h"
#include "presentation/KZSmartWindowCntrl.h"
#include "presentation/KZTrashItemsModel.h"

#include <QBuffer>
#include <QImage>
#include <QLabel>
#include <QLinearGradient>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Kind = KZPreviewContent::Kind;

QByteArray pngPicture()
{
    QImage picture(640, 400, QImage::Format_RGB32);
    QPainter painter(&picture);
    QLinearGradient gradient(0, 0, 640, 400);
    gradient.setColorAt(0, QColor(0x1e, 0x6f, 0xd9));
    gradient.setColorAt(1, QColor(0xf6, 0xc3, 0x44));
    painter.fillRect(picture.rect(), gradient);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPoint(320, 200), 120, 120);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture.save(&buffer, "PNG");
    return bytes;
}

class Preview : public KZSmartWindowTest
{
protected:
    KZPreviewWindow *preview() const { return window->previewWindow(); }
    // Selects the row with a click on its name and opens the preview with the space bar.
    void openOn(const QByteArray &name)
    {
        const int row = rowNamed(name);
        ASSERT_GE(row, 0) << name.constData();
        clickItem(row, KZTrashItemsModel::NameColumn);
        ASSERT_EQ(selectedItemRow(), row);
        const QRect icon = preview()->rectOfItem();
        QTest::keyClick(window->list(), Qt::Key_Space);
        ASSERT_TRUE(preview()->isVisible());
        // It starts as the row's icon, just after the tick column.
        ASSERT_TRUE(icon.isValid());
        EXPECT_EQ(icon.size(), QSize(32, 32));
        EXPECT_EQ(
            icon.left(),
            window->list()->viewport()->mapToGlobal(QPoint(window->list()->columnWidth(0), 0)).x());
        if (preview()->isZooming()) {
            EXPECT_LT(preview()->width(), 100);
        }
        ASSERT_EQ(preview()->shownURL(), trash.itemURL(name));
        // The zoom out of the row's icon ends at the window's resting size.
        ASSERT_TRUE(QTest::qWaitFor([&] { return !preview()->isZooming(); }));
        ASSERT_GT(preview()->width(), 300);
    }
    void closeWithSpace()
    {
        QTest::keyClick(preview(), Qt::Key_Space);
        EXPECT_FALSE(preview()->isPreviewOpen());
        EXPECT_TRUE(QTest::qWaitFor([&] { return !preview()->isVisible(); }, 2000));
    }
};

} // namespace

TEST_F(Preview, ShowsPictureTextAndFolderAndNeverReadsThroughALinkOrAFifo)
{
    trash.addFile("photo.png", pngPicture(), "/home/someone/Pictures/photo.png");
    QByteArray text;
    for (int line = 1; line <= 40; ++line)
        text += "Line " + QByteArray::number(line) + " of the notes: ünïcödé stays readable\n";
    trash.addFile("notes.txt", text, "/home/someone/notes.txt");
    trash.addFolder("Folder", {"inside.txt", "deeper/file"});
    trash.writeInfo("Folder", "/home/someone/Folder", "2025-06-01T08:30:00");
    // A file of more than the shown part, and a binary one.
    trash.addFile("big.log", QByteArray(200 * 1024, 'a'));
    trash.addFile("binary.bin", QByteArray("\x7f"
                                           "ELF\x02\x01\x01\x00\x00\x00",
                                           10)
                                    + QByteArray(64, '\0'));
    // Things whose content must never be read: a link to a secret outside the Trash, a FIFO.
    const QByteArray secret = erase.sandbox.path(QStringLiteral("secret.txt")).toLocal8Bit();
    KZTestFiles::writeFile(secret, "the secret that stays outside");
    ASSERT_EQ(::symlink(secret.constData(), trash.itemPath("link.txt").constData()), 0);
    trash.writeInfo("link.txt", "/home/someone/link.txt");
    ASSERT_EQ(::mkfifo(trash.itemPath("pipe").constData(), 0600), 0);
    trash.writeInfo("pipe", "/home/someone/pipe");
    open({recordOf(trash, QStringLiteral("Home"))});

    openOn("photo.png");
    EXPECT_EQ(preview()->shownKind(), Kind::Image);
    const auto *picture = preview()->findChild<QLabel *>(QStringLiteral("picture"));
    ASSERT_TRUE(picture);
    // Scaled to fit the window, keeping its shape.
    const QSize shown = picture->pixmap().deviceIndependentSize().toSize();
    EXPECT_LE(shown.width(), preview()->width());
    EXPECT_NEAR(double(shown.width()) / shown.height(), 640.0 / 400.0, 0.02);
    KZGuiTestSupport::saveScreenshots(preview(), QStringLiteral("preview-image"));
    closeWithSpace();

    openOn("notes.txt");
    EXPECT_EQ(preview()->shownKind(), Kind::Text);
    const auto *textView = preview()->findChild<QPlainTextEdit *>();
    ASSERT_TRUE(textView);
    EXPECT_EQ(textView->toPlainText().trimmed(), QString::fromUtf8(text).trimmed());
    KZGuiTestSupport::saveScreenshots(preview(), QStringLiteral("preview-text"));
    closeWithSpace();

    openOn("big.log");
    EXPECT_EQ(preview()->shownKind(), Kind::Text);
    EXPECT_EQ(textView->toPlainText().size(), KZPreviewContent::kTextLimit);
    closeWithSpace();

    openOn("binary.bin");
    EXPECT_EQ(preview()->shownKind(), Kind::Facts);
    closeWithSpace();

    openOn("Folder");
    EXPECT_EQ(preview()->shownKind(), Kind::Facts);
    QStringList facts;
    for (const QLabel *label : preview()->findChildren<QLabel *>())
        facts.append(label->text());
    EXPECT_TRUE(facts.contains(QStringLiteral("Folder")));
    EXPECT_TRUE(facts.contains(QStringLiteral("/home/someone/Folder")));
    // Its size as measured, and the deletion date in the long style.
    const quint64 folderSize = itemIndex(rowNamed("Folder"), 0).data(KZSizeRole).toULongLong();
    ASSERT_GT(folderSize, 0u);
    EXPECT_TRUE(
        facts.contains(KZNumberUtilities::sharedControl().sizeToFormatString(folderSize, 4, true)));
    EXPECT_EQ(facts.filter(QStringLiteral("2025")).size(), 1) << facts.join(u'|').toStdString();
    KZGuiTestSupport::saveScreenshots(preview(), QStringLiteral("preview-folder"));
    closeWithSpace();

    openOn("link.txt");
    EXPECT_EQ(preview()->shownKind(), Kind::Facts);
    EXPECT_FALSE(textView->toPlainText().contains(QStringLiteral("secret")));
    closeWithSpace();

    // Any open of the FIFO, even a non-blocking one, shows as an inotify event. The watch is
    // proved by an open of the test's own first.
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(watch, 0);
    ASSERT_GE(::inotify_add_watch(watch, trash.itemPath("pipe").constData(), IN_OPEN), 0);
    char events[4096];
    const int own = ::open(trash.itemPath("pipe").constData(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(own, 0);
    ::close(own);
    ASSERT_GT(::read(watch, events, sizeof events), 0);
    openOn("pipe");
    EXPECT_EQ(preview()->shownKind(), Kind::Facts);
    closeWithSpace();
    QCoreApplication::processEvents();
    EXPECT_LT(::read(watch, events, sizeof events), 0) << "the FIFO was opened";
    ::close(watch);
}

TEST_F(Preview, ShowsAPdfsFirstPageWhereQtPdfIsInstalled)
{
    QByteArray pdf;
    {
        QBuffer buffer(&pdf);
        buffer.open(QIODevice::WriteOnly);
        QPdfWriter writer(&buffer);
        writer.setPageSize(QPageSize(QPageSize::A5));
        QPainter painter(&writer);
        painter.setFont(QFont(QStringLiteral("DejaVu Sans"), 28));
        painter.drawText(QRect(0, 0, writer.width(), writer.height() / 3), Qt::AlignCenter,
                         QStringLiteral("First page"));
        painter.fillRect(QRect(0, writer.height() / 2, writer.width(), writer.height() / 4),
                         QColor(0x35, 0x84, 0xe4));
    }
    trash.addFile("leaflet.pdf", pdf, "/home/someone/leaflet.pdf");
    open({recordOf(trash, QStringLiteral("Home"))});
    openOn("leaflet.pdf");
    if (!KZPreviewContent::showsPdfPages()) {
        EXPECT_EQ(preview()->shownKind(), Kind::Facts);
        GTEST_SKIP() << "built without Qt PDF: the PDF shows its facts";
    }
    EXPECT_EQ(preview()->shownKind(), Kind::Pdf);
    const QImage page
        = preview()->findChild<QLabel *>(QStringLiteral("picture"))->pixmap().toImage();
    // A page in A5's proportions, white paper with the blue band drawn on it.
    EXPECT_NEAR(double(page.height()) / page.width(), 210.0 / 148.0, 0.03);
    EXPECT_EQ(page.pixelColor(page.width() / 2, page.height() / 8), QColor(Qt::white));
    const QColor band = page.pixelColor(page.width() / 2, page.height() * 5 / 8);
    EXPECT_GT(band.blue(), 200);
    EXPECT_LT(band.red(), 100);
    KZGuiTestSupport::saveScreenshots(preview(), QStringLiteral("preview-pdf"));
    closeWithSpace();
}

TEST_F(Preview, SpaceTogglesFromEitherListAndArrowsMoveTheSelectionItFollows)
{
    for (const QByteArray name : {"a.txt", "b.txt", "c.txt"})
        trash.addFile(name, "text of " + name);
    open({recordOf(trash, QStringLiteral("Home"))});

    // Nothing selected: the space bar opens nothing.
    QTest::keyClick(window->list(), Qt::Key_Space);
    EXPECT_FALSE(preview()->isVisible());

    openOn("a.txt");
    EXPECT_TRUE(preview()->watchdogIsRunning());
    // Down arrows typed into the preview move the item list's selection; the preview follows.
    QTest::keyClick(preview(), Qt::Key_Down);
    EXPECT_EQ(selectedItemRow(), rowNamed("b.txt"));
    EXPECT_EQ(preview()->shownURL(), trash.itemURL("b.txt"));
    QTest::keyClick(preview(), Qt::Key_Down);
    EXPECT_EQ(preview()->shownURL(), trash.itemURL("c.txt"));
    QTest::keyClick(preview(), Qt::Key_Up);
    EXPECT_EQ(preview()->shownURL(), trash.itemURL("b.txt"));
    EXPECT_TRUE(preview()->isVisible());

    // The space bar in the source list toggles too: closed, then open again on b.txt.
    QTest::keyClick(window->sourceList(), Qt::Key_Space);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !preview()->isVisible(); }, 2000));
    // The watchdog stops at its next tick once the preview is closed.
    EXPECT_TRUE(QTest::qWaitFor([&] { return !preview()->watchdogIsRunning(); }, 2000));
    QTest::keyClick(window->sourceList(), Qt::Key_Space);
    EXPECT_TRUE(preview()->isVisible());
    EXPECT_EQ(preview()->shownURL(), trash.itemURL("b.txt"));

    // A Control-click on the selected row deselects it; the watchdog closes the preview.
    clickItem(rowNamed("b.txt"), KZTrashItemsModel::NameColumn, Qt::ControlModifier);
    ASSERT_EQ(selectedItemRow(), -1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !preview()->isVisible(); }, 2000));
    EXPECT_FALSE(preview()->isPreviewOpen());

    // The preview goes with its window; the first space bar of the next opening opens it
    // rather than "closing" the old one.
    openOn("c.txt");
    QTest::mouseClick(window->cancelBtn(), Qt::LeftButton);
    EXPECT_FALSE(window->isVisible());
    EXPECT_FALSE(preview()->isVisible());
    EXPECT_FALSE(preview()->watchdogIsRunning());
    open({recordOf(trash, QStringLiteral("Home"))});
    openOn("c.txt");
    EXPECT_TRUE(preview()->isPreviewOpen());
    closeWithSpace();
}

TEST(PreviewContent, ReadsRegularFilesOnlyAndTellsTextFromBinary)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QByteArray root = dir.path().toLocal8Bit();
    KZTestFiles::writeFile(root + "/file", "content");
    ASSERT_EQ(::symlink((root + "/file").constData(), (root + "/link").constData()), 0);
    ASSERT_EQ(::mkfifo((root + "/fifo").constData(), 0600), 0);
    ASSERT_EQ(::mkdir((root + "/folder").constData(), 0700), 0);

    bool truncated = true;
    EXPECT_EQ(KZPreviewContent::readRegularFile(root + "/file", 100, &truncated), "content");
    EXPECT_FALSE(truncated);
    EXPECT_EQ(KZPreviewContent::readRegularFile(root + "/file", 3, &truncated), "con");
    EXPECT_TRUE(truncated);
    EXPECT_FALSE(KZPreviewContent::readRegularFile(root + "/link", 100));
    EXPECT_FALSE(KZPreviewContent::readRegularFile(root + "/fifo", 100));
    EXPECT_FALSE(KZPreviewContent::readRegularFile(root + "/folder", 100));
    EXPECT_FALSE(KZPreviewContent::readRegularFile(root + "/missing", 100));
    EXPECT_FALSE(KZPreviewContent::readRegularFile("/dev/null", 100));

    EXPECT_TRUE(KZPreviewContent::looksLikeText("plain\ttext\r\n"));
    // A character cut in two by the read still reads as text.
    EXPECT_TRUE(KZPreviewContent::looksLikeText(QByteArray("caf\xc3\xa9 caf\xc3", 10)));
    EXPECT_FALSE(KZPreviewContent::looksLikeText(QByteArray("a\0b", 3)));
    EXPECT_FALSE(KZPreviewContent::looksLikeText("\xff\xfe not UTF-8"));
    EXPECT_FALSE(KZPreviewContent::looksLikeText("\x01\x02\x03\x04 mostly control"));
}
