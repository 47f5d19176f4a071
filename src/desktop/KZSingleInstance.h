#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

#include <memory>

// One desktop application per user session: the first start holds a lock file in the runtime
// folder and listens on a local socket beside it; a later start finds the lock held, asks the
// running one through the socket to show itself, and ends. Main thread.
class KZSingleInstance : public QObject
{
    Q_OBJECT

public:
    // runtimeFolder: where the lock and the socket live; $XDG_RUNTIME_DIR (or Qt's runtime
    // location) when empty.
    explicit KZSingleInstance(QString runtimeFolder = {}, QObject *parent = nullptr);
    ~KZSingleInstance() override;

    // True when this process is the first: it then holds the lock and listens.
    [[nodiscard]] bool acquire();
    // Asks the running instance to show itself; true when it answered.
    [[nodiscard]] bool handOver();

    // Stops listening and lets go of the lock, so that a new process may take them.
    void release();

    [[nodiscard]] QString lockPath() const;
    [[nodiscard]] QString socketPath() const;

Q_SIGNALS:
    // A later start asked this instance to show itself.
    void activationRequested();

private:
    void answer();

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer m_server;
};
