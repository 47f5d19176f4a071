#include "KZEraseTestSupport.h"

#include "foundation/KZNotificationCenter.h"
#include "model/KZPath.h"

#include <QDirIterator>
#include <QTest>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

class RecordingHelperClient : public KZHelperClient
{
public:
    RecordingHelperClient(KZSecureAccessDelegate *delegate, std::shared_ptr<KZHelperRecord> record)
        : m_delegate(delegate)
        , m_record(std::move(record))
    {}

    void authorizedEraseWithDictionary(const QVariantMap &batch) override
    {
        m_record->batches.append(batch);
        // As the helper does: the totals go on from the engine's, one report per item.
        quint64 count = batch.value(KZBatchKey::erasedCount).toULongLong();
        quint64 size = batch.value(KZBatchKey::erasedSize).toULongLong();
        for (const QString &key : {KZBatchKey::unlockItems, KZBatchKey::permissionsItems}) {
            for (const QVariant &item : batch.value(key).toList()) {
                const QByteArray path = item.toByteArray();
                m_delegate->setTotItemsDeleted(++count);
                m_delegate->setTotSizeDeleted(size += 4096);
                m_delegate->writeLogEntryWithPath(path, 4096);
                if (m_record->removeItems)
                    ::unlink(path.constData());
            }
        }
        if (m_record->removeItems) {
            for (const QVariant &folder :
                 batch.value(KZBatchKey::notTrashedBecauseFolderNotEmpty).toList())
                ::rmdir(folder.toByteArray().constData());
        }
        m_delegate->setNotErasedCount(0);
        m_delegate->setIsWorking(false);
    }
    void stoppedByUser(bool) override { ++m_record->stops; }

private:
    KZSecureAccessDelegate *m_delegate;
    std::shared_ptr<KZHelperRecord> m_record;
};

} // namespace

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
    makeEngine();
}

KZEraseFixture::~KZEraseFixture()
{
    engine.reset();
    KZHelperClient::setFactory({});
    KZAppGlobals::setHelperAvailable(false);
}

void KZEraseFixture::makeEngine(const std::function<double()> &clock)
{
    KZDeleteItems::Environment environment;
    environment.fileManager = &fileManager;
    environment.userDefaults = &defaults;
    environment.presenter = &presenter;
    environment.alert = &alert;
    environment.logsFolder = logFolder();
    environment.clock = clock;
    engine = std::make_unique<KZDeleteItems>(environment);
    QObject::connect(engine.get(), &KZDeleteItems::jobEnded, engine.get(),
                     [this](const KZEraseSummary &summary) { ended.append(summary); });
    KZNotificationCenter::defaultCenter().addObserver(
        KZDeleteItems::kStopWorkingNotification, nullptr, engine.get(),
        [this](const KZNotification &) { ++stopWorkingPosted; });
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

bool KZEraseFixture::waitForEnd()
{
    const qsizetype before = ended.size();
    return QTest::qWaitFor([&] { return ended.size() > before; }, 60000);
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
        return std::make_unique<RecordingHelperClient>(delegate, record);
    });
}

QByteArrayList KZEraseFixture::logLines() const
{
    QDirIterator it(QString::fromLocal8Bit(logFolder()), QDir::Files | QDir::Hidden,
                    QDirIterator::Subdirectories);
    QByteArrayList lines;
    while (it.hasNext())
        lines += KZTestFiles::readFile(it.next().toLocal8Bit()).split('\n');
    return lines;
}
