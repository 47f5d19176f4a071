#include "KZProgressUI.h"

#include "KZDeleteItems.h"

KZProgressUI::KZProgressUI(KZDeleteItems *delegate, std::unique_ptr<KZProgressDisplay> display,
                           QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_display(std::move(display))
{}

KZProgressUI::~KZProgressUI()
{
    if (m_open && m_display)
        m_display->close();
}

void KZProgressUI::openWindowInModal(bool modal)
{
    if (m_stopActionTaken)
        return;
    m_stopped.store(false);
    m_modal = modal;
    if (m_open)
        return;
    m_open = true;
    if (m_display)
        m_display->open();
}

void KZProgressUI::stopAction()
{
    m_stopActionTaken = true;
    m_stopped.store(true);
    if (m_delegate)
        m_delegate->setIsStopped(true);
    if (m_open) {
        m_open = false;
        m_modal = false;
        if (m_display)
            m_display->close();
    }
}

void KZProgressUI::refreshDisplay()
{
    if (m_open && m_display)
        m_display->update(m_trashName, m_erasedCount, m_erasedSize, m_value, m_maximum.load());
}
