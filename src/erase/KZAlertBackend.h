#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

// Answer codes of every alert and question: the first (default) button, the second, the third.
enum KZAlertAnswer : int {
    KZAlertFirstButtonReturn = 1000,
    KZAlertSecondButtonReturn = 1001,
    KZAlertThirdButtonReturn = 1002,
};

enum class KZAlertStyle { Warning, Informational, Critical };

// A live line under an alert's texts: an information text that may change while the alert is
// up, with a busy indicator. The confirmation fills in sizes while the user reads it.
class KZAlertAccessory : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    [[nodiscard]] QString infoText() const { return m_infoText; }
    [[nodiscard]] bool isBold() const { return m_bold; }
    [[nodiscard]] bool isBusy() const { return m_busy; }
    void setInfoText(const QString &text, bool bold = false);
    void setBusy(bool busy);

Q_SIGNALS:
    void changed();

private:
    QString m_infoText;
    bool m_bold = false;
    bool m_busy = false;
};

// What an alert shows. Built on the main thread by the presenters; backends only display it.
struct KZAlertRequest
{
    // The string-table key of the message, so that scripted answers and logs can tell
    // alerts apart without matching on translated text.
    QString identifier;
    KZAlertStyle style = KZAlertStyle::Warning;
    QString messageText;
    QString informativeText;
    // Button titles in order; the first answers 1000. Titles may be empty: the button is still
    // there (a graphical backend may hide it), and choosing it answers its code.
    QStringList buttons;
    // Present attached to this window (a sheet) rather than application-modal; GUI only.
    QPointer<QObject> window;
    // A check box under the texts ("Apply to all", "Do not show me again"); none when empty.
    QString checkBoxTitle;
    bool checkBoxState = false;
    QPointer<KZAlertAccessory> accessory;
    // The answer that changes nothing, taken when nobody can answer (no terminal, input
    // closed): Cancel, Skip, No.
    int cancelAnswer = KZAlertFirstButtonReturn;
};

struct KZAlertResponse
{
    int answer = KZAlertFirstButtonReturn;
    bool checkBoxState = false;
};

// How alerts reach the user: a terminal, a scripted test, or Qt Widgets. Main thread only.
class KZAlertBackend
{
public:
    virtual ~KZAlertBackend() = default;
    // Shows the request and waits for the answer, running a nested event loop meanwhile so
    // that timers keep firing (the confirmation updates its accessory from a timer).
    virtual KZAlertResponse runModal(const KZAlertRequest &request) = 0;
    // Shows the request attached to request.window without waiting for it. Backends without
    // windows show it as they show any other alert.
    virtual void beginSheet(const KZAlertRequest &request) { (void)runModal(request); }
    // The system's alert sound.
    virtual void beep() {}
};
