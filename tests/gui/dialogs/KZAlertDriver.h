#pragma once

#include <QString>

#include <functional>

class KZAlertDialog;
class QAbstractButton;

// Plays the user of the alerts: waits, from inside whatever event loop runs (the alert's own
// nested one included), for an alert to show, then hands it to the test, which answers it with
// real input events.
namespace KZAlertDriver {
// Once a visible alert whose identifier is identifier shows, calls user with it. Should the
// alert still be up ten seconds after user returned, the test fails and the alert is
// dismissed with its cancel answer, so that a broken test never hangs.
void whenShown(const QString &identifier, std::function<void(KZAlertDialog *)> user);
// The visible alert named identifier, or null.
[[nodiscard]] KZAlertDialog *visibleAlert(const QString &identifier);
// A left click in the middle of button (on the box of a check box), as a user gives it.
void click(QAbstractButton *button);
} // namespace KZAlertDriver
