#include "KZBWAlert.h"

#include "KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "format/KZNumberUtilities.h"
#include "foundation/KZMainThread.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZFilesUtilities.h"
#include "model/KZTrashSizes.h"

#include <QThread>

#include <unistd.h>

namespace {

constexpr int kTickMs = 50;

// Keys of the questions with a box live in the presenter's table; the general one is asked
// next, and a key that neither holds shows as itself.
QString questionText(const QString &key)
{
    if (key.isEmpty())
        return key;
    if (KZLocalizedStrings::sharedControl().hasKey(key, KZLocalizedStrings::kErrorsTable))
        return KZLocalizedStringFromTable(key, KZLocalizedStrings::kErrorsTable);
    return KZLocalizedString(key);
}

} // namespace

KZBWAlert &KZBWAlert::sharedControl()
{
    static KZBWAlert shared;
    return shared;
}

KZBWAlert::KZBWAlert()
    : KZBWAlert(Environment{})
{}

KZBWAlert::KZBWAlert(const Environment &environment, QObject *parent)
    : QObject(parent)
    , m_environment(environment)
{
    m_timer.setInterval(kTickMs);
    connect(&m_timer, &QTimer::timeout, this, &KZBWAlert::waitUntilDone);
    m_pool.setMaxThreadCount(kCalculationThreads);
    // The shared file model the calculations read is made first, so it outlives this object
    // even as both are process-wide.
    if (!m_environment.filesUtilities)
        KZFilesUtilities::sharedControl();
}

KZBWAlert::~KZBWAlert()
{
    m_timer.stop();
    cancelCalculations();
    waitForCalculations();
}

void KZBWAlert::cancelCalculations()
{
    m_totals->cancelled.store(true);
}

void KZBWAlert::waitForCalculations()
{
    m_pool.waitForDone();
}

int KZBWAlert::calculationsRunning() const
{
    return m_pool.activeThreadCount();
}

KZTUErrorDelegate &KZBWAlert::presenter() const
{
    return m_environment.presenter ? *m_environment.presenter : KZTUErrorDelegate::sharedControl();
}

KZUserDefaults &KZBWAlert::userDefaults() const
{
    return m_environment.userDefaults ? *m_environment.userDefaults
                                      : KZUserDefaults::sharedControl();
}

KZFilesUtilities &KZBWAlert::filesUtilities() const
{
    return m_environment.filesUtilities ? *m_environment.filesUtilities
                                        : KZFilesUtilities::sharedControl();
}

bool KZBWAlert::isSecureEraseAvailable() const
{
    const QByteArray tool = m_environment.secureRemoveTool.toLocal8Bit();
    return !tool.isEmpty() && ::access(tool.constData(), F_OK) == 0;
}

int KZBWAlert::showAlertWithTrashInfo(const KZEraseRequest &trashInfo, const OtherInfo &otherInfo,
                                      std::optional<CalculationInfo> *calculationInfo)
{
    if (calculationInfo)
        calculationInfo->reset();
    const QString eraseTitle = KZLocalizedString(
        otherInfo.isSmartErase ? QStringLiteral("erase_checked") : QStringLiteral("empty_trash"));
    QString secureTitle
        = KZLocalizedString(otherInfo.isSmartErase ? QStringLiteral("secure_erase_checked")
                                                   : QStringLiteral("secure_empty_trash"));
    const QString cancelTitle = KZLocalizedString(QStringLiteral("cancel"));
    const QString informative = KZLocalizedFormat(otherInfo.message, {secureTitle});

    if (!isSecureEraseAvailable()) {
        secureTitle.clear();
        // Once per installation: the setting remembers that the user was told.
        KZUserDefaults &defaults = userDefaults();
        if (defaults.boolForKey(KZUserDefaults::kShowSRMNotAvailable)) {
            defaults.setValue(KZUserDefaults::kShowSRMNotAvailable, false);
            presenter().showError(QStringLiteral("srm_not_available"),
                                  QStringLiteral("srm_not_available_msg"), {});
        }
    }

    // The live line's text: the key itself for several records; for one, the key's text with
    // the volume's name in and the size and count places kept for later.
    if (trashInfo.size() == 1) {
        const KZEraseRecord &record = trashInfo.constFirst();
        const QString place = QStringLiteral("%@");
        m_calculatedStr = KZLocalizedFormat(otherInfo.calculatedStr,
                                            {record.volumeName.value_or(place), place, place});
    } else {
        m_calculatedStr = otherInfo.calculatedStr;
    }

    KZAlertRequest request;
    request.identifier = kConfirmationIdentifier;
    request.style = KZAlertStyle::Critical;
    request.messageText = otherInfo.information;
    request.informativeText = informative;
    request.buttons = {eraseTitle, secureTitle, cancelTitle};
    request.cancelAnswer = KZAlertThirdButtonReturn;
    request.accessory = accessoryViewWithInfo(trashInfo);
    if (m_totals->totItems.load() != 0)
        updateInfoString(); // the totals came with the record: written before showing

    const KZAlertResponse response = presenter().backend()->runModal(request);

    // Nothing more is started for this confirmation, and what still measures gives up: the
    // job measures for itself when the answer came first.
    const bool finished = m_totals->endCount.load() == m_count;
    stopTicking();
    cancelCalculations();
    if (finished && calculationInfo)
        *calculationInfo = CalculationInfo{m_totals->totSize.load(), m_totals->totItems.load()};
    return response.answer;
}

