#include "smartwindow/KZAttributedStringUtilities.h"
#include "KZCellTestSupport.h"

#include <QFontMetricsF>
#include <QThread>

#include <gtest/gtest.h>

namespace {
KZAttributedStringUtilities &strings()
{
    return KZAttributedStringUtilities::sharedControl();
}
const QString kLong = QStringLiteral("A name that is certainly too long for the space");
const QChar kEllipsis(0x2026);
} // namespace

TEST(AttributedStringUtilities, SizeOfStringAndInlineImages)
{
    const QFont font = KZAttributedStringUtilities::systemFontOfSize(13, true);
    const QFontMetricsF metrics(font);
    EXPECT_EQ(strings().sizeOfString(kLong, font),
              QSizeF(metrics.horizontalAdvance(kLong), metrics.height()));

    // An image given with the text is drawn first, the text after it.
    const KZAttributedString line
        = strings().attributedStringWithString(QStringLiteral("Locked"), solidImage(16, Qt::red));
    const KZPaintRecord record
        = recorded([&](QPainter *painter) { line.drawInRect(painter, QRectF(5, 5, 300, 20)); });
    ASSERT_EQ(record.images.size(), 1);
    ASSERT_EQ(record.texts.size(), 1);
    EXPECT_EQ(record.images[0].target.left(), 5);
    EXPECT_EQ(record.images[0].target.size(), QSizeF(16, 16));
    EXPECT_EQ(record.texts[0].origin.x(), 5 + 16);
}

TEST(AttributedStringUtilities, TruncateStringKeepsTheLongestPrefixThatFits)
{
    const QFontMetricsF metrics(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    const auto truncate = [](const QString &text, qreal space) {
        return strings().truncateString(text, QFontDatabase::GeneralFont, space);
    };
    EXPECT_EQ(truncate(kLong, 10000), kLong);

    for (const qreal share : {0.2, 0.35, 0.5, 0.65, 0.8}) {
        const qreal space = metrics.horizontalAdvance(kLong) * share;
        const QString cut = truncate(kLong, space);
        ASSERT_TRUE(cut.endsWith(kEllipsis)) << share;
        const QString prefix = cut.chopped(1);
        EXPECT_TRUE(kLong.startsWith(prefix));
        EXPECT_LE(metrics.horizontalAdvance(cut), space);
        EXPECT_GT(metrics.horizontalAdvance(kLong.left(prefix.size() + 1) + kEllipsis), space);
    }
    // Nothing fits: the loop stops with one character left.
    EXPECT_EQ(truncate(kLong, 1), QStringLiteral("A") + kEllipsis);
    // Characters outside the basic plane are never split in two.
    const QString emoji = QStringLiteral("\U0001F5D1\U0001F5D1\U0001F5D1\U0001F5D1");
    for (int room = 1; room < metrics.horizontalAdvance(emoji); room += 3)
        EXPECT_TRUE(truncate(emoji, room).isValidUtf16()) << room;

    // Off the GUI thread the string comes back as it is.
    QString offThread;
    std::unique_ptr<QThread> worker(QThread::create([&] { offThread = truncate(kLong, 20); }));
    worker->start();
    ASSERT_TRUE(worker->wait(10000));
    EXPECT_EQ(offThread, kLong);
}
