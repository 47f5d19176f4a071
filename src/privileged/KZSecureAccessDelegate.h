#pragma once

#include "model/KZError.h"

#include <QByteArray>
#include <QString>

// Batch dictionary keys: the items handed to the privileged helper and its totals so far.
// Paths are byte arrays (QVariantList of QByteArray) so that any Linux name survives.
namespace KZBatchKey {
inline const QString unlockItems = QStringLiteral("unlockItems");
inline const QString permissionsItems = QStringLiteral("permissionsItems");
inline const QString erasedSize = QStringLiteral("erasedSize");
inline const QString erasedCount = QStringLiteral("erasedCount");
inline const QString eraseSecurely = QStringLiteral("eraseSecurely");
inline const QString notTrashedBecauseFolderNotEmpty
    = QStringLiteral("notTrashedBecauseFolderNotEmpty");
} // namespace KZBatchKey

// What the helper client reports to its owner, the erase engine. Calls may arrive on the
// thread that reads the helper's channel, not the main thread; totals are absolute.
class KZSecureAccessDelegate
{
public:
    virtual ~KZSecureAccessDelegate() = default;

    virtual void setTotItemsDeleted(quint64 count) = 0;
    virtual void setTotSizeDeleted(quint64 bytes) = 0;
    virtual void writeLogEntryWithPath(const QByteArray &path, quint64 itemSize) = 0;
    virtual void setNotErasedCount(quint64 count) = 0;
    // false ends the privileged phase; the engine's timer then ends the job.
    virtual void setIsWorking(bool working) = 0;
    virtual void showErrorWithError(const KZError &error) = 0;
};
