#pragma once

#include "KZTestSandbox.h"
#include "KZTestTrash.h"
#include "app/KZAppGlobals.h"
#include "app/KZUserDefaults.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZScriptedAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "model/KZCommonFlleUtilties.h"
#include "model/KZFileManager.h"
#include "privileged/KZHelperClient.h"

#include <QList>
#include <QMutex>
#include <QSemaphore>
#include <QVariantMap>

#include <atomic>
#include <functional>
#include <map>
#include <memory>

// Fails chosen removals by entry name and lets a test hold the walker before a removal.
class KZFaultyFileManager : public KZFileManager
{
public:
    void failUnlink(const QByteArray &name, int errnum)
    {
        QMutexLocker locker(&m_lock);
        m_unlinkErrors[name] = errnum;
    }
    // Called on the removing thread before every unlinkat.
    void setBeforeUnlink(std::function<void(const char *name)> hook)
    {
        QMutexLocker locker(&m_lock);
        m_beforeUnlink = std::move(hook);
    }
    [[nodiscard]] int unlinkCount() const { return m_unlinks.load(); }

    int unlinkat(int dirfd, const char *name, int flags) override
    {
        std::function<void(const char *)> hook;
        int errnum = 0;
        {
            QMutexLocker locker(&m_lock);
            hook = m_beforeUnlink;
            const auto failure = m_unlinkErrors.find(QByteArray(name));
            if (failure != m_unlinkErrors.end())
                errnum = failure->second;
        }
        if (hook)
            hook(name);
        ++m_unlinks;
        if (errnum) {
            errno = errnum;
            return -1;
        }
        return KZFileManager::unlinkat(dirfd, name, flags);
    }

private:
    QMutex m_lock;
    std::map<QByteArray, int> m_unlinkErrors;
    std::function<void(const char *)> m_beforeUnlink;
    std::atomic<int> m_unlinks{0};
};

// What a helper client was given, and what it answers: each batch is acknowledged on the
// main thread as the real client does, reporting the listed items as erased.
struct KZHelperRecord
{
    QList<QVariantMap> batches;
    int stops = 0;
    bool reportItems = true;
    // Also take the items and the emptied folders off the disk, as the real helper does.
    bool removeItems = false;
};

class KZRecordingHelperClient : public KZHelperClient
{
public:
    KZRecordingHelperClient(KZSecureAccessDelegate *delegate,
                            std::shared_ptr<KZHelperRecord> record)
        : m_delegate(delegate)
        , m_record(std::move(record))
    {}
    void authorizedEraseWithDictionary(const QVariantMap &itemsDictionary) override;
    void stoppedByUser(bool) override { ++m_record->stops; }

private:
    KZSecureAccessDelegate *m_delegate;
    std::shared_ptr<KZHelperRecord> m_record;
};

// A sandboxed home with its Trash, a settings file, a scripted user and an engine over them.
class KZEraseFixture
{
public:
    KZEraseFixture();
    ~KZEraseFixture();

    // Runs the request to its end (or to its refusal); answers prepareToEraseWithArray.
    bool run(const KZEraseRequest &request);
    // Waits until the running job has ended.
    bool waitForEnd(int timeoutMs = 60000);
    // Location records of the given Trashes, named as volumes.
    static KZEraseRecord location(const KZTestTrash &trash, const QString &volumeName,
                                  bool trashIsEmpty = false);
    void installHelper(std::shared_ptr<KZHelperRecord> record);
    // The log lines of the single log file written under the sandbox.
    [[nodiscard]] QByteArrayList logLines() const;
    [[nodiscard]] QByteArray logFolder() const;

    KZTestSandbox sandbox;
    KZTestTrash trash = KZTestTrash::home();
    std::shared_ptr<KZScriptedAlertBackend> script = std::make_shared<KZScriptedAlertBackend>();
    KZTUErrorDelegate presenter;
    KZUserDefaults defaults;
    KZFaultyFileManager fileManager;
    KZBWAlert alert;
    std::unique_ptr<KZDeleteItems> engine;
    QList<KZEraseSummary> ended;
    int stopWorkingPosted = 0;
};
