#pragma once

#include "KZAlertBackend.h"
#include "KZEraseRecord.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

class KZFilesUtilities;
class KZTUErrorDelegate;
class KZUserDefaults;

// The erase confirmation: a critical alert with erase, secure erase and cancel, whose live
// line tells how much will be erased while background threads (one started per 0.05 s tick,
// one per record) measure it. Also a question with a do-not-show-again box tied to a setting.
// Presents through the message presenter's backend. Main thread, except doCalcSizeInfo.
class KZBWAlert : public QObject
{
    Q_OBJECT

public:
    // KZAlertRequest::identifier of the confirmation (its informative text's key).
    static inline const QString kConfirmationIdentifier = QStringLiteral("deleteMess");
    // Keys of the other-info dictionary and of the calculation result.
    static inline const QString kInformationKey = QStringLiteral("information");
    static inline const QString kMessageKey = QStringLiteral("message");
    static inline const QString kCalculatedStrKey = QStringLiteral("calculatedStr");
    static inline const QString kIsSmartEraseKey = QStringLiteral("isSmartErase");
    static inline const QString kItemsSizeKey = QStringLiteral("itemsSize");
    static inline const QString kItemsCountKey = QStringLiteral("itemsCount");

    // What the engine tells the confirmation besides the request.
    struct OtherInfo
    {
        QString information;   // the alert's message text, already localized
        QString message;       // the informative text's key ("deleteMess")
        QString calculatedStr; // the live line's key: "all_disks", "single_disk", "smart_erase"
        bool isSmartErase = false;
    };

    // The totals handed back when every calculation finished before the answer.
    struct CalculationInfo
    {
        quint64 itemsSize = 0;
        quint64 itemsCount = 0;
    };

    // Null collaborators mean the shared ones; secureRemoveTool is the file whose presence
    // offers secure erase.
    struct Environment
    {
        KZTUErrorDelegate *presenter = nullptr;
        KZUserDefaults *userDefaults = nullptr;
        KZFilesUtilities *filesUtilities = nullptr;
        QString secureRemoveTool = QStringLiteral("/usr/bin/srm");
        // Brings the application to the front before a question; nothing headless.
        std::function<void()> activate;
    };

    static KZBWAlert &sharedControl();
    KZBWAlert();
    explicit KZBWAlert(const Environment &environment, QObject *parent = nullptr);
    // Cancels the calculations still running or waiting and waits for them to end.
    ~KZBWAlert() override;

    // Shows the confirmation for trashInfo and answers 1000 (erase), 1001 (secure erase) or
    // 1002 (cancel). *calculationInfo receives the totals only when every calculation thread
    // had finished when the user answered; otherwise it is reset. Main thread.
    int showAlertWithTrashInfo(const KZEraseRequest &trashInfo, const OtherInfo &otherInfo,
                               std::optional<CalculationInfo> *calculationInfo);
    // Resets the counters for trashInfo and answers the live line (owned by this object),
    // reading "Gathering information" with the busy indicator while nothing is known; starts
    // the 0.05 s tick when there is something to measure.
    KZAlertAccessory *accessoryViewWithInfo(const KZEraseRequest &trashInfo);
    // The live line (information text and busy indicator), made on first use.
    [[nodiscard]] KZAlertAccessory *infoField();

    // Body of one calculation: adds the record's size and item count to the totals and one
    // to endCount. Any thread.
    void doCalcSizeInfo(const KZEraseRecord &record);
    // The calculations run on a pool of at most kCalculationThreads threads. Cancelling
    // gives up those of past confirmations (the answered one included) at their next entry;
    // waiting returns once none runs. Main thread.
    static constexpr int kCalculationThreads = 2;
    void cancelCalculations();
    void waitForCalculations();
    [[nodiscard]] int calculationsRunning() const;
    // The tick: starts the next record's calculation thread, or, once every thread has
    // finished, writes the line and stops. Main thread.
    void waitUntilDone();
    // Writes the totals into the live line (a single item: the plural text cut by two
    // characters and a full stop added).
    void updateInfoString();

    // Asks with a do-not-show-again box unless the setting preferenceName is off (then answers
    // 1000 without asking); a ticked box turns the setting off. Keys are looked up in the
    // "Errors" table, then the general one. Main thread or any (the presenter hops).
    int askToTheUserWithOption(const QString &option, const QString &message,
                               const QStringList &additionalNames, const QString &defaultButton,
                               const QString &alternateButton, const QString &otherButton,
                               const QString &preferenceName);
    [[nodiscard]] static QString replaceContentOfString(const QString &string,
                                                        const QStringList &names);

    [[nodiscard]] quint64 totSize() const;
    [[nodiscard]] quint64 totItems() const;
    [[nodiscard]] bool sizeIsWorking() const { return m_sizeIsWorking; }
    [[nodiscard]] quint64 index() const { return m_index; }
    [[nodiscard]] quint64 count() const { return m_count; }
    [[nodiscard]] quint64 endCount() const;
    [[nodiscard]] QString calculatedStr() const { return m_calculatedStr; }
    // Whether the secure-remove tool is there.
    [[nodiscard]] bool isSecureEraseAvailable() const;

private:
    // The counters of one confirmation, shared with its calculation threads so that a thread
    // that outlives its alert adds to its own totals, never to a later confirmation's.
    struct Totals
    {
        std::atomic<quint64> totSize{0};
        std::atomic<quint64> totItems{0};
        std::atomic<quint64> endCount{0};
        std::atomic<bool> cancelled{false}; // this confirmation is over: stop measuring
    };

    [[nodiscard]] KZTUErrorDelegate &presenter() const;
    [[nodiscard]] KZUserDefaults &userDefaults() const;
    [[nodiscard]] KZFilesUtilities &filesUtilities() const;
    static void calculate(KZFilesUtilities &files, const KZEraseRecord &record, Totals &totals);
    void stopTicking();
    void startCalculationThread(const KZEraseRecord &record);

    Environment m_environment;
    std::shared_ptr<Totals> m_totals = std::make_shared<Totals>();
    KZEraseRequest m_trashInfo;
    bool m_sizeIsWorking = false;
    quint64 m_index = 0;
    quint64 m_count = 0;
    QString m_calculatedStr;
    QPointer<KZAlertAccessory> m_infoFld;
    QTimer m_timer;
    // Declared last: destroyed (after cancelling, waiting) before what its tasks read.
    QThreadPool m_pool;
};
