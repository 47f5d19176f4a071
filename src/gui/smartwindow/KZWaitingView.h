#pragma once

#include <QTimer>
#include <QWidget>

// What covers the smart-delete window while its Trash tree is still being built: a spinning
// indicator on the window's background. GUI thread only.
class KZWaitingView : public QWidget
{
    Q_OBJECT

public:
    explicit KZWaitingView(QWidget *parent = nullptr);

    void startSpinning();
    void stopSpinning();
    [[nodiscard]] bool isSpinning() const { return m_timer.isActive(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QTimer m_timer;
    int m_step = 0;
};
