#include "KZTerminalProgressBar.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

TEST(TerminalProgressBar, FitsTheLineAndNeverRunsPastFull)
{
    const QString half
        = KZTerminalProgressBar::render(QStringLiteral("Erasing “Home”…"), QStringLiteral("50"),
                                        QStringLiteral("1.00 MB"), 50, 100, 80);
    EXPECT_EQ(half, QStringLiteral("[#############-------------]  50%  50 items  1.00 MB  "
                                   "Erasing “Home”…"));
    // More erased than expected (items added meanwhile): the bar stops at full.
    EXPECT_TRUE(
        KZTerminalProgressBar::render({}, QStringLiteral("7"), QStringLiteral("7 kB"), 7, 5, 80)
            .startsWith(QStringLiteral("[##########################] 100%")));
    // Not known yet: no bar, and one item is one item.
    EXPECT_EQ(
        KZTerminalProgressBar::render({}, QStringLiteral("1"), QStringLiteral("4 kB"), 1, 0, 80),
        QStringLiteral("1 item  4 kB"));

    // A narrow terminal cuts the end (the last column stays free), a name cannot break the line.
    const QString narrow = KZTerminalProgressBar::render(
        QStringLiteral("Erasing “a\nb”…"), QStringLiteral("3"), QStringLiteral("3 kB"), 3, 0, 16);
    EXPECT_EQ(narrow, QStringLiteral("3 items  3 kB \u2026"));
    EXPECT_EQ(KZTerminalProgressBar::render(QStringLiteral("a\nb"), QStringLiteral("3"),
                                            QStringLiteral("3 kB"), 3, 0, 80),
              QStringLiteral("3 items  3 kB  a?b"));
}

TEST(TerminalProgressBar, DrawsOnlyWhenShownAndGivesWayToQuestions)
{
    int pipe[2];
    ASSERT_EQ(::pipe2(pipe, O_NONBLOCK), 0);
    const auto drained = [&] {
        QByteArray bytes;
        char buffer[1024];
        ssize_t n = 0;
        while ((n = ::read(pipe[0], buffer, sizeof buffer)) > 0)
            bytes.append(buffer, n);
        return bytes;
    };
    {
        KZTerminalProgressBar bar(pipe[1]);
        EXPECT_FALSE(bar.isEnabled()) << "a pipe is no terminal";
        bar.show();
        bar.update({}, QStringLiteral("1"), QStringLiteral("1 kB"), 1, 0);
        EXPECT_TRUE(drained().isEmpty());

        bar.setEnabled(true);
        bar.setWidth(40);
        bar.hide();
        bar.update({}, QStringLiteral("1"), QStringLiteral("1 kB"), 1, 0);
        EXPECT_TRUE(drained().isEmpty()) << "not shown yet";
        bar.show();
        EXPECT_EQ(drained(), QByteArray("\r1 item  1 kB\x1b[K"));

        // A question clears the line; ticks meanwhile draw nothing; the last resume redraws.
        bar.suspend();
        bar.suspend();
        EXPECT_EQ(drained(), QByteArray("\r\x1b[K"));
        bar.update({}, QStringLiteral("2"), QStringLiteral("2 kB"), 2, 0);
        bar.resume();
        EXPECT_TRUE(drained().isEmpty());
        bar.resume();
        EXPECT_EQ(drained(), QByteArray("\r2 items  2 kB\x1b[K"));
    }
    // Going away clears the line.
    EXPECT_EQ(drained(), QByteArray("\r\x1b[K"));
    ::close(pipe[0]);
    ::close(pipe[1]);
}
