#pragma once

#include "referenceserver.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QTcpServer>

class QTcpSocket;

// A minimal HTTP/1.1 peer on 127.0.0.1 for the cases the reference service
// does not produce: it records each request as it arrived and answers with a
// fixed response, closes the connection without answering, or never answers.
// It is a real server on a real socket, not a stubbed reply.
class LoopbackPeer : public QObject
{
    Q_OBJECT
public:
    enum class Mode { Answer, Drop, Silent };

    struct Request
    {
        QByteArray method;
        QByteArray target; // path and query as sent
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
    };

    explicit LoopbackPeer(Mode mode = Mode::Answer, QObject *parent = nullptr);

    // The answer for Mode::Answer; extraHeaders are lines "Name: value\r\n".
    void setResponse(int status, const QByteArray &body, const QByteArray &contentType = "application/json",
        const QByteArray &extraHeaders = {});

    quint16 port() const { return m_server.serverPort(); }
    QString apiUrl() const; // "http://127.0.0.1:PORT/v1/"
    QList<Request> requests() const { return m_requests; }
    int connections() const { return m_connections; }

private:
    void serve(QTcpSocket *socket);

    Mode m_mode;
    QTcpServer m_server;
    QByteArray m_response;
    QList<Request> m_requests;
    int m_connections = 0;
};

// A port on 127.0.0.1 where a connection is refused: bound for as long as
// this lives, never listening, so no other process can take it meanwhile.
class ClosedPort
{
public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort &) = delete;
    ClosedPort &operator=(const ClosedPort &) = delete;
    quint16 port() const { return m_port; }

private:
    int m_fd = -1;
    quint16 m_port = 0;
};

// A real cause of a transport failure on this machine, set up for as long as
// this lives: "closed" (a closed port), "dns" (a name that cannot resolve),
// "drop" (a peer that hangs up), "silent" (a peer that never answers),
// "tls-plain" (TLS spoken to the plain service's port) or "self-signed" (a
// service with a certificate of its own).
class TransportCause
{
public:
    TransportCause(const QString &cause, const ReferenceServer &plain);
    TransportCause(const TransportCause &) = delete;
    TransportCause &operator=(const TransportCause &) = delete;
    // Where `path` ("/v1/", "/store/x") meets the cause; empty when it could not be set up.
    QString url(const QString &path) const { return m_base.isEmpty() ? QString() : m_base + path; }

private:
    LoopbackPeer m_drop { LoopbackPeer::Mode::Drop };
    LoopbackPeer m_silent { LoopbackPeer::Mode::Silent };
    ClosedPort m_closed;
    ReferenceServer m_tls;
    QString m_base;
};
