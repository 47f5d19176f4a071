#pragma once

#include "privileged/KZSecureAccessDelegate.h"

#include <QStringList>

#include <string>
#include <utility>

// The erase engine's seat at the helper client: records every call, in order.
class KZRecordingDelegate : public KZSecureAccessDelegate
{
public:
    void setTotItemsDeleted(quint64 n) override { calls << QStringLiteral("count %1").arg(n); }
    void setTotSizeDeleted(quint64 n) override { calls << QStringLiteral("size %1").arg(n); }
    void writeLogEntryWithPath(const QByteArray &path, quint64 itemSize) override
    {
        calls << QStringLiteral("log %1 %2").arg(QString::fromUtf8(path)).arg(itemSize);
    }
    void setNotErasedCount(quint64 n) override { calls << QStringLiteral("notErased %1").arg(n); }
    void setIsWorking(bool working) override
    {
        calls << QStringLiteral("working %1").arg(working);
        finished = !working;
    }
    void showErrorWithError(const KZError &error) override
    {
        calls << QStringLiteral("error %1").arg(error.code);
    }

    // The calls so far, separated by commas; forgets them, and that the batch finished.
    std::string take()
    {
        finished = false;
        return std::exchange(calls, {}).join(u',').toStdString();
    }

    QStringList calls;
    bool finished = false;
};
