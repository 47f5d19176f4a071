#include "KZSecureAccess.h"

#include "KZCommonHelper.h"
#include "erase/KZAlertBackend.h"
#include "erase/KZTUErrorDelegate.h"
#include "format/KZLocalizedStrings.h"
#include "foundation/KZMainThread.h"
#include "protocol/KZHelperProtocol.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutex>
#include <QMutexLocker>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QTimer>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcPrivileged, "binwise.privileged")

namespace P = KZHelperProtocol;

namespace {

QMutex s_versionLock;
QString s_helperVersion; // null until known; never reset by the application

constexpr int kPkexecCancelled = 126;
constexpr int kPkexecNotAuthorized = 127;
constexpr int kVersionTimeoutMs = 10000;

QString protocolText(std::string_view text)
{
    return QString::fromLatin1(text.data(), qsizetype(text.size()));
}

KZError cancelledError()
{
    return {KZError::kOSStatusDomain,
            P::kAuthorizationCanceled,
            QStringLiteral("The authentication was cancelled."),
            {}};
}

KZError deniedError()
{
    return {KZError::kOSStatusDomain,
            P::kAuthorizationDenied,
            KZLocalizedStringFromTable(QStringLiteral("userNotAuthorized"),
                                       KZLocalizedStrings::kErrorsTable),
            {}};
}

void requireMainThread()
{
    if (!KZMainThread::isMainThread())
        qFatal("Assertion \"[NSThread isMainThread]\" failed");
}

quint64 batchItemCount(const QVariantMap &items)
{
    return quint64(items.value(KZBatchKey::unlockItems).toList().size())
           + quint64(items.value(KZBatchKey::permissionsItems).toList().size());
}

} // namespace

KZSecureAccess::Paths KZSecureAccess::Paths::fromEnvironment()
{
    Paths paths;
    paths.helper = qEnvironmentVariable("BINWISE_HELPER_PATH",
                                        QStringLiteral("/usr/libexec/binwise/") + kHelperLabel);
    paths.actionsFolder = qEnvironmentVariable("BINWISE_POLKIT_ACTIONS_DIR",
                                               QStringLiteral("/usr/share/polkit-1/actions"));
    paths.helperSource = qEnvironmentVariable("BINWISE_HELPER_SOURCE");
    if (paths.helperSource.isEmpty() && QCoreApplication::instance()) {
        // Shipped beside the application (<prefix>/bin and <prefix>/libexec/binwise), or built
        // in the same build tree.
        const QDir here(QCoreApplication::applicationDirPath());
        for (const QString &candidate :
             {QStringLiteral("../libexec/binwise/") + kHelperLabel,
              QStringLiteral("../helper/binwise-helper"), QStringLiteral("binwise-helper")}) {
            if (QFileInfo(here.filePath(candidate)).isExecutable()) {
                paths.helperSource = QDir::cleanPath(here.filePath(candidate));
                break;
            }
        }
    }
    paths.elevate = getuid() != 0;
    paths.dataHome = qgetenv("XDG_DATA_HOME");
    if (!paths.dataHome.startsWith('/'))
        paths.dataHome = qgetenv("HOME") + "/.local/share";
    return paths;
}

KZSecureAccess::KZSecureAccess(KZSecureAccessDelegate *delegate, const Paths &paths,
                               QObject *parent)
    : QObject(parent)
    , m_delegate(delegate)
    , m_paths(paths)
{
    // pkexec has already checked the right when the helper starts; the helper only checks the
    // shape of what identifies this client.
    m_authorization.resize(qsizetype(P::kAuthorizationSize));
    QRandomGenerator::system()->generate(m_authorization.begin(), m_authorization.end());
    m_policyToInstall
        = KZCommonHelper::setupAuthorizationRights(m_paths.actionsFolder, m_paths.helper);
}

KZSecureAccess::~KZSecureAccess()
{
    if (m_connection) {
        // The helper takes the end of its input as a stop and ends at its next item.
        m_connection->disconnect(this);
        m_connection->closeWriteChannel();
        m_connection->waitForFinished(10000);
        delete m_connection;
    }
}

