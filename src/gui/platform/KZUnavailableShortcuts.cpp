#include "KZUnavailableShortcuts.h"

KZUnavailableShortcuts::KZUnavailableShortcuts(QString reason, QObject *parent)
    : KZGlobalShortcuts(parent)
    , m_reason(std::move(reason))
{}

bool KZUnavailableShortcuts::registerShortcut(const QString &, QKeyCombination)
{
    return false;
}
