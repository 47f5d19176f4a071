#include "gui/cells/KZAttributedStringUtilities.h"

#include "KZGuiTestSupport.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QPalette>
#include <QThread>

#include <gtest/gtest.h>

TEST(AttributedStringUtilities, TruncateStringKeepsTheLongestPrefixThatFits)
{
    const QString name = QStringLiteral("A name that is certainly too long for the space");
    const QChar ellipsis(0x2026);
    const QFontMetricsF metrics(QFontDatabase::systemFont(QFontDatabase::GeneralFont));
    const auto truncate = [](const QString &text, qreal space) {
        return KZAttributedStringUtilities::sharedControl().truncateString(
            text, QFontDatabase::GeneralFont, space);
    };
    EXPECT_EQ(truncate(name, 10000), name);

    for (const qreal share : {0.2, 0.35, 0.5, 0.65, 0.8}) {
        const qreal space = metrics.horizontalAdvance(name) * share;
        const QString cut = truncate(name, space);
        ASSERT_TRUE(cut.endsWith(ellipsis)) << share;
        const QString prefix = cut.chopped(1);
        EXPECT_TRUE(name.startsWith(prefix));
        EXPECT_LE(metrics.horizontalAdvance(cut), space);
        EXPECT_GT(metrics.horizontalAdvance(name.left(prefix.size() + 1) + ellipsis), space);
    }
    // Nothing fits: the loop stops with one character left.
    EXPECT_EQ(truncate(name, 1), QStringLiteral("A") + ellipsis);
    // Characters outside the basic plane are never split in two.
    const QString emoji = QStringLiteral("\U0001F5D1\U0001F5D1\U0001F5D1\U0001F5D1");
    for (int room = 1; room < metrics.horizontalAdvance(emoji); room += 3)
        EXPECT_TRUE(truncate(emoji, room).isValidUtf16()) << room;

    // Off the GUI thread the string comes back as it is.
    QString offThread;
    std::unique_ptr<QThread> worker(QThread::create([&] { offThread = truncate(name, 20); }));
    worker->start();
    ASSERT_TRUE(worker->wait(10000));
    EXPECT_EQ(offThread, name);
}

TEST(AttributedStringUtilities, HighlightedAndWindowTextComeFromThePalette)
{
    KZAttributedStringUtilities &strings = KZAttributedStringUtilities::sharedControl();
    for (const bool dark : {false, true}) {
        KZGuiTestSupport::applyPalette(dark);
        const QPalette palette = QApplication::palette();
        EXPECT_EQ(
            strings.attributedStringWithString(QStringLiteral("a"), true, 12, Qt::red).color(),
            palette.color(QPalette::HighlightedText))
            << dark;
        EXPECT_EQ(
            strings.attributedStringWithString(QStringLiteral("a"), false, 12, Qt::red).color(),
            QColor(Qt::red));
        EXPECT_EQ(strings.attributedStringWithString(QStringLiteral("a"), QImage()).color(),
                  palette.color(QPalette::WindowText))
            << dark;
    }
    KZGuiTestSupport::applyPalette(false);
}
