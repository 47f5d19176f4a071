#pragma once

#include "KZProgressDisplay.h"

#include <QObject>
#include <QString>

#include <atomic>
#include <functional>
#include <memory>

class KZDeleteItems;

// The progress of one erase job: its stop flag, the texts and the bar the engine's timer fills
// in, and the display that draws them once the job has run long enough. One per job, owned by
// the engine. The stop flag and the bar's maximum may be read and written from any thread;
// everything else is main thread only.
class KZProgressUI : public QObject
{
    Q_OBJECT

public:
    // Makes the display of a new controller; null draws nothing.
    using DisplayFactory = std::function<std::unique_ptr<KZProgressDisplay>(KZProgressUI *)>;

    // delegate receives setIsStopped(true) on Stop and must outlive the controller; null for a
    // controller that stops only itself. display may be null.
    explicit KZProgressUI(KZDeleteItems *delegate,
                          std::unique_ptr<KZProgressDisplay> display = nullptr,
                          QObject *parent = nullptr);
    ~KZProgressUI() override;

    // The job's stop flag: the user pressed Stop, or the job has ended. Any thread.
    [[nodiscard]] bool stopped() const { return m_stopped.load(); }
    void setStopped(bool stopped) { m_stopped.store(stopped); }

    // Opens the display and clears the stop flag, unless Stop was already pressed on this
    // controller (a stop cannot be undone by the display showing late). modal is accepted for
    // the window a desktop display shows; the engine always passes false.
    void openWindowInModal(bool modal);
    // Stop: sets the flag, tells the engine (setIsStopped(true)) and closes the display. Main
    // thread; safe to call more than once.
    void stopAction();

    [[nodiscard]] bool isWindowOpen() const { return m_open; }
    [[nodiscard]] bool wasModal() const { return m_modal; }
    [[nodiscard]] KZProgressDisplay *display() const { return m_display.get(); }
    // Replaces the display (before the controller opens it).
    void setDisplay(std::unique_ptr<KZProgressDisplay> display) { m_display = std::move(display); }

    // The fields the display shows. Setting them changes nothing on screen until
    // refreshDisplay().
    void setTrashName(const QString &text) { m_trashName = text; }
    [[nodiscard]] QString trashName() const { return m_trashName; }
    void setErasedCount(const QString &text) { m_erasedCount = text; }
    [[nodiscard]] QString erasedCount() const { return m_erasedCount; }
    void setErasedSize(const QString &text) { m_erasedSize = text; }
    [[nodiscard]] QString erasedSize() const { return m_erasedSize; }
    void setProgressValue(quint64 value) { m_value = value; }
    [[nodiscard]] quint64 progressValue() const { return m_value; }
    // The bar's maximum: items expected. Any thread (the job's size calculation sets it).
    void setMaxValue(quint64 maximum) { m_maximum.store(maximum); }
    [[nodiscard]] quint64 maxValue() const { return m_maximum.load(); }

    // Hands the current fields to the display when it is open.
    void refreshDisplay();

private:
    KZDeleteItems *m_delegate;
    std::unique_ptr<KZProgressDisplay> m_display;
    std::atomic<bool> m_stopped{false};
    std::atomic<quint64> m_maximum{0};
    bool m_stopActionTaken = false;
    bool m_open = false;
    bool m_modal = false;
    QString m_trashName;
    QString m_erasedCount;
    QString m_erasedSize;
    quint64 m_value = 0;
};
