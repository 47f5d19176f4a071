#include "KZUrlRecorder.h"

#include <QDesktopServices>

KZUrlRecorder::KZUrlRecorder(const QStringList &schemes, QObject *parent)
    : QObject(parent)
    , m_schemes(schemes)
{
    for (const QString &scheme : m_schemes)
        QDesktopServices::setUrlHandler(scheme, this, "openUrl");
}

KZUrlRecorder::~KZUrlRecorder()
{
    for (const QString &scheme : std::as_const(m_schemes))
        QDesktopServices::unsetUrlHandler(scheme);
}

void KZUrlRecorder::openUrl(const QUrl &url)
{
    m_urls.append(url);
    Q_EMIT opened(url);
}
