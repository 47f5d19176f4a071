#pragma once

#include <QString>
#include <QtGlobal>

#include <unistd.h>

// One line on a terminal that redraws itself in place: a bar, the erased count and size, and
// what is being erased. Draws nothing unless the descriptor is a terminal, so a redirected
// standard error stays clean. Questions and messages share the terminal: suspend() clears the
// line before they print, resume() draws it again. Main thread.
class KZTerminalProgressBar
{
public:
    explicit KZTerminalProgressBar(int fd = STDERR_FILENO);
    ~KZTerminalProgressBar();

    // Drawing on, which by default it is when the descriptor is a terminal.
    void setEnabled(bool enabled) { m_enabled = enabled; }
    [[nodiscard]] bool isEnabled() const { return m_enabled; }
    // Columns; 0 (the default) asks the terminal at each draw.
    void setWidth(int columns) { m_fixedWidth = columns; }

    // Starts drawing.
    void show();
    // The state to draw; drawn at once when shown and not suspended. maximum 0: not known.
    void update(const QString &title, const QString &countText, const QString &sizeText,
                quint64 value, quint64 maximum);
    // Clears the line and draws no more.
    void hide();
    [[nodiscard]] bool isShown() const { return m_shown; }

    // Nested: the line is cleared by the first suspend and drawn again by the last resume.
    void suspend();
    void resume();

    // The line for a state, fitted to columns (without the carriage return and clearing).
    [[nodiscard]] static QString render(const QString &title, const QString &countText,
                                        const QString &sizeText, quint64 value, quint64 maximum,
                                        int columns);

private:
    void draw();
    void clear();
    [[nodiscard]] int columns() const;
    void write(const QByteArray &bytes) const;

    int m_fd;
    bool m_enabled;
    int m_fixedWidth = 0;
    bool m_shown = false;
    bool m_drawn = false;
    int m_suspended = 0;
    QString m_title;
    QString m_countText;
    QString m_sizeText;
    quint64 m_value = 0;
    quint64 m_maximum = 0;
};
