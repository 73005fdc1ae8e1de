#include "loopbackpeer.h"

#include <QTcpSocket>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

LoopbackPeer::LoopbackPeer(Mode mode, QObject *parent)
    : QObject(parent)
    , m_mode(mode)
{
    setResponse(200, "{}");
    m_server.listen(QHostAddress::LocalHost, 0);
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            ++m_connections;
            socket->setParent(this);
            if (m_mode == Mode::Drop) {
                socket->abort();
                socket->deleteLater();
            } else if (m_mode == Mode::Answer) {
                serve(socket);
            }
            // Silent: keep the socket open and never write.
        }
    });
}

void LoopbackPeer::setResponse(
    int status, const QByteArray &body, const QByteArray &contentType, const QByteArray &extraHeaders)
{
    m_response = "HTTP/1.1 " + QByteArray::number(status) + " Status\r\nContent-Type: " + contentType + "\r\n"
        + extraHeaders + "Content-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body;
}

QString LoopbackPeer::apiUrl() const
{
    return QStringLiteral("http://127.0.0.1:%1/v1/").arg(port());
}

void LoopbackPeer::serve(QTcpSocket *socket)
{
    auto buffer = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
        *buffer += socket->readAll();
        const qsizetype headerEnd = buffer->indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        Request request;
        const QList<QByteArray> lines = buffer->left(headerEnd).split('\n');
        const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
        request.method = first.value(0);
        request.target = first.value(1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            const qsizetype colon = lines[i].indexOf(':');
            if (colon > 0)
                request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
        }
        const qsizetype length = request.headers.value("content-length", "0").toLongLong();
        if (buffer->size() < headerEnd + 4 + length)
            return; // body still arriving
        request.body = buffer->mid(headerEnd + 4, length);
        m_requests << request;
        socket->write(m_response);
        socket->disconnectFromHost();
    });
}

ClosedPort::ClosedPort()
    : m_fd(::socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (m_fd >= 0 && ::bind(m_fd, reinterpret_cast<sockaddr *>(&address), length) == 0
        && ::getsockname(m_fd, reinterpret_cast<sockaddr *>(&address), &length) == 0)
        m_port = ntohs(address.sin_port);
}

ClosedPort::~ClosedPort()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

TransportCause::TransportCause(const QString &cause, const ReferenceServer &plain)
{
    const QString loopback = QStringLiteral("http://127.0.0.1:%1");
    if (cause == QLatin1String("closed")) {
        m_base = loopback.arg(m_closed.port());
    } else if (cause == QLatin1String("dns")) {
        m_base = QStringLiteral("http://no-such-host.invalid");
    } else if (cause == QLatin1String("drop")) {
        m_base = loopback.arg(m_drop.port());
    } else if (cause == QLatin1String("silent")) {
        m_base = loopback.arg(m_silent.port());
    } else if (cause == QLatin1String("tls-plain")) {
        m_base = QStringLiteral("https://127.0.0.1:%1").arg(plain.port());
    } else if (cause == QLatin1String("self-signed")) {
        ReferenceServer::Options options;
        options.tls = true;
        if (m_tls.start(options))
            m_base = m_tls.baseUrl().toString();
    }
}
