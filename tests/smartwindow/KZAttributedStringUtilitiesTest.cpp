#include "smartwindow/KZAttributedStringUtilities.h"
#include "KZCellTestSupport.h"
#include "KZPaintRecorder.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QThread>

#include <gtest/gtest.h>

namespace {
KZAttributedStringUtilities &strings()
{
    return KZAttributedStringUtilities::sharedControl();
}
const QChar kEllipsis(0x2026);
} // namespace

TEST(AttributedStringUtilities, BuildersLeaveShorteningToTheDrawing)
{
    const KZAttributedString title = strings().attributedStringWithString(
        QStringLiteral("Home Trash"), 13, Qt::red, true, Qt::AlignRight, 50, Qt::ElideLeft);
    EXPECT_EQ(title.font().pixelSize(), 13);
    EXPECT_TRUE(title.font().bold());
    // The space to fit in is not used by the builder: the elide mode shortens when drawing.
    EXPECT_EQ(title,
              strings().attributedStringWithString(QStringLiteral("Home Trash"), 13, Qt::red, true,
                                                   Qt::AlignRight, 900, Qt::ElideLeft));
    EXPECT_EQ(strings().attributedStringWithString(QStringLiteral("a"), true, 11, Qt::blue).color(),
              QColor(Qt::white));
}

TEST(AttributedStringUtilities, InlineImageIsDrawnBeforeItsText)
{
    const KZAttributedString line
        = strings().attributedStringWithString(QStringLiteral("Locked"), solidImage(16, Qt::red));
    KZPaintRecorder recorder;
    QPainter painter(&recorder);
    line.drawInRect(&painter, QRectF(5, 5, 300, 20));
    painter.end();
    ASSERT_EQ(recorder.images.size(), 1);
    ASSERT_EQ(recorder.texts.size(), 1);
    EXPECT_EQ(recorder.images[0].target.left(), 5);
    EXPECT_EQ(recorder.images[0].target.size(), QSizeF(16, 16));
    EXPECT_DOUBLE_EQ(recorder.texts[0].origin.x(), 5 + 16);
    EXPECT_GT(line.size().width(), 16);
}

TEST(AttributedStringUtilities, TruncateStringDropsCharactersUntilItFits)
{
    const QString text = QStringLiteral("A name that is certainly too long for the space");
    const QFontMetricsF metrics(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    EXPECT_EQ(strings().truncateString(text, QFontDatabase::GeneralFont, 10000), text);

    const qreal space = metrics.horizontalAdvance(text) / 2;
    const QString cut = strings().truncateString(text, QFontDatabase::GeneralFont, space);
    ASSERT_TRUE(cut.endsWith(kEllipsis));
    EXPECT_LE(metrics.horizontalAdvance(cut), space);
    const QString prefix = cut.chopped(1);
    EXPECT_TRUE(text.startsWith(prefix));
    // The longest prefix that fits: one more character would not.
    EXPECT_GT(metrics.horizontalAdvance(text.left(prefix.size() + 1) + kEllipsis), space);

    // Nothing fits: the loop stops with one character left.
    EXPECT_EQ(strings().truncateString(text, QFontDatabase::GeneralFont, 1),
              QStringLiteral("A") + kEllipsis);

    // Characters outside the basic plane are never split in two, whatever fits.
    const QString emoji = QStringLiteral("\U0001F5D1\U0001F5D1\U0001F5D1\U0001F5D1");
    for (int room = 1; room < metrics.horizontalAdvance(emoji); room += 3)
        EXPECT_TRUE(
            strings().truncateString(emoji, QFontDatabase::GeneralFont, room).isValidUtf16())
            << room;
}

TEST(AttributedStringUtilities, TruncateStringLeavesTextAloneOffTheGuiThread)
{
    const QString text = QStringLiteral("A name that is certainly too long for the space");
    QString result;
    std::unique_ptr<QThread> worker(QThread::create(
        [&] { result = strings().truncateString(text, QFontDatabase::GeneralFont, 20); }));
    worker->start();
    ASSERT_TRUE(worker->wait(10000));
    EXPECT_EQ(result, text);
}
