#include "erase/KZTerminalAlertBackend.h"

#include <gtest/gtest.h>

#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A terminal stand-in: what the user types goes into one pipe, what Binwise prints comes out of
// another.
class TerminalPipes
{
public:
    TerminalPipes()
    {
        EXPECT_EQ(pipe(m_in), 0);
        EXPECT_EQ(pipe(m_out), 0);
        fcntl(m_out[0], F_SETFL, O_NONBLOCK);
    }
    ~TerminalPipes()
    {
        for (int fd : {m_in[0], m_in[1], m_out[0], m_out[1]})
            if (fd >= 0)
                close(fd);
    }
    void type(const QByteArray &text)
    {
        ASSERT_EQ(write(m_in[1], text.data(), text.size()), text.size());
    }
    void closeInput()
    {
        close(m_in[1]);
        m_in[1] = -1;
    }
    QString printed()
    {
        QByteArray all;
        char buffer[4096];
        ssize_t n;
        while ((n = read(m_out[0], buffer, sizeof buffer)) > 0)
            all.append(buffer, n);
        return QString::fromUtf8(all);
    }
    int inputFd() const { return m_in[0]; }
    int outputFd() const { return m_out[1]; }

private:
    int m_in[2] = {-1, -1};
    int m_out[2] = {-1, -1};
};

KZAlertRequest question()
{
    KZAlertRequest request;
    request.identifier = QStringLiteral("undeletedLockedSingStr");
    request.messageText = QStringLiteral("\u201Cnotes.txt\u201D is locked.");
    request.informativeText = QStringLiteral("Erase it anyway?");
    request.buttons = {QStringLiteral("Skip"), QStringLiteral("Erase"), QString()};
    request.checkBoxTitle = QStringLiteral("Apply to all");
    request.cancelAnswer = KZAlertFirstButtonReturn;
    return request;
}

} // namespace

TEST(TerminalAlertBackend, ShowsNumberedChoicesAndReadsTheAnswer)
{
    TerminalPipes terminal;
    KZTerminalAlertBackend backend(terminal.inputFd(), terminal.outputFd());
    backend.setInteractive(true);

    terminal.type("2+\n1\n");
    const KZAlertResponse first = backend.runModal(question());
    EXPECT_EQ(first.answer, 1001);
    EXPECT_TRUE(first.checkBoxState);
    // The rest of what was typed answers the next question.
    const KZAlertResponse second = backend.runModal(question());
    EXPECT_EQ(second.answer, 1000);
    EXPECT_FALSE(second.checkBoxState);

    const QString out = terminal.printed();
    EXPECT_TRUE(
        out.contains(QStringLiteral("\u201Cnotes.txt\u201D is locked.\n  Erase it anyway?")));
    EXPECT_TRUE(out.contains(QStringLiteral("1) Skip   2) Erase\n"))) << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("Apply to all")));
    // The blank third button is not offered.
    EXPECT_FALSE(out.contains(QStringLiteral("3)")));
}

TEST(TerminalAlertBackend, RefusesWhatIsNotAChoiceAndAsksAgain)
{
    TerminalPipes terminal;
    KZTerminalAlertBackend backend(terminal.inputFd(), terminal.outputFd());
    backend.setInteractive(true);
    terminal.type("erase\n3\n0\n 2 \n");
    EXPECT_EQ(backend.runModal(question()).answer, 1001);
    EXPECT_EQ(terminal.printed().count(QStringLiteral("Please type the number")), 3);
}

TEST(TerminalAlertBackend, TakesTheCancelAnswerWithoutATerminalOrOnceInputCloses)
{
    TerminalPipes terminal;
    KZTerminalAlertBackend backend(terminal.inputFd(), terminal.outputFd());
    KZAlertRequest confirm = question();
    confirm.buttons = {QStringLiteral("Empty Trash"), QStringLiteral("Secure Empty Trash"),
                       QStringLiteral("Cancel")};
    confirm.cancelAnswer = KZAlertThirdButtonReturn;

    backend.setInteractive(false);
    EXPECT_EQ(backend.runModal(confirm).answer, 1002);
    EXPECT_TRUE(terminal.printed().contains(QStringLiteral("-> Cancel (no terminal to ask)")));

    backend.setInteractive(true);
    terminal.closeInput();
    EXPECT_EQ(backend.runModal(confirm).answer, 1002);
    EXPECT_TRUE(terminal.printed().contains(QStringLiteral("-> Cancel (input closed)")));
}

TEST(TerminalAlertBackend, AccessoryLinesAppearAsTheyChangeWhileWaiting)
{
    TerminalPipes terminal;
    KZTerminalAlertBackend backend(terminal.inputFd(), terminal.outputFd());
    backend.setInteractive(true);
    KZAlertAccessory accessory;
    accessory.setInfoText(QStringLiteral("Gathering information\u2026"));
    accessory.setBusy(true);
    KZAlertRequest confirm = question();
    confirm.accessory = &accessory;

    // The answer arrives only after the line changed, as when the user waits for the sizes.
    QTimer::singleShot(20, &accessory, [&] {
        accessory.setInfoText(QStringLiteral("All Trashes hold 3 kB in 2 items."), true);
        accessory.setBusy(false); // a change of state alone prints nothing
        terminal.type("1\n");
    });
    EXPECT_EQ(backend.runModal(confirm).answer, 1000);
    const QString out = terminal.printed();
    EXPECT_LT(out.indexOf(QStringLiteral("Gathering")), out.indexOf(QStringLiteral("hold 3 kB")));
    EXPECT_EQ(out.count(QStringLiteral("hold 3 kB")), 1);
    // The line arrived while the prompt was up, so the prompt follows it again.
    EXPECT_TRUE(
        out.trimmed().endsWith(QStringLiteral("Choose (add + to tick \u201CApply to all\u201D):")))
        << out.toStdString();
}
