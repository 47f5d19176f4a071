#pragma once

#include <QBasicTimer>
#include <QWidget>

// A small indeterminate busy indicator: twelve spokes turning, drawn in the palette's text
// colour so that it reads on light and dark themes. Hidden while stopped unless told otherwise,
// keeping its place in the layout so that the text beside it does not jump.
class KZSpinner : public QWidget
{
    Q_OBJECT

public:
    explicit KZSpinner(QWidget *parent = nullptr);

    [[nodiscard]] bool isRunning() const { return m_timer.isActive(); }
    void setRunning(bool running);
    void start() { setRunning(true); }
    void stop() { setRunning(false); }

    // Whether the spinner stays visible while stopped (off by default).
    void setDisplayedWhenStopped(bool displayed);
    [[nodiscard]] bool isDisplayedWhenStopped() const { return m_displayedWhenStopped; }

    // The diameter in logical pixels (16 by default).
    void setDiameter(int diameter);
    [[nodiscard]] int diameter() const { return m_diameter; }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void timerEvent(QTimerEvent *event) override;

private:
    void updateVisibility();

    QBasicTimer m_timer;
    int m_step = 0;
    int m_diameter = 16;
    bool m_displayedWhenStopped = false;
};
