#include "KZPromoTestServer.h"

#include <QTcpSocket>

namespace {

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200:
        return "OK";
    case 204:
        return "No Content";
    case 301:
        return "Moved Permanently";
    case 404:
        return "Not Found";
    default:
        return "Status";
    }
}

QByteArray headerValue(const QList<QByteArray> &lines, const QByteArray &name)
{
    for (const QByteArray &line : lines) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().toLower() == name.toLower())
            return line.mid(colon + 1).trimmed();
    }
    return {};
}

} // namespace

KZPromoTestServer::KZPromoTestServer()
{
    connect(&m_server, &QTcpServer::newConnection, this, &KZPromoTestServer::accept);
}

bool KZPromoTestServer::listen()
{
    return m_server.listen(QHostAddress::LocalHost, 0);
}

QString KZPromoTestServer::host() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort());
}

void KZPromoTestServer::setResponse(const QByteArray &path, const Response &response)
{
    m_responses.insert(path, response);
}

void KZPromoTestServer::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void KZPromoTestServer::read(QTcpSocket *socket)
{
    // Requests without a body: the head ends the request.
    QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0) {
        socket->setProperty("buffer", buffer);
        return;
    }
    socket->setProperty("buffer", buffer.mid(end + 4));
    const QList<QByteArray> lines = buffer.left(end).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    Request request{requestLine.value(0), requestLine.value(1),
                    headerValue(lines.mid(1), "User-Agent"),
                    headerValue(lines.mid(1), "Cache-Control")};
    m_requests.append(request);
    Q_EMIT requestRead();

    Response response;
    response.status = 404;
    response.body = "<html><body>Not here</body></html>";
    response = m_responses.value(request.path, response);
    if (response.silent)
        return;
    const bool bodyless = request.method == "HEAD" || response.status == 204;
    QByteArray reply = "HTTP/1.1 " + QByteArray::number(response.status) + ' '
                       + reasonPhrase(response.status) + "\r\n";
    reply += "Content-Type: " + response.contentType + "\r\n";
    if (response.status != 204)
        reply += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    for (const QByteArray &header : std::as_const(response.headers))
        reply += header + "\r\n";
    reply += "Connection: close\r\n\r\n";
    if (!bodyless)
        reply += response.body;
    socket->write(reply);
    socket->disconnectFromHost();
}
