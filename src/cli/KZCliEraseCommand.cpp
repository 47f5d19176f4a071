#include "KZCliEraseCommand.h"

#include "KZCliAlertBackend.h"
#include "KZCliApplication.h"
#include "KZCliInterrupt.h"
#include "KZCliOutcomes.h"
#include "KZTerminalProgress.h"
#include "erase/KZBWAlert.h"
#include "erase/KZDeleteItems.h"
#include "erase/KZTUErrorDelegate.h"
#include "erase/KZTerminalAlertBackend.h"
#include "format/KZNumberUtilities.h"
#include "foundation/KZAppGlobals.h"
#include "foundation/KZNotificationCenter.h"
#include "foundation/KZUserDefaults.h"
#include "model/KZPath.h"
#include "privileged/KZSecureAccess.h"

#include <QDateTime>
#include <QEventLoop>
#include <QStringList>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

namespace {

using Answer = KZCommandLine::Answer;

QString plural(quint64 count, const char *one, const char *many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

QString sizeText(quint64 bytes)
{
    return KZNumberUtilities::sharedControl().sizeToFormatString(bytes, 4, true);
}

bool exists(const QByteArray &path)
{
    struct stat st = {};
    return ::lstat(path.constData(), &st) == 0;
}

// Something counted as not erased. The folders left by the walk are not looked at: the helper
// removes them once it has erased what kept them, and what stays shows on disk.
bool hasReasons(const KZEraseSummary &summary)
{
    return summary.notErasedCount != 0 || summary.itemBusyCount != 0
           || summary.skippedLockedCount != 0 || summary.skippedNoPermissionsCount != 0
           || summary.otherErrorCount != 0 || summary.helperError.has_value();
}

// From now on every question takes its cancel answer: the terminal's input reads as ended.
void stopAsking()
{
    const int null = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (null >= 0) {
        ::dup2(null, STDIN_FILENO);
        ::close(null);
    }
}

} // namespace

KZCliEraseCommand::KZCliEraseCommand(const KZCommandLine::Options &options, KZCliTrashes &trashes)
    : m_options(options)
    , m_trashes(trashes)
{}

KZCliEraseCommand::~KZCliEraseCommand() = default;

void KZCliEraseCommand::tell(const QByteArray &text) const
{
    KZCliApplication::writeTo(m_options.json ? STDERR_FILENO : STDOUT_FILENO, text);
}

bool KZCliEraseCommand::buildRequest(int *status)
{
    QString error;
    const QString command = KZCommandLine::commandName(m_options.command);
    if (m_options.command == KZCommandLine::Command::Erase) {
        QList<QUrl> items;
        if (!m_trashes.itemsToErase(m_options.operands, &items, &error)) {
            KZCliApplication::printError(
                QStringLiteral("erase: %1; nothing was erased").arg(error));
            *status = KZCliApplication::UsageError;
            return false;
        }
        m_request = {KZEraseRecord::smartErase(items)};
        for (const QUrl &item : std::as_const(items)) {
            m_requested.append(KZPath::pathFromURL(item));
            if (m_options.json)
                m_requestedItems.append(m_trashes.describeItem(item));
        }
        return true;
    }

    QList<KZTrashLocation> selected;
    if (!m_trashes.selectVolumes(m_options.operands, &selected, &error)) {
        KZCliApplication::printError(
            QStringLiteral("%1: %2; nothing was erased").arg(command, error));
        *status = KZCliApplication::UsageError;
        return false;
    }
    const KZItemFilter &filter = m_options.filter;
    if (!filter.isEmpty() || m_options.json) {
        // The info files go with their items: what they say is read before the erase.
        QList<KZTrashLocation> withItems;
        for (const KZTrashLocation &location : std::as_const(selected)) {
            // A Trash marked empty is one the engine passes over.
            if (!location.trashIsEmpty || !filter.isEmpty())
                withItems.append(location);
        }
        m_requestedItems
            = m_trashes.chooseItems(withItems, filter, false, QDateTime::currentSecsSinceEpoch());
    }
    if (!filter.isEmpty()) {
        // The chosen items, as the smart-delete window hands its ticked ones: the same
        // confirmation, questions and log.
        QList<QUrl> items;
        for (const KZCliTrashes::TrashItem &item : std::as_const(m_requestedItems)) {
            items.append(item.url);
            m_requested.append(KZPath::pathFromURL(item.url));
        }
        if (items.isEmpty()) {
            tell("No item in the Trash matches what was asked; nothing was erased.\n");
            if (m_options.json)
                KZCliApplication::writeTo(STDOUT_FILENO, KZCliOutcomes({}).json(nullptr));
            *status = KZCliApplication::Done;
            return false;
        }
        m_request = {KZEraseRecord::smartErase(items)};
        return true;
    }

    // The whole array of records, as the menu hands it (or the named volumes' records).
    m_request = KZEraseRecord::fromTrashLocations(selected);
    for (const KZTrashLocation &location : std::as_const(selected)) {
        if (location.trashIsEmpty)
            continue;
        for (const QUrl &trashURL : location.trashURLs()) {
            const QByteArray folder = KZPath::pathFromURL(trashURL);
            for (const QByteArray &name : KZCliTrashes::topLevelNames(trashURL))
                m_requested.append(KZPath::join(folder, name));
        }
    }
    if (m_requested.isEmpty()) {
        tell(selected.size() == 1 ? "The Trash is empty; nothing to erase.\n"
                                  : "The Trashes are empty; nothing to erase.\n");
        if (m_options.json)
            KZCliApplication::writeTo(STDOUT_FILENO, KZCliOutcomes({}).json(nullptr));
        *status = KZCliApplication::Done;
        return false;
    }
    return true;
}

bool KZCliEraseCommand::checkPreconditions()
{
    const QString command = KZCommandLine::commandName(m_options.command);
    const auto refuse = [&](const QString &why) {
        KZCliApplication::printError(
            QStringLiteral("%1: %2; nothing was erased").arg(command, why));
        return false;
    };
    if (!m_options.yes && isatty(STDIN_FILENO) != 1)
        return refuse(QStringLiteral("standard input is not a terminal, so the erase cannot be "
                                     "confirmed; add --yes to erase without asking"));
    const bool confirms = KZUserDefaults::sharedControl().boolForKey(KZUserDefaults::kShowAlert);
    if (m_options.secure && !KZBWAlert::sharedControl().isSecureEraseAvailable())
        return refuse(QStringLiteral("secure erase needs /usr/bin/srm, which is missing "
                                     "(Debian package secure-delete)"));
    // Without the confirmation the engine never erases securely, and a request for checked
    // items runs as the previous request of the process did (here: none, so it would erase
    // nothing). Starting either would not do what was asked.
    if (!confirms && m_options.secure)
        return refuse(QStringLiteral("with the setting \"showAlert\" off erases are never "
                                     "secure; turn it on to use --secure"));
    if (!confirms && m_options.command == KZCommandLine::Command::Erase)
        return refuse(QStringLiteral("with the setting \"showAlert\" off single items are not "
                                     "erased; turn it on, or empty the whole Trash"));
    if (!confirms && !m_options.filter.isEmpty())
        return refuse(QStringLiteral("with the setting \"showAlert\" off only whole Trashes are "
                                     "emptied; turn it on to erase the chosen items"));
    return true;
}

void KZCliEraseCommand::checkHelper()
{
    if (m_helperChecked)
        return;
    m_helperChecked = true;
    // Offering to install the helper (an administrator's password) is for a run that said it
    // wants locked or protected items erased; otherwise an installed helper is used as it is,
    // and without one those items are left and reported.
    const bool wanted
        = m_options.locked == Answer::Erase || m_options.noPermission == Answer::Erase;
    KZSecureAccess access(nullptr);
    bool available = false;
    if (wanted) {
        available = access.intallHelperAppIfNeeded();
    } else {
        bool present = false;
        available = access.isHelperNeedBeInstalled(&present);
    }
    KZAppGlobals::setHelperAvailable(available);
}

QByteArrayList KZCliEraseCommand::itemsLeft() const
{
    QByteArrayList left;
    for (const QByteArray &path : m_requested) {
        if (exists(path))
            left.append(path);
    }
    return left;
}

QString KZCliEraseCommand::summaryText(const KZEraseSummary &summary, const QByteArrayList &left,
                                       qsizetype requested)
{
    constexpr qsizetype kNamed = 3; // names of items that stayed, at most
    QString text
        = QStringLiteral("Erased %1, %2.")
              .arg(plural(summary.erasedCount, "item", "items"), sizeText(summary.erasedSize));
    if (summary.stoppedByUser)
        text.prepend(QStringLiteral("Stopped. "));

    QStringList reasons;
    if (summary.skippedLockedCount)
        reasons << plural(summary.skippedLockedCount, "locked item", "locked items")
                       + QStringLiteral(" skipped");
    if (summary.skippedNoPermissionsCount)
        reasons << plural(summary.skippedNoPermissionsCount, "item", "items")
                       + QStringLiteral(" without permission skipped");
    if (summary.itemBusyCount)
        reasons << plural(summary.itemBusyCount, "item", "items") + QStringLiteral(" in use");
    if (summary.lockedWithoutHelperCount)
        reasons << plural(summary.lockedWithoutHelperCount, "locked item", "locked items")
                       + QStringLiteral(" left, as the helper that erases them is not available");
    if (summary.noPermissionWithoutHelperCount)
        reasons << plural(summary.noPermissionWithoutHelperCount, "item", "items")
                       + QStringLiteral(" you have no permission to remove left, as the helper "
                                        "that erases them is not available");
    const quint64 accounted = summary.itemBusyCount + summary.lockedWithoutHelperCount
                              + summary.noPermissionWithoutHelperCount;
    if (summary.notErasedCount > accounted) {
        const quint64 count = summary.notErasedCount - accounted;
        reasons << plural(count, "item", "items")
                       + (summary.handedToHelper
                              ? QStringLiteral(" not erased by the helper")
                              : QStringLiteral(" locked or without permission, and the helper "
                                               "is not available"));
    }
    if (summary.otherErrorCount) {
        QStringList named;
        for (const KZEraseSummary::Failure &failure :
             summary.failures.first(std::min(kNamed, summary.failures.size())))
            named << QStringLiteral("%1: %2").arg(
                KZPath::escapedDisplayString(KZPath::fileName(failure.path)), failure.reason);
        reasons << plural(summary.otherErrorCount, "item", "items")
                       + QStringLiteral(" could not be removed")
                       + (named.isEmpty() ? QString()
                                          : QStringLiteral(" (%1)").arg(named.join(u"; ")));
    }
    if (summary.helperError)
        reasons << QStringLiteral("the helper failed: %1")
                       .arg(summary.helperError->localizedDescription);

    if (!left.isEmpty()) {
        text += QStringLiteral(" %1 of the %2 asked for %3 still there")
                    .arg(left.size())
                    .arg(plural(quint64(requested), "item", "items"),
                         left.size() == 1 ? QStringLiteral("is") : QStringLiteral("are"));
    } else if (!reasons.isEmpty()) {
        text += QStringLiteral(" Not everything was erased");
    }
    if (!left.isEmpty() || !reasons.isEmpty())
        text += (reasons.isEmpty() ? QString() : QStringLiteral(": ") + reasons.join(u", "))
                + QLatin1Char('.');
    if (!left.isEmpty()) {
        QStringList names;
        for (const QByteArray &path : left.first(std::min(kNamed, left.size())))
            names << QStringLiteral("“%1”").arg(
                KZPath::escapedDisplayString(KZPath::fileName(path)));
        text += QStringLiteral(" Still there: %1%2.")
                    .arg(names.join(u", "),
                         left.size() > kNamed
                             ? QStringLiteral(" and %1 more").arg(left.size() - kNamed)
                             : QString());
    }
    if (summary.hardLinksRemovedPlainly)
        text += QStringLiteral(" %1 removed but not overwritten: %2 data stays under %2 other "
                               "names.")
                    .arg(plural(summary.hardLinksRemovedPlainly, "hard-linked file",
                                "hard-linked files"),
                         summary.hardLinksRemovedPlainly == 1 ? QStringLiteral("its")
                                                              : QStringLiteral("their"));
    if (summary.logWriteError != 0)
        text += QStringLiteral(" Not every line reached the log “%1”: %2.")
                    .arg(KZPath::escapedDisplayString(summary.logFile),
                         QString::fromLocal8Bit(std::strerror(summary.logWriteError)));
    return text;
}

int KZCliEraseCommand::run()
{
    int status = KZCliApplication::Done;
    if (!buildRequest(&status))
        return status;
    if (!checkPreconditions())
        return KZCliApplication::UsageError;

    auto bar = std::make_shared<KZTerminalProgressBar>(STDERR_FILENO);
    auto terminal = std::make_shared<KZTerminalAlertBackend>(STDIN_FILENO, STDERR_FILENO);
    KZCliAlertBackend::Policy policy;
    policy.yes = m_options.yes;
    policy.secure = m_options.secure;
    policy.locked = m_options.locked;
    policy.noPermission = m_options.noPermission;
    auto backend = std::make_shared<KZCliAlertBackend>(policy, terminal, bar);
    backend->setConfirmedHook([this] { checkHelper(); });
    KZTUErrorDelegate &presenter = KZTUErrorDelegate::sharedControl();
    const std::shared_ptr<KZAlertBackend> previous = presenter.backend();
    presenter.setBackend(backend);

    KZDeleteItems &engine = KZDeleteItems::sharedControl();
    // Someone at a terminal is asked about locked and protected items even without a helper
    // (skip is then the only answer), and --locked/--no-permission answer that question: so a
    // skip asked for is reported as the user's skip, not as the missing helper's doing.
    const bool atTerminal = isatty(STDIN_FILENO) == 1;
    engine.setAsksWithoutHelper(atTerminal || m_options.locked != KZCommandLine::Answer::Ask,
                                atTerminal || m_options.noPermission != KZCommandLine::Answer::Ask);
    engine.setProgressDisplayFactory(
        [bar](KZProgressUI *) { return std::make_unique<KZTerminalProgress>(bar); });
    if (m_options.json) {
        m_outcomes = std::make_shared<KZCliOutcomes>(m_requestedItems);
        engine.setItemOutcomeObserver(
            [outcomes = m_outcomes](const KZItemOutcome &event) { outcomes->record(event); });
    }

    QEventLoop loop;
    bool ended = false;
    const QMetaObject::Connection observer = KZNotificationCenter::defaultCenter().addObserver(
        KZDeleteItems::kStopWorkingNotification, nullptr, &loop, [&](const KZNotification &) {
            ended = true;
            loop.quit();
        });
    KZCliInterrupt interrupt([&engine](int) {
        stopAsking();
        if (engine.isWorking() && engine.progressCntrl())
            engine.progressCntrl()->stopAction();
    });

    // Without a confirmation the job starts at once, so the helper is looked at before.
    if (!KZUserDefaults::sharedControl().boolForKey(KZUserDefaults::kShowAlert))
        checkHelper();
    const bool started = engine.prepareToEraseWithArray(m_request);
    if (started && !ended)
        loop.exec();
    QObject::disconnect(observer);
    presenter.setBackend(previous);
    engine.setItemOutcomeObserver({});

    if (!started) {
        tell("Cancelled; nothing was erased.\n");
        if (m_outcomes)
            KZCliApplication::writeTo(STDOUT_FILENO, m_outcomes->json(nullptr));
        return KZCliApplication::Cancelled;
    }
    const KZEraseSummary summary = engine.lastJobSummary();
    const QByteArrayList left = itemsLeft();
    tell(summaryText(summary, left, m_requested.size()).toUtf8() + '\n');
    if (m_outcomes)
        KZCliApplication::writeTo(STDOUT_FILENO, m_outcomes->json(&summary));
    // A Ctrl-C that came after the last item was gone stopped nothing.
    if (summary.stoppedByUser || (interrupt.received() != 0 && !left.isEmpty()))
        return KZCliApplication::Cancelled;
    return left.isEmpty() && !hasReasons(summary) ? KZCliApplication::Done
                                                  : KZCliApplication::NotAllErased;
}
