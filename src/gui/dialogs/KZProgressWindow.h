#pragma once

#include "erase/KZProgressDisplay.h"

#include <QObject>
#include <QPointer>

class KZProgressUI;
class QLabel;
class QProgressBar;
class QPushButton;
class QWidget;

// The erase job's progress window: which Trash is being erased, the erased count and size, a
// bar (a busy bar while the number of items to erase is not known yet) and Stop. It floats above
// other windows without blocking them, so the user can go on working. Closing it with the title
// bar's button is Stop: a job keeps running only while its window can stop it. Main thread.
class KZProgressWindow : public QObject, public KZProgressDisplay
{
    Q_OBJECT

public:
    // ui receives Stop and must outlive the window (it owns it).
    explicit KZProgressWindow(KZProgressUI *ui);
    ~KZProgressWindow() override;

    void open() override;
    void update(const QString &title, const QString &countText, const QString &sizeText,
                quint64 value, quint64 maximum) override;
    void close() override;

    [[nodiscard]] QWidget *window() const { return m_window; }
    [[nodiscard]] QLabel *titleLabel() const { return m_titleLabel; }
    [[nodiscard]] QLabel *countLabel() const { return m_countLabel; }
    [[nodiscard]] QLabel *sizeLabel() const { return m_sizeLabel; }
    [[nodiscard]] QProgressBar *progressBar() const { return m_progressBar; }
    [[nodiscard]] QPushButton *stopButton() const { return m_stopButton; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void stop();

    KZProgressUI *m_ui;
    // Watched: the engine may keep the last job's controller past the application's end.
    QPointer<QWidget> m_window;
    QLabel *m_titleLabel = nullptr;
    QLabel *m_countLabel = nullptr;
    QLabel *m_sizeLabel = nullptr;
    QProgressBar *m_progressBar = nullptr;
    QPushButton *m_stopButton = nullptr;
    bool m_closing = false;
};
