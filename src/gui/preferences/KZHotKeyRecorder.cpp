#include "KZHotKeyRecorder.h"

#include "foundation/KZUserDefaults.h"

#include <QApplication>
#include <QKeyEvent>

namespace {
bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_unknown:
        return true;
    default:
        return false;
    }
}
} // namespace

KZHotKeyRecorder::KZHotKeyRecorder(QWidget *parent)
    : QKeySequenceEdit(parent)
{
    setClearButtonEnabled(true);
    // Only the clear button clears: a recorded sequence changes through keyPressEvent alone.
    connect(this, &QKeySequenceEdit::keySequenceChanged, this, [this](const QKeySequence &seq) {
        if (seq.isEmpty() && !m_settingValue)
            cleared();
    });
}

KZHotKeyRecorder::~KZHotKeyRecorder()
{
    // The line edit under the recorder empties itself as it is destroyed: that is no user
    // clearing the hot key, and must not reach the settings.
    disconnect(this, &QKeySequenceEdit::keySequenceChanged, this, nullptr);
}

QKeyCombination KZHotKeyRecorder::combinationOf(const QVariantMap &hotKey)
{
    const int key = hotKey.value(KZUserDefaults::kKeyCode).toInt();
    const auto modifiers
        = Qt::KeyboardModifiers(hotKey.value(KZUserDefaults::kModifierFlags).toInt())
          & kAllowedModifiers;
    if (key == 0 || key == Qt::Key_unknown)
        return QKeyCombination::fromCombined(0);
    return QKeyCombination(modifiers, Qt::Key(key));
}

QVariantMap KZHotKeyRecorder::hotKeyOf(QKeyCombination combination)
{
    if (combination.toCombined() == 0)
        return {};
    return {{KZUserDefaults::kKeyCode, QVariant::fromValue(uint(combination.key()))},
            {KZUserDefaults::kModifierFlags,
             QVariant::fromValue(uint(combination.keyboardModifiers().toInt()))}};
}

QVariantMap KZHotKeyRecorder::objectValue() const
{
    const QKeySequence sequence = keySequence();
    return sequence.isEmpty() ? QVariantMap() : hotKeyOf(sequence[0]);
}

void KZHotKeyRecorder::setObjectValue(const QVariantMap &hotKey)
{
    const QKeyCombination combination = combinationOf(hotKey);
    m_settingValue = true;
    setKeySequence(combination.toCombined() ? QKeySequence(combination) : QKeySequence());
    m_settingValue = false;
}

void KZHotKeyRecorder::cleared()
{
    Q_EMIT objectValueChanged({});
}

void KZHotKeyRecorder::keyPressEvent(QKeyEvent *event)
{
    const int key = event->key();
    const Qt::KeyboardModifiers modifiers = event->modifiers() & kAllowedModifiers;
    if (isModifierKey(key)) {
        event->accept();
        return;
    }
    if ((key == Qt::Key_Tab || key == Qt::Key_Backtab) && !modifiers) {
        // A plain Tab moves on, as in every other field.
        focusNextPrevChild(key == Qt::Key_Tab);
        return;
    }
    if (!modifiers && (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Escape)) {
        // Left to the window: Return is Done, Escape closes.
        event->ignore();
        return;
    }
    event->accept();
    if (!modifiers) {
        // Every hot key needs a modifier; a plain key would take that key from every program.
        QApplication::beep();
        return;
    }
    const QKeyCombination combination(modifiers, Qt::Key(key));
    if (objectValue() == hotKeyOf(combination))
        return;
    m_settingValue = true;
    setKeySequence(QKeySequence(combination));
    m_settingValue = false;
    Q_EMIT objectValueChanged(hotKeyOf(combination));
    Q_EMIT editingFinished();
}

void KZHotKeyRecorder::keyReleaseEvent(QKeyEvent *event)
{
    // The base class would end a recording here; one key press is a whole recording.
    event->accept();
}
