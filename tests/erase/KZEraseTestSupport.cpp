#include "KZEraseTestSupport.h"

#include <unistd.h>

#include "app/KZNotificationCenter.h"
#include "model/KZPath.h"

#include <QDir>
#include <QDirIterator>
#include <QTest>

#include <gtest/gtest.h>

void KZRecordingHelperClient::authorizedEraseWithDictionary(const QVariantMap &itemsDictionary)
{
    m_record->batches.append(itemsDictionary);
    // As the helper does: continue the totals, one report per item, then the end.
    quint64 count = itemsDictionary.value(KZBatchKey::erasedCount).toULongLong();
    quint64 size = itemsDictionary.value(KZBatchKey::erasedSize).toULongLong();
    QByteArrayList items;
    for (const QString &key : {KZBatchKey::unlockItems, KZBatchKey::permissionsItems}) {
        for (const QVariant &path : itemsDictionary.value(key).toList())
            items.append(path.toByteArray());
    }
    if (m_record->reportItems) {
        for (const QByteArray &path : std::as_const(items)) {
            ++count;
            size += 4096;
            m_delegate->setTotItemsDeleted(count);
            m_delegate->setTotSizeDeleted(size);
            m_delegate->writeLogEntryWithPath(path, 4096);
        }
    }
    if (m_record->removeItems) {
        for (const QByteArray &path : std::as_const(items))
            ::unlink(path.constData());
        for (const QVariant &folder :
             itemsDictionary.value(KZBatchKey::notTrashedBecauseFolderNotEmpty).toList())
            ::rmdir(folder.toByteArray().constData());
    }
    m_delegate->setNotErasedCount(m_record->reportItems ? 0 : quint64(items.size()));
    m_delegate->setIsWorking(false);
}

KZEraseFixture::KZEraseFixture()
    : defaults(sandbox.path(QStringLiteral("settings.ini")))
    , alert(KZBWAlert::Environment{
          &presenter, &defaults, nullptr, KZCommonFlleUtilties::kSecureRemoveToolPath, {}})
{
    presenter.setBackend(script);
    defaults.setupDefaultsPreferences();
    defaults.setValue(KZUserDefaults::kShowAlert, true);
    defaults.setValue(KZUserDefaults::kWriteLog, false);
    KZAppGlobals::setHelperAvailable(false);

    KZDeleteItems::Environment environment;
    environment.fileManager = &fileManager;
    environment.userDefaults = &defaults;
    environment.presenter = &presenter;
    environment.alert = &alert;
    environment.logsFolder = logFolder();
    engine = std::make_unique<KZDeleteItems>(environment);
    QObject::connect(engine.get(), &KZDeleteItems::jobEnded, engine.get(),
                     [this](const KZEraseSummary &summary) { ended.append(summary); });
    KZNotificationCenter::defaultCenter().addObserver(
        KZDeleteItems::kStopWorkingNotification, nullptr, engine.get(),
        [this](const KZNotification &) { ++stopWorkingPosted; });
}

KZEraseFixture::~KZEraseFixture()
{
    engine.reset();
    KZHelperClient::setFactory({});
    KZAppGlobals::setHelperAvailable(false);
}

QByteArray KZEraseFixture::logFolder() const
{
    return sandbox.path(QStringLiteral("logs")).toLocal8Bit();
}

bool KZEraseFixture::run(const KZEraseRequest &request)
{
    const qsizetype before = ended.size();
    const bool started = engine->prepareToEraseWithArray(request);
    if (started && !QTest::qWaitFor([&] { return ended.size() > before; }, 60000))
        ADD_FAILURE() << "the job did not end";
    return started;
}

bool KZEraseFixture::waitForEnd(int timeoutMs)
{
    const qsizetype before = ended.size();
    return QTest::qWaitFor([&] { return ended.size() > before; }, timeoutMs);
}

KZEraseRecord KZEraseFixture::location(const KZTestTrash &trash, const QString &volumeName,
                                       bool trashIsEmpty)
{
    KZEraseRecord record;
    record.trashURL = trash.filesURL();
    record.volumeURL = KZPath::urlFromPath(KZPath::parentPath(trash.root()));
    record.volumeName = volumeName;
    record.trashIsEmpty = trashIsEmpty;
    return record;
}

void KZEraseFixture::installHelper(std::shared_ptr<KZHelperRecord> record)
{
    KZAppGlobals::setHelperAvailable(true);
    KZHelperClient::setFactory([record](KZSecureAccessDelegate *delegate) {
        return std::make_unique<KZRecordingHelperClient>(delegate, record);
    });
}

QByteArrayList KZEraseFixture::logLines() const
{
    QDirIterator it(QString::fromLocal8Bit(logFolder()), QDir::Files | QDir::Hidden,
                    QDirIterator::Subdirectories);
    QByteArrayList lines;
    while (it.hasNext()) {
        const QByteArray content = KZTestFiles::readFile(it.next().toLocal8Bit());
        lines += content.split('\n');
    }
    return lines;
}
