#pragma once

#include <QKeySequenceEdit>
#include <QVariantMap>

// A shortcut recorder for one hot key: records a single key with at least one of Command
// (Meta), Option (Alt), Control and Shift, refuses a key pressed alone with a beep (Return and
// Escape alone go to the window), and keeps Backspace and Delete as keys to record rather than
// as a way to clear. The clear button clears.
// Holds the combination in the settings' hot-key form. Main thread.
class KZHotKeyRecorder : public QKeySequenceEdit
{
    Q_OBJECT

public:
    // The modifiers a hot key may use.
    static constexpr Qt::KeyboardModifiers kAllowedModifiers{
        Qt::MetaModifier | Qt::AltModifier | Qt::ControlModifier | Qt::ShiftModifier};

    explicit KZHotKeyRecorder(QWidget *parent = nullptr);
    ~KZHotKeyRecorder() override;

    // {"keyCode", "modifierFlags"}, or an empty map when no hot key is set.
    [[nodiscard]] QVariantMap objectValue() const;
    // Shows hotKey without announcing a change.
    void setObjectValue(const QVariantMap &hotKey);

    // The combination a settings value holds; an empty combination when none.
    [[nodiscard]] static QKeyCombination combinationOf(const QVariantMap &hotKey);
    [[nodiscard]] static QVariantMap hotKeyOf(QKeyCombination combination);

Q_SIGNALS:
    // The user recorded a combination or cleared the field.
    void objectValueChanged(const QVariantMap &hotKey);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void keyReleaseEvent(QKeyEvent *event) override;

private:
    void cleared();

    bool m_settingValue = false;
};
