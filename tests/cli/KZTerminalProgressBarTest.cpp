#include "KZTerminalProgressBar.h"

#include <gtest/gtest.h>

TEST(TerminalProgressBar, FitsTheLineAndNeverRunsPastFull)
{
    const auto render = [](const char *status, qint64 done, qint64 total, int width) {
        return KZTerminalProgressBar::render(QString::fromUtf8(status), QString::number(done),
                                             QStringLiteral("1 kB"), done, total, width);
    };
    EXPECT_EQ(render("Erasing “Home”…", 50, 100, 80),
              QStringLiteral("[#############-------------]  50%  50 items  1 kB  Erasing “Home”…"));
    // More erased than expected (items added meanwhile): the bar stops at full.
    EXPECT_TRUE(
        render("", 7, 5, 80).startsWith(QStringLiteral("[##########################] 100%")));
    // Not known yet: no bar, and one item is one item. A narrow terminal cuts the end (the last
    // column stays free); a name cannot break the line.
    EXPECT_EQ(render("", 1, 0, 80), QStringLiteral("1 item  1 kB"));
    EXPECT_EQ(render("Erasing “a\nb”…", 3, 0, 16), QStringLiteral("3 items  1 kB \u2026"));
    EXPECT_EQ(render("a\nb", 3, 0, 80), QStringLiteral("3 items  1 kB  a?b"));
}
