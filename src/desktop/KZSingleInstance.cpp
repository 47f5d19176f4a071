#include "KZSingleInstance.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

namespace {
const QByteArray kShowRequest = QByteArrayLiteral("show\n");
const QByteArray kShownAnswer = QByteArrayLiteral("shown\n");
} // namespace

KZSingleInstance::KZSingleInstance(QString runtimeFolder, QObject *parent)
    : QObject(parent)
    , m_folder(std::move(runtimeFolder))
{
    if (m_folder.isEmpty())
        m_folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (m_folder.isEmpty())
        m_folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    QDir().mkpath(m_folder);
    connect(&m_server, &QLocalServer::newConnection, this, &KZSingleInstance::answer);
}

KZSingleInstance::~KZSingleInstance()
{
    m_server.close();
}

void KZSingleInstance::release()
{
    m_server.close();
    m_lock.reset();
}

QString KZSingleInstance::lockPath() const
{
    return m_folder + QStringLiteral("/binwise.lock");
}

QString KZSingleInstance::socketPath() const
{
    return m_folder + QStringLiteral("/binwise.socket");
}

bool KZSingleInstance::acquire()
{
    m_lock = std::make_unique<QLockFile>(lockPath());
    // A lock left by a process that died is taken over: QLockFile checks its process.
    if (!m_lock->tryLock(0)) {
        m_lock.reset();
        return false;
    }
    // The lock is ours, so a socket file there is a dead instance's.
    QLocalServer::removeServer(socketPath());
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(socketPath()))
        qWarning("binwise: cannot listen on %s: %s", qPrintable(socketPath()),
                 qPrintable(m_server.errorString()));
    return true;
}

bool KZSingleInstance::handOver()
{
    // The first instance listens right after taking the lock; give it a moment to get there.
    const QDeadlineTimer deadline(3000);
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(socketPath());
        if (socket.waitForConnected(500)) {
            socket.write(kShowRequest);
            if (!socket.waitForBytesWritten(1000))
                return false;
            while (!socket.canReadLine() && socket.waitForReadyRead(2000)) {
            }
            return socket.readLine() == kShownAnswer;
        }
        QThread::msleep(100);
    }
    return false;
}

void KZSingleInstance::answer()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            if (socket->readLine() == kShowRequest) {
                Q_EMIT activationRequested();
                socket->write(kShownAnswer);
                socket->flush();
            }
            socket->disconnectFromServer();
        });
    }
}
