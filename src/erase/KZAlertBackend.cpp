#include "KZAlertBackend.h"

void KZAlertAccessory::setInfoText(const QString &text, bool bold)
{
    if (text == m_infoText && bold == m_bold)
        return;
    m_infoText = text;
    m_bold = bold;
    Q_EMIT changed();
}

void KZAlertAccessory::setBusy(bool busy)
{
    if (busy == m_busy)
        return;
    m_busy = busy;
    Q_EMIT changed();
}
