#include "KZTerminalProgressBar.h"

#include <algorithm>
#include <cerrno>

#include <sys/ioctl.h>

KZTerminalProgressBar::KZTerminalProgressBar(int fd)
    : m_fd(fd)
    , m_enabled(isatty(fd) == 1)
{}

KZTerminalProgressBar::~KZTerminalProgressBar()
{
    hide();
}

void KZTerminalProgressBar::show()
{
    m_shown = true;
    draw();
}

void KZTerminalProgressBar::update(const QString &title, const QString &countText,
                                   const QString &sizeText, quint64 value, quint64 maximum)
{
    m_title = title;
    m_countText = countText;
    m_sizeText = sizeText;
    m_value = value;
    m_maximum = maximum;
    draw();
}

void KZTerminalProgressBar::hide()
{
    clear();
    m_shown = false;
}

void KZTerminalProgressBar::suspend()
{
    if (m_suspended++ == 0)
        clear();
}

void KZTerminalProgressBar::resume()
{
    if (m_suspended > 0 && --m_suspended == 0)
        draw();
}

QString KZTerminalProgressBar::render(const QString &title, const QString &countText,
                                      const QString &sizeText, quint64 value, quint64 maximum,
                                      int columns)
{
    // The last column stays free: writing into it makes some terminals wrap at once.
    const int room = std::max(columns - 1, 1);
    QString line;
    if (maximum > 0) {
        // The engine's count may run past the estimate (items added meanwhile); the bar stops
        // at full.
        const quint64 done = std::min(value, maximum);
        const int inner = std::clamp(room / 3, 10, 30);
        const int filled = int(done * quint64(inner) / maximum);
        const int percent = int(done * 100 / maximum);
        line = QLatin1Char('[') + QString(filled, QLatin1Char('#'))
               + QString(inner - filled, QLatin1Char('-')) + QStringLiteral("] ")
               + QStringLiteral("%1%").arg(percent, 3) + QStringLiteral("  ");
    }
    line += QStringLiteral("%1 %2  %3")
                .arg(countText, value == 1 ? QStringLiteral("item") : QStringLiteral("items"),
                     sizeText);
    if (!title.isEmpty())
        line += QStringLiteral("  ") + title;
    // Control characters would move the cursor off the line.
    for (QChar &c : line) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            c = QLatin1Char('?');
    }
    if (line.size() > room)
        line = line.left(room - 1) + QChar(0x2026);
    return line;
}

int KZTerminalProgressBar::columns() const
{
    if (m_fixedWidth > 0)
        return m_fixedWidth;
    struct winsize size = {};
    if (::ioctl(m_fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

void KZTerminalProgressBar::draw()
{
    if (!m_enabled || !m_shown || m_suspended > 0)
        return;
    const QString line = render(m_title, m_countText, m_sizeText, m_value, m_maximum, columns());
    write("\r" + line.toUtf8() + "\x1b[K");
    m_drawn = true;
}

void KZTerminalProgressBar::clear()
{
    if (!m_drawn)
        return;
    write("\r\x1b[K");
    m_drawn = false;
}

void KZTerminalProgressBar::write(const QByteArray &bytes) const
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(m_fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        done += n;
    }
}