void KZSecureAccess::installFactory(const Paths &paths)
{
    KZHelperClient::setFactory([paths](KZSecureAccessDelegate *delegate) {
        return std::make_unique<KZSecureAccess>(delegate, paths);
    });
}

bool KZSecureAccess::intallHelperAppIfNeeded()
{
    const std::optional<KZError> error = authorizeTheAccess();
    if (!error)
        return true;
    if (error->code == P::kAuthorizationCanceled)
        return false;
    const QString text = error->code == P::kAuthorizationDenied ? KZLocalizedStringFromTable(
                             QStringLiteral("userNotAuthorized"), KZLocalizedStrings::kErrorsTable)
                                                                : error->localizedDescription;
    KZTUErrorDelegate::sharedControl().showError(
        QVariantMap{{KZTUErrorDelegate::kError, text},
                    {KZTUErrorDelegate::kMessage, QString()},
                    {KZTUErrorDelegate::kAdditionalName, QStringList()}});
    return false;
}

std::optional<KZError> KZSecureAccess::authorizeTheAccess()
{
    bool helperExists = false;
    if (isHelperNeedBeInstalled(&helperExists))
        return std::nullopt;
    const int answer = KZTUErrorDelegate::sharedControl().askToTheUser(
        QStringLiteral("update_helper_tool"), QStringLiteral("update_helper_tool_mess"), {},
        QStringLiteral("okay_btn"), QStringLiteral("cancel_btn"), QString());
    if (answer != KZAlertFirstButtonReturn)
        return cancelledError();
    // An old helper is removed inside the install step itself (see blessHelperWithLabel), so
    // that one authentication covers both.
    KZError error;
    if (!blessHelperWithLabel(kHelperLabel, &error))
        return error;
    return std::nullopt;
}

QStringList KZSecureAccess::elevated(const QString &program, const QStringList &arguments,
                                     QString *elevator) const
{
    if (!m_paths.elevate) {
        *elevator = program;
        return arguments;
    }
    *elevator = m_paths.pkexec;
    return QStringList{program} + arguments;
}

