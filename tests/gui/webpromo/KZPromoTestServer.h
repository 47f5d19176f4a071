#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QTcpServer>

class QTcpSocket;

// A small HTTP/1.1 server on 127.0.0.1 that plays the web site: each path answers what the
// test set for it (404 otherwise), or never answers at all. It runs on the test's event loop
// and records every request it read.
class KZPromoTestServer : public QObject
{
    Q_OBJECT

public:
    struct Response
    {
        int status = 200;
        QByteArray contentType = QByteArrayLiteral("text/html; charset=utf-8");
        QByteArray body;
        // Extra header lines, "Name: value".
        QByteArrayList headers;
        // Reads the request and then says nothing, keeping the connection open.
        bool silent = false;
    };

    struct Request
    {
        QByteArray method;
        QByteArray path;
        QByteArray userAgent;
        QByteArray cacheControl;
    };

    KZPromoTestServer();

    // Listens on a free port of 127.0.0.1.
    [[nodiscard]] bool listen();
    // "http://127.0.0.1:PORT": the web site as the promotion names it.
    [[nodiscard]] QString host() const;
    void setResponse(const QByteArray &path, const Response &response);
    [[nodiscard]] QList<Request> requests() const { return m_requests; }

Q_SIGNALS:
    void requestRead();

private:
    void accept();
    void read(QTcpSocket *socket);

    QTcpServer m_server;
    QHash<QByteArray, Response> m_responses;
    QList<Request> m_requests;
};
