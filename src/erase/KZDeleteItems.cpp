#include "KZDeleteItems.h"

#include "model/KZCommonFlleUtilties.h"

#include <QMutexLocker>
#include <QThread>

KZDeleteItems &KZDeleteItems::sharedControl()
{
    static KZDeleteItems shared;
    return shared;
}

KZDeleteItems::KZDeleteItems()
    : KZDeleteItems(Environment{})
{}

KZDeleteItems::KZDeleteItems(const Environment &environment, QObject *parent)
    : QObject(parent)
    , m_environment(environment)
{}

KZDeleteItems::~KZDeleteItems() = default;

void KZDeleteItems::setProgressDisplayFactory(KZProgressUI::DisplayFactory factory)
{
    m_displayFactory = std::move(factory);
}

bool KZDeleteItems::prepareToEraseWithArray(const KZEraseRequest &)
{
    return false;
}

void KZDeleteItems::emptyTrashWithArray(const KZEraseRequest &, bool) {}

void KZDeleteItems::doCalcSizeInfo(const KZEraseRequest &) {}

void KZDeleteItems::doIterateTrashes(const KZEraseRequest &) {}

void KZDeleteItems::iterateSmartArrayToDelete(const QList<QUrl> &) {}

std::optional<KZError> KZDeleteItems::iterateFolderForDeleteContent(const QUrl &)
{
    return std::nullopt;
}

void KZDeleteItems::manageItemURL(const QUrl &, bool) {}

bool KZDeleteItems::isStoppedByUser() const
{
    return m_progressCntrl && m_progressCntrl->stopped();
}

void KZDeleteItems::setIsStopped(bool) {}

void KZDeleteItems::updateProgressStatus() {}

bool KZDeleteItems::checkForLockedFileWithURL(const QUrl &)
{
    return true;
}

bool KZDeleteItems::permissionsCheckWithURL(const QUrl &, bool)
{
    return true;
}

bool KZDeleteItems::checkPermissions(const QByteArray &)
{
    return true;
}

bool KZDeleteItems::urlItemIsAlreadySkipped(const QUrl &, bool) const
{
    return false;
}

void KZDeleteItems::addURLToSkippedArray(const QUrl &, bool) {}

void KZDeleteItems::addURLFoAuthorizedErase(const QUrl &, bool) {}

void KZDeleteItems::addToNotTrashed(const QUrl &) {}

QByteArrayList KZDeleteItems::convertURLsToPaths(const QList<QUrl> &) const
{
    return {};
}

void KZDeleteItems::eraseWithAdminPrivileges() {}

void KZDeleteItems::askToEraseInMainThread(QVariantMap *) {}

int KZDeleteItems::askToTheUserWithView(const QString &, const QString &, const QStringList &,
                                        const QString &, const QString &, const QString &,
                                        const QString &, const QString &)
{
    return KZAlertFirstButtonReturn;
}

QString KZDeleteItems::accessoryViewWithTitle(const QString &title)
{
    m_accessoryViewCheckState = false;
    m_accessoryViewCheck = title;
    return title;
}

void KZDeleteItems::accessoryViewAction(bool checked)
{
    m_accessoryViewCheckState = checked;
}

bool KZDeleteItems::prepareLogFile(const KZEraseRequest &, bool)
{
    return false;
}

void KZDeleteItems::writeLogEntryWithPath(const QByteArray &, quint64) {}

void KZDeleteItems::setTotItemsDeleted(quint64 count)
{
    m_totItemsDeleted.store(count);
}

void KZDeleteItems::setTotSizeDeleted(quint64 bytes)
{
    m_totSizeDeleted.store(bytes);
}

void KZDeleteItems::setNotErasedCount(quint64 count)
{
    m_notErasedCount.store(count);
}

void KZDeleteItems::setIsWorking(bool working)
{
    m_isWorking.store(working);
}

void KZDeleteItems::showErrorWithError(const KZError &) {}

QVariantMap KZDeleteItems::toAuthorizeInfo() const
{
    QMutexLocker locker(&m_lock);
    return m_toAuthorizeInfo.value_or(QVariantMap());
}

QVariantMap KZDeleteItems::notAuthorizedItems() const
{
    QMutexLocker locker(&m_lock);
    return m_notAuthorizedItems.value_or(QVariantMap());
}

QByteArrayList KZDeleteItems::notTrashed() const
{
    QMutexLocker locker(&m_lock);
    return m_notTrashed.value_or(QByteArrayList());
}

void KZDeleteItems::setVolumeName(const QString &name)
{
    QMutexLocker locker(&m_lock);
    m_volumeName = name;
}

QString KZDeleteItems::volumeName() const
{
    QMutexLocker locker(&m_lock);
    return m_volumeName;
}

KZEraseSummary KZDeleteItems::lastJobSummary() const
{
    QMutexLocker locker(&m_lock);
    return m_lastJobSummary;
}
