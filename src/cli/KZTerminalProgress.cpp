#include "KZTerminalProgress.h"

KZTerminalProgress::KZTerminalProgress(std::shared_ptr<KZTerminalProgressBar> bar)
    : m_bar(std::move(bar))
{}

KZTerminalProgress::~KZTerminalProgress()
{
    close();
}

void KZTerminalProgress::open()
{
    m_open = true;
    m_bar->show();
}

void KZTerminalProgress::update(const QString &title, const QString &countText,
                                const QString &sizeText, quint64 value, quint64 maximum)
{
    if (m_open)
        m_bar->update(title, countText, sizeText, value, maximum);
}

void KZTerminalProgress::close()
{
    if (!m_open)
        return;
    m_open = false;
    m_bar->hide();
}
