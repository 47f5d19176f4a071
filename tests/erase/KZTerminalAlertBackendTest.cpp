#include "erase/KZTerminalAlertBackend.h"

#include <gtest/gtest.h>

#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

namespace {

// A terminal stand-in: what the user types goes into one pipe, what Binwise prints comes out
// of another.
struct TerminalPipes
{
    TerminalPipes()
    {
        EXPECT_EQ(::pipe(in), 0);
        EXPECT_EQ(::pipe2(out, O_NONBLOCK), 0);
    }
    ~TerminalPipes()
    {
        for (const int fd : {in[0], in[1], out[0], out[1]})
            ::close(fd);
    }
    void type(const QByteArray &text)
    {
        ASSERT_EQ(::write(in[1], text.data(), size_t(text.size())), text.size());
    }
    QString printed() const
    {
        QByteArray all;
        char buffer[4096];
        ssize_t n = 0;
        while ((n = ::read(out[0], buffer, sizeof buffer)) > 0)
            all.append(buffer, n);
        return QString::fromUtf8(all);
    }

    int in[2] = {-1, -1};
    int out[2] = {-1, -1};
};

} // namespace

TEST(TerminalAlertBackend, AsksUntilAChoiceIsTypedAndTakesTheCancelAnswerWhenNobodyCan)
{
    TerminalPipes terminal;
    KZTerminalAlertBackend backend(terminal.in[0], terminal.out[1]);
    backend.setInteractive(true);
    KZAlertAccessory accessory;
    accessory.setInfoText(QStringLiteral("Gathering information\u2026"));
    KZAlertRequest request;
    request.messageText = QStringLiteral("\u201Cnotes.txt\u201D is locked.");
    request.informativeText = QStringLiteral("Erase it anyway?");
    request.buttons = {QStringLiteral("Skip"), QStringLiteral("Erase"), QString()};
    request.checkBoxTitle = QStringLiteral("Apply to all");
    request.accessory = &accessory;

    // The live line changes while the prompt is up, then the user types: three answers that
    // are no choice (the blank third button is none), then "2" with the box ticked, and one
    // more line that answers the next question.
    QTimer::singleShot(20, &accessory, [&] {
        accessory.setInfoText(QStringLiteral("All Trashes hold 3 kB in 2 items."), true);
        accessory.setBusy(false); // a change of state alone prints nothing
        terminal.type("erase\n3\n0\n 2+ \n1\n");
    });
    const KZAlertResponse first = backend.runModal(request);
    EXPECT_EQ(first.answer, 1001);
    EXPECT_TRUE(first.checkBoxState);
    request.accessory = nullptr;
    const KZAlertResponse second = backend.runModal(request);
    EXPECT_EQ(second.answer, 1000);
    EXPECT_FALSE(second.checkBoxState);

    QString out = terminal.printed();
    EXPECT_TRUE(out.startsWith(QStringLiteral("\u201Cnotes.txt\u201D is locked.\n  Erase it "
                                              "anyway?\n  Gathering information\u2026\n")))
        << out.toStdString();
    EXPECT_TRUE(out.contains(QStringLiteral("1) Skip   2) Erase\nChoose (add + to tick "
                                            "\u201CApply to all\u201D): ")));
    EXPECT_FALSE(out.contains(QStringLiteral("3)")));
    EXPECT_EQ(out.count(QStringLiteral("Please type the number")), 3);
    // The line arrived while the prompt was up, so the prompt follows it again.
    EXPECT_EQ(out.count(QStringLiteral("hold 3 kB")), 1);
    EXPECT_TRUE(out.contains(QStringLiteral("\n  All Trashes hold 3 kB in 2 items.\n  1) Skip")));

    ::close(terminal.in[1]);
    terminal.in[1] = -1;
    request.cancelAnswer = KZAlertThirdButtonReturn;
    request.buttons[2] = QStringLiteral("Cancel");
    EXPECT_EQ(backend.runModal(request).answer, 1002);
    backend.setInteractive(false);
    EXPECT_EQ(backend.runModal(request).answer, 1002);
    out = terminal.printed();
    EXPECT_TRUE(out.contains(QStringLiteral("-> Cancel (input closed)")));
    EXPECT_TRUE(out.contains(QStringLiteral("-> Cancel (no terminal to ask)")));
}
