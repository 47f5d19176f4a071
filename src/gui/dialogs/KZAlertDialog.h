#pragma once

#include "erase/KZAlertBackend.h"

#include <QDialog>
#include <QList>

class KZSpinner;
class QCheckBox;
class QLabel;
class QPushButton;

// One alert as a window: the style's icon, the message in bold, the informative text, the live
// line of an accessory with its spinner, the check box and the buttons (the first is the
// default; a button without a title is left out). Its result is the answer of the button
// chosen; Escape and the window's close button give the request's cancel answer.
//
// A word longer than the text column (a long file name) is given invisible places to break.
//
// The window's object name is the request's identifier and each button's is "alertButton"
// followed by its answer, so that tests and accessibility tools can tell them apart.
class KZAlertDialog : public QDialog
{
    Q_OBJECT

public:
    explicit KZAlertDialog(const KZAlertRequest &request, QWidget *parent = nullptr);

    // The answer given (the cancel answer until one is) and the check box's state.
    [[nodiscard]] KZAlertResponse response() const;
    // The button that answers answer, or null when it is not shown.
    [[nodiscard]] QPushButton *button(int answer) const;
    [[nodiscard]] QList<QPushButton *> visibleButtons() const;
    [[nodiscard]] QCheckBox *checkBox() const { return m_checkBox; }
    [[nodiscard]] QLabel *messageLabel() const { return m_messageLabel; }
    [[nodiscard]] QLabel *informativeLabel() const { return m_informativeLabel; }
    // The accessory's line and spinner; null without an accessory.
    [[nodiscard]] QLabel *accessoryLabel() const { return m_accessoryLabel; }
    [[nodiscard]] KZSpinner *spinner() const { return m_spinner; }

    void done(int answer) override;
    void reject() override;

protected:
    void showEvent(QShowEvent *event) override;

private:
    void refreshAccessory();

    QPointer<KZAlertAccessory> m_accessory;
    int m_cancelAnswer;
    int m_answer;
    QList<QPushButton *> m_buttons; // by answer; null where a button is not shown
    QLabel *m_messageLabel = nullptr;
    QLabel *m_informativeLabel = nullptr;
    QLabel *m_accessoryLabel = nullptr;
    KZSpinner *m_spinner = nullptr;
    QCheckBox *m_checkBox = nullptr;
};