KZAlertAccessory *KZBWAlert::infoField()
{
    if (!m_infoFld)
        m_infoFld = new KZAlertAccessory(this);
    return m_infoFld;
}

KZAlertAccessory *KZBWAlert::accessoryViewWithInfo(const KZEraseRequest &trashInfo)
{
    KZAlertAccessory *field = infoField();
    stopTicking();
    cancelCalculations();
    m_trashInfo = trashInfo;
    m_totals = std::make_shared<Totals>();
    m_index = 0;
    m_count = quint64(trashInfo.size());
    m_sizeIsWorking = true;
    if (trashInfo.size() == 1 && trashInfo.constFirst().itemsSize) {
        m_totals->totSize.store(*trashInfo.constFirst().itemsSize);
        m_totals->totItems.store(trashInfo.constFirst().itemsCount.value_or(0));
    }
    if (m_totals->totItems.load() == 0) {
        field->setInfoText(KZLocalizedString(QStringLiteral("Gathering_info")), false);
        field->setBusy(true);
        m_timer.start();
    }
    return field;
}

void KZBWAlert::calculate(KZFilesUtilities &files, const KZEraseRecord &record, Totals &totals)
{
    const QList<QUrl> items = record.isSmart() ? record.itemsToErase : record.trashURLs();
    for (const QUrl &url : items) {
        if (totals.cancelled.load())
            return; // the confirmation is over: its totals are not read again
        // A Trash folder is measured as a folder even when it does not exist (yet): nothing.
        // Its folders measured before and unchanged since count with their recorded figures.
        if (!record.isSmart()) {
            const KZTrashSizes::Measurement measured
                = KZTrashSizes::measureTrash(url, &totals.cancelled);
            totals.totSize += measured.size;
            totals.totItems += measured.count;
        } else if (files.isDirectoryWithURL(url)) {
            quint64 found = 0;
            const KZItemSizeInfo size = files.iterateFolderForSize(url, &found, &totals.cancelled);
            totals.totSize += size.totalFileSize;
            totals.totItems += found;
        } else {
            totals.totSize
                += files.attributeWithURL(url, KZResourceKey::TotalFileSize).toULongLong();
            totals.totItems += 1;
        }
    }
    totals.endCount += 1;
}

void KZBWAlert::doCalcSizeInfo(const KZEraseRecord &record)
{
    const std::shared_ptr<Totals> totals = m_totals;
    calculate(filesUtilities(), record, *totals);
}

void KZBWAlert::startCalculationThread(const KZEraseRecord &record)
{
    m_pool.start([files = &filesUtilities(), record, totals = m_totals] {
        calculate(*files, record, *totals);
    });
}

void KZBWAlert::waitUntilDone()
{
    KZAlertAccessory *field = infoField();
    field->setBusy(true);
    if (m_index < m_count) {
        startCalculationThread(m_trashInfo.at(qsizetype(m_index)));
        ++m_index;
    } else if (m_totals->endCount.load() == m_count) {
        updateInfoString();
        m_sizeIsWorking = false;
        field->setBusy(false);
        m_timer.stop();
    }
}

void KZBWAlert::stopTicking()
{
    m_timer.stop();
    if (m_infoFld)
        m_infoFld->setBusy(false);
}

void KZBWAlert::updateInfoString()
{
    const quint64 items = m_totals->totItems.load();
    KZNumberUtilities &numbers = KZNumberUtilities::sharedControl();
    QString line = KZLocalizedStrings::replaceContentOfString(
        KZLocalizedString(m_calculatedStr),
        {numbers.sizeToFormatString(m_totals->totSize.load(), 4, true),
         numbers.numberToFormatString(double(items))});
    // The singular is the plural text less its ending: the texts are written for this cut.
    if (items == 1)
        line = line.left(line.size() - 2) + QLatin1Char('.');
    infoField()->setInfoText(line, true);
}

int KZBWAlert::askToTheUserWithOption(const QString &option, const QString &message,
                                      const QStringList &additionalNames,
                                      const QString &defaultButton, const QString &alternateButton,
                                      const QString &otherButton, const QString &preferenceName)
{
    KZUserDefaults &defaults = userDefaults();
    if (!defaults.boolForKey(preferenceName))
        return KZAlertFirstButtonReturn;

    KZAlertRequest request;
    request.identifier = option;
    request.style = KZAlertStyle::Warning;
    request.messageText = replaceContentOfString(questionText(option), additionalNames);
    request.informativeText = questionText(message);
    request.buttons
        = {questionText(defaultButton), questionText(alternateButton), questionText(otherButton)};
    request.checkBoxTitle = KZTUErrorDelegate::accessoryViewTitle();
    request.cancelAnswer = KZAlertFirstButtonReturn;
    if (m_environment.activate)
        m_environment.activate();
    const std::shared_ptr<KZAlertBackend> backend = presenter().backend();
    const KZAlertResponse response
        = KZMainThread::run([&backend, &request] { return backend->runModal(request); });
    if (response.checkBoxState)
        defaults.setValue(preferenceName, false);
    return response.answer;
}

QString KZBWAlert::replaceContentOfString(const QString &string, const QStringList &names)
{
    return KZLocalizedStrings::replaceContentOfString(string, names);
}

quint64 KZBWAlert::totSize() const
{
    return m_totals->totSize.load();
}

quint64 KZBWAlert::totItems() const
{
    return m_totals->totItems.load();
}

quint64 KZBWAlert::endCount() const
{
    return m_totals->endCount.load();
}
