#pragma once

#include "erase/KZAlertBackend.h"

// Alerts as Qt Widgets windows (KZAlertDialog). runModal waits in the dialog's own event loop,
// so the engine's timers (the confirmation's live line) go on meanwhile; beginSheet attaches the
// alert to a window and returns at once. Main thread; a call from another thread is carried
// over to it and waits there.
class KZWidgetsAlertBackend : public KZAlertBackend
{
public:
    KZWidgetsAlertBackend() = default;

    KZAlertResponse runModal(const KZAlertRequest &request) override;
    // Window-modal on request.window when that is a widget; otherwise the alert is shown as
    // runModal shows it, without waiting for the answer.
    void beginSheet(const KZAlertRequest &request) override;
    void beep() override;
};
