#pragma once

#include "KZHelperClient.h"
#include "KZHelperMessage.h"
#include "KZSecureAccessDelegate.h"
#include "model/KZError.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QProcess>
#include <QString>
#include <QVariantMap>

#include <functional>
#include <optional>

// The application's side of the privileged helper: checks and installs it (asking the user
// first), starts it through pkexec as a child process (directly when the application is root
// itself), sends it the erase batch as CBOR frames on its stdin and hands the progress it reads
// from its stdout to the delegate. Main thread; the delegate's calls come on the main thread.
class KZSecureAccess : public QObject, public KZHelperClient
{
    Q_OBJECT

public:
    static inline const QString kRequiredVersion = QStringLiteral("1.0.1");
    static inline const QString kHelperLabel = QStringLiteral("org.binwise.BinwiseHelper");

    // Where things are. fromEnvironment() reads BINWISE_HELPER_PATH (the installed helper,
    // default /usr/libexec/binwise/org.binwise.BinwiseHelper), BINWISE_POLKIT_ACTIONS_DIR
    // (default /usr/share/polkit-1/actions) and BINWISE_HELPER_SOURCE (the helper an install
    // copies; default the one built or shipped beside the application).
    struct Paths
    {
        QString helper;
        QString actionsFolder;
        QString helperSource;
        QString pkexec = QStringLiteral("/usr/bin/pkexec");
        // Through pkexec; false when the application is root and starts the helper itself.
        bool elevate = true;
        QByteArray dataHome; // the user's data home, which holds the home Trash
        [[nodiscard]] static Paths fromEnvironment();
    };

    // delegate may be null (a check at launch needs none); it must outlive this object.
    explicit KZSecureAccess(KZSecureAccessDelegate *delegate,
                            const Paths &paths = Paths::fromEnvironment(),
                            QObject *parent = nullptr);
    ~KZSecureAccess() override;

    // Makes KZHelperClient::create() build a KZSecureAccess over paths.
    static void installFactory(const Paths &paths = Paths::fromEnvironment());

    // True when the helper can be used: installed in the required version, or installed now.
    // Asks before installing; shows an error where the user should know (not after a cancel).
    [[nodiscard]] bool intallHelperAppIfNeeded();
    // nullopt when the helper is in place; the cancelled (-60006), denied (-60005) or
    // installation error otherwise.
    [[nodiscard]] std::optional<KZError> authorizeTheAccess();
    // Installs the helper (and the policy for rights not yet defined) under pkexec, or directly
    // when root; the old helper goes in the same step. False with error on failure.
    [[nodiscard]] bool blessHelperWithLabel(const QString &label, KZError *error);
    // Sets *helperExists when the helper file is there; true when it answers the required
    // version, that is, when nothing needs installing (the name says the opposite).
    [[nodiscard]] bool isHelperNeedBeInstalled(bool *helperExists);
    // Uninstalls the helper file; the result is not reported.
    void removeHelper();
    // Runs the installed helper with --version (unprivileged) unless the process already
    // knows the answer, and stores the text, or the failure's description, process-wide.
    void getHelperToolVersion();
    void waitUntilHelperVersionIsAvailable();
    // The process-wide version text; null until it is known.
    [[nodiscard]] static QString helperVersion();
    // Tests only: forget the version text, which a running application never does.
    static void forgetHelperVersionForTest();

    void connectToHelperTool();
    void
    connectAndExecuteCommandBlock(const std::function<void(const std::optional<KZError> &)> &block);

    void authorizedEraseWithDictionary(const QVariantMap &itemsDictionary) override;
    // Sends setStoppedByUser: YES, whatever stopped says.
    void stoppedByUser(bool stopped) override;

    // The progress the helper reports.
    void itemsErased(quint64 count, quint64 totSize, quint64 itemSize, const QByteArray &itemPath);
    void finishedWithNonErasedCount(quint64 count);

    [[nodiscard]] QByteArray authorization() const { return m_authorization; }
    [[nodiscard]] const Paths &paths() const { return m_paths; }
    [[nodiscard]] bool isConnected() const { return m_connection != nullptr; }

private:
    void readMessages();
    void handleMessage(const QVariantMap &message);
    void connectionEnded(int exitCode, QProcess::ExitStatus status);
    void send(const QVariantMap &message);
    // Runs program to its end with the event loop turning; the exit code, or -1 when it did
    // not start or crashed (output in *output).
    int runToEnd(const QString &program, const QStringList &arguments, QString *output);
    [[nodiscard]] QStringList elevated(const QString &program, const QStringList &arguments,
                                       QString *elevator) const;

    KZSecureAccessDelegate *m_delegate;
    Paths m_paths;
    QByteArray m_authorization;
    QByteArray m_policyToInstall;
    QPointer<QProcess> m_connection;
    std::optional<KZError> m_connectionError;
    KZHelperMessage::Reader m_reader;
    QByteArray m_stderr;
    // The batch sent and not yet finished: its item count, for a connection that ends early.
    std::optional<quint64> m_pendingItems;
};