int KZSecureAccess::runToEnd(const QString &program, const QStringList &arguments, QString *output)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QEventLoop loop;
    connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    connect(&process, &QProcess::errorOccurred, &loop, [&loop](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            loop.quit();
    });
    process.start(program, arguments);
    // An authentication prompt may take its time; the event loop keeps turning meanwhile.
    if (process.state() != QProcess::NotRunning)
        loop.exec();
    *output = QString::fromLocal8Bit(process.readAll()).trimmed();
    if (process.error() == QProcess::FailedToStart) {
        *output = process.errorString();
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool KZSecureAccess::blessHelperWithLabel(const QString &label, KZError *error)
{
    const QString installed = m_paths.helper.isEmpty()
                                  ? QStringLiteral("/usr/libexec/binwise/") + label
                                  : m_paths.helper;
    if (m_paths.helperSource.isEmpty() || !QFileInfo(m_paths.helperSource).isExecutable()) {
        *error = {KZError::kCocoaDomain,
                  4,
                  QStringLiteral("The helper tool to install was not found (%1).")
                      .arg(m_paths.helperSource),
                  {}};
        return false;
    }
    QTemporaryFile policy;
    const QString policyTarget = m_paths.actionsFolder + QStringLiteral("/org.binwise.policy");
    if (!m_policyToInstall.isEmpty()) {
        if (!policy.open() || policy.write(m_policyToInstall) != m_policyToInstall.size()
            || !policy.flush()) {
            *error = {KZError::kCocoaDomain,
                      512,
                      QStringLiteral("The helper's policy could not be prepared."),
                      {}};
            return false;
        }
    }
    // One shell step, so that one authentication installs everything. Paths travel as
    // positional arguments, never inside the script text.
    QString script = QStringLiteral("set -e; rm -f -- \"$1\"; install -D -m 0755 -- \"$2\" \"$1\"");
    QStringList arguments{QStringLiteral("-c"), QString(), QStringLiteral("binwise-install"),
                          installed, m_paths.helperSource};
    if (!m_policyToInstall.isEmpty()) {
        script += QStringLiteral("; install -D -m 0644 -- \"$3\" \"$4\"");
        arguments << policy.fileName() << policyTarget;
    }
    arguments[1] = script;
    QString program;
    const QStringList command = elevated(QStringLiteral("/bin/sh"), arguments, &program);
    QString output;
    const int status = runToEnd(program, command, &output);
    qCInfo(lcPrivileged) << "helper install into" << installed << "ended with" << status;
    if (status == 0) {
        m_policyToInstall.clear();
        return true;
    }
    if (status == kPkexecCancelled && m_paths.elevate)
        *error = cancelledError();
    else if (status == kPkexecNotAuthorized && m_paths.elevate)
        *error = deniedError();
    else
        *error = {KZError::kCocoaDomain,
                  512,
                  QStringLiteral("The helper tool could not be installed: %1").arg(output),
                  {}};
    return false;
}

bool KZSecureAccess::isHelperNeedBeInstalled(bool *helperExists)
{
    if (!QFileInfo::exists(m_paths.helper))
        return false;
    if (helperExists)
        *helperExists = true;
    getHelperToolVersion();
    waitUntilHelperVersionIsAvailable();
    return helperVersion() == kRequiredVersion;
}

void KZSecureAccess::removeHelper()
{
    QString program;
    const QStringList command
        = elevated(QStringLiteral("/bin/rm"),
                   {QStringLiteral("-f"), QStringLiteral("--"), m_paths.helper}, &program);
    QString output;
    if (const int status = runToEnd(program, command, &output); status != 0)
        qCWarning(lcPrivileged, "removing the helper failed (status %d): %s", status,
                  qPrintable(output));
}

QString KZSecureAccess::helperVersion()
{
    QMutexLocker locker(&s_versionLock);
    return s_helperVersion;
}

void KZSecureAccess::forgetHelperVersionForTest()
{
    QMutexLocker locker(&s_versionLock);
    s_helperVersion = QString();
}

void KZSecureAccess::getHelperToolVersion()
{
    if (!helperVersion().isNull())
        return;
    auto store = [](const QString &text) {
        QMutexLocker locker(&s_versionLock);
        if (s_helperVersion.isNull())
            s_helperVersion = text.isNull() ? QStringLiteral("") : text;
    };
    // Unprivileged: the version needs no rights, and an old helper is not to be trusted.
    auto *process = new QProcess(this);
    auto *timer = new QTimer(process);
    timer->setSingleShot(true);
    connect(timer, &QTimer::timeout, process, [process, store] {
        const KZError error{KZError::kPOSIXDomain,
                            ETIMEDOUT,
                            QStringLiteral("The helper tool did not answer its version."),
                            {}};
        qCWarning(lcPrivileged, "getHelperToolVersion error %s / %lld - %s",
                  qPrintable(error.domain), error.code, qPrintable(error.localizedDescription));
        store(error.localizedDescription);
        process->kill();
    });
    connect(process, &QProcess::finished, process,
            [process, store](int exitCode, QProcess::ExitStatus status) {
                const QString text = QString::fromUtf8(process->readAllStandardOutput()).trimmed();
                if (status == QProcess::NormalExit && exitCode == 0 && !text.isEmpty()) {
                    store(text);
                } else {
                    const QString description
                        = QStringLiteral("The helper tool failed to tell its version (status %1).")
                              .arg(exitCode);
                    qCWarning(lcPrivileged, "getHelperToolVersion error %s / %d - %s",
                              qPrintable(KZError::kCocoaDomain), exitCode, qPrintable(description));
                    store(description);
                }
                process->deleteLater();
            });
    connect(process, &QProcess::errorOccurred, process,
            [process, store](QProcess::ProcessError error) {
                if (error != QProcess::FailedToStart)
                    return;
                qCWarning(lcPrivileged, "connectAndExecuteCommandBlock %s / %d - %s",
                          qPrintable(KZError::kCocoaDomain), int(error),
                          qPrintable(process->errorString()));
                store(process->errorString());
                process->deleteLater();
            });
    process->start(m_paths.helper, {QStringLiteral("--version")});
    timer->start(kVersionTimeoutMs);
}

void KZSecureAccess::waitUntilHelperVersionIsAvailable()
{
    // One pass of pending events at a time until the answer is in; the caller's thread stays
    // responsive meanwhile.
    while (helperVersion().isNull())
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
}

void KZSecureAccess::connectToHelperTool()
{
    requireMainThread();
    if (m_connection)
        return;
    m_connectionError.reset();
    m_reader = KZHelperMessage::Reader();
    QString program;
    QStringList arguments{QStringLiteral("--data-home"), QString::fromLocal8Bit(m_paths.dataHome)};
    // Started by root itself, the helper learns whom it serves from us; under pkexec from pkexec.
    if (!m_paths.elevate && getuid() == 0)
        arguments << QStringLiteral("--uid") << QString::number(getuid());
    arguments = elevated(m_paths.helper, arguments, &program);

    auto *process = new QProcess(this);
    m_connection = process;
    connect(process, &QProcess::readyReadStandardOutput, this, &KZSecureAccess::readMessages);
    connect(process, &QProcess::readyReadStandardError, this, [this, process] {
        m_stderr += process->readAllStandardError();
        for (qsizetype end = m_stderr.indexOf('\n'); end >= 0; end = m_stderr.indexOf('\n')) {
            qCInfo(lcPrivileged, "%s", m_stderr.left(end).constData());
            m_stderr.remove(0, end + 1);
        }
    });
    connect(process, &QProcess::finished, this, &KZSecureAccess::connectionEnded);
    process->start(program, arguments);
    if (!process->waitForStarted(10000)) {
        m_connectionError = KZError{
            KZError::kCocoaDomain,
            4099,
            QStringLiteral("The helper tool could not be started: %1").arg(process->errorString()),
            {}};
        process->disconnect(this);
        process->deleteLater();
        m_connection = nullptr;
    }
}

void KZSecureAccess::connectAndExecuteCommandBlock(
    const std::function<void(const std::optional<KZError> &)> &block)
{
    requireMainThread();
    connectToHelperTool();
    block(m_connection ? std::nullopt : m_connectionError);
}

void KZSecureAccess::send(const QVariantMap &message)
{
    KZError error;
    const QByteArray frame = KZHelperMessage::encode(message, &error);
    if (frame.isEmpty()) {
        // Never a silent loss: the user learns that the helper did not get it.
        if (m_delegate)
            m_delegate->showErrorWithError(error);
        return;
    }
    if (m_connection)
        m_connection->write(frame);
}

void KZSecureAccess::authorizedEraseWithDictionary(const QVariantMap &itemsDictionary)
{
    requireMainThread();
    KZError serializationError;
    const QVariantMap message{
        {protocolText(P::kMessage), protocolText(P::kEraseMessage)},
        {protocolText(P::kAuthorization), m_authorization},
        {protocolText(P::kItemsDictionary), itemsDictionary},
    };
    const QByteArray frame = KZHelperMessage::encode(message, &serializationError);
    std::optional<KZError> kept;
    if (!frame.isEmpty()) {
        connectAndExecuteCommandBlock([&](const std::optional<KZError> &connectionError) {
            if (connectionError) {
                qCWarning(lcPrivileged, "error %s / %lld\n", qPrintable(connectionError->domain),
                          connectionError->code);
                kept = connectionError;
                return;
            }
            m_pendingItems = batchItemCount(itemsDictionary);
            m_connection->write(frame);
        });
    }
    if (frame.isEmpty() || kept) {
        finishedWithNonErasedCount(batchItemCount(itemsDictionary));
        if (m_delegate)
            m_delegate->showErrorWithError(frame.isEmpty() ? serializationError : *kept);
    }
}

void KZSecureAccess::stoppedByUser(bool)
{
    send({{protocolText(P::kMessage), protocolText(P::kSetStoppedMessage)},
          {protocolText(P::kStopped), true}});
}

void KZSecureAccess::itemsErased(quint64 count, quint64 totSize, quint64 itemSize,
                                 const QByteArray &itemPath)
{
    if (!m_delegate)
        return;
    if (count != 0)
        m_delegate->setTotItemsDeleted(count);
    if (totSize != 0)
        m_delegate->setTotSizeDeleted(totSize);
    m_delegate->writeLogEntryWithPath(itemPath, itemSize);
}

void KZSecureAccess::finishedWithNonErasedCount(quint64 count)
{
    m_pendingItems.reset();
    if (!m_delegate)
        return;
    m_delegate->setNotErasedCount(count);
    m_delegate->setIsWorking(false);
}

void KZSecureAccess::readMessages()
{
    if (!m_connection)
        return;
    m_reader.append(m_connection->readAllStandardOutput());
    QVariantMap message;
    QString error;
    for (;;) {
        const KZHelperMessage::Reader::Status status = m_reader.next(&message, &error);
        if (status == KZHelperMessage::Reader::Status::NeedMore)
            return;
        if (status == KZHelperMessage::Reader::Status::Broken) {
            // Nothing more from this helper can be trusted; its end reports the batch.
            qCWarning(lcPrivileged, "%s", qPrintable(error));
            m_connection->kill();
            return;
        }
        handleMessage(message);
        if (!m_connection)
            return;
    }
}

void KZSecureAccess::handleMessage(const QVariantMap &message)
{
    const QString name = message.value(protocolText(P::kMessage)).toString();
    if (name == protocolText(P::kItemsErasedMessage)) {
        itemsErased(message.value(protocolText(P::kCount)).toULongLong(),
                    message.value(protocolText(P::kTotSize)).toULongLong(),
                    message.value(protocolText(P::kItemSize)).toULongLong(),
                    message.value(protocolText(P::kItemPath)).toByteArray());
    } else if (name == protocolText(P::kFinishedMessage)) {
        finishedWithNonErasedCount(message.value(protocolText(P::kNonErasedCount)).toULongLong());
    } else if (message.contains(protocolText(P::kError))) {
        const QVariantMap error = message.value(protocolText(P::kError)).toMap();
        const char *format = name == protocolText(P::kEraseMessage)
                                 ? "eraseWithAuthorization error %s / %lld  %s"
                                 : "helper error %s / %lld  %s";
        qCWarning(lcPrivileged, format,
                  qPrintable(error.value(protocolText(P::kErrorDomain)).toString()),
                  error.value(protocolText(P::kErrorCode)).toLongLong(),
                  qPrintable(error.value(protocolText(P::kErrorDescription)).toString()));
    }
}

void KZSecureAccess::connectionEnded(int exitCode, QProcess::ExitStatus status)
{
    readMessages();
    qCInfo(lcPrivileged, "connectToHelperTool: connection invalidated");
    if (m_connection)
        m_connection->deleteLater();
    m_connection = nullptr;
    if (!m_pendingItems)
        return;

    // The batch never finished: pkexec refused, the prompt was dismissed, or the helper died.
    // The whole batch counts as not erased.
    const quint64 items = *m_pendingItems;
    const bool elevatedByPkexec = m_paths.elevate;
    std::optional<KZError> error;
    if (status == QProcess::NormalExit && elevatedByPkexec && exitCode == kPkexecCancelled) {
        qCInfo(lcPrivileged, "the authentication for the helper was cancelled");
    } else if (status == QProcess::NormalExit && elevatedByPkexec
               && exitCode == kPkexecNotAuthorized) {
        error = deniedError();
    } else {
        error = KZError{KZError::kCocoaDomain,
                        4097,
                        QStringLiteral("The helper tool ended before it finished (status %1).")
                            .arg(status == QProcess::NormalExit ? exitCode : -1),
                        {}};
    }
    if (error)
        qCWarning(lcPrivileged, "error %s / %lld\n", qPrintable(error->domain), error->code);
    finishedWithNonErasedCount(items);
    if (error && m_delegate)
        m_delegate->showErrorWithError(*error);
}
