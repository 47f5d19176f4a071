#pragma once

#include <QTimer>
#include <QWidget>

// The small turning wheel a row shows while its Trash is measured. It draws in the colour it is
// given, so that it reads on a highlighted row as on a plain one, and turns only while shown.
class KZTraySpinner : public QWidget
{
    Q_OBJECT

public:
    explicit KZTraySpinner(QWidget *parent = nullptr);

    void startAnimation();
    void stopAnimation();
    [[nodiscard]] bool isAnimating() const { return m_animating; }
    void setColor(const QColor &color);
    [[nodiscard]] QSize sizeHint() const override { return {16, 16}; }

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void advance();

    QTimer m_timer;
    QColor m_color;
    int m_step = 0;
    bool m_animating = false;
};
