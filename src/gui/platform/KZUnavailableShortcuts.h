#pragma once

#include "KZGlobalShortcuts.h"

// The hot keys of a session that offers none: nothing registers, and the reason is kept for
// the preferences to show.
class KZUnavailableShortcuts : public KZGlobalShortcuts
{
    Q_OBJECT

public:
    explicit KZUnavailableShortcuts(QString reason, QObject *parent = nullptr);

    [[nodiscard]] Availability availability() const override { return {false, m_reason}; }
    bool registerShortcut(const QString &id, QKeyCombination combination) override;
    void unregisterShortcut(const QString &) override {}
    [[nodiscard]] bool isRegistered(const QString &) const override { return false; }

private:
    QString m_reason;
};
