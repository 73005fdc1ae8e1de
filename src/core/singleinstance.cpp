#include "singleinstance.h"

#include "serviceconfig.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QPointer>

Q_LOGGING_CATEGORY(lcSingleInstance, "tessly.core.singleinstance")

namespace {

// A request bigger than this is not one of ours.
constexpr qint64 kMaxRequest = 1 << 20;

} // namespace

SingleInstance::SingleInstance(QObject *parent)
    : QObject(parent)
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPath()
{
    QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty())
        dir = QDir::tempPath();
    return QDir(dir).filePath(Config::applicationId() + QStringLiteral(".socket"));
}

bool SingleInstance::listen()
{
    const QString path = socketPath();
    {
        QLocalSocket probe;
        probe.connectToServer(path);
        if (probe.waitForConnected(1000))
            return false; // someone answers: we are the second
    }
    QLocalServer::removeServer(path);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(path)) {
        qCWarning(lcSingleInstance).noquote() << "cannot listen on" << path << ":" << m_server->errorString();
        return true; // run alone rather than not at all
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::onConnection);
    qCInfo(lcSingleInstance).noquote() << "listening on" << path;
    return true;
}

void SingleInstance::onConnection()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > kMaxRequest) {
                    qCWarning(lcSingleInstance) << "request too long; dropped";
                    socket->abort();
                }
                return;
            }
            const QJsonObject request = QJsonDocument::fromJson(socket->readLine()).object();
            const QString command = request.value(QStringLiteral("command")).toString();
            QStringList arguments;
            for (const QJsonValue &v : request.value(QStringLiteral("arguments")).toArray())
                arguments << v.toString();
            Answer answer { false, QStringLiteral("unknown request") };
            if (!command.isEmpty() && m_handler)
                answer = m_handler(command, arguments);
            if (command.isEmpty())
                qCWarning(lcSingleInstance) << "malformed request; ignored";
            const QJsonObject reply { { QStringLiteral("ok"), answer.ok },
                { QStringLiteral("message"), answer.message } };
            QPointer<QLocalSocket> alive(socket);
            if (alive) {
                socket->write(QJsonDocument(reply).toJson(QJsonDocument::Compact) + '\n');
                socket->disconnectFromServer();
            }
        });
    }
}

bool SingleInstance::send(
    const QString &command, const QStringList &arguments, Answer *answer, QString *error, int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs)) {
        if (error)
            *error = QStringLiteral("Tessly Cloud is not running");
        return false;
    }
    const QJsonObject request { { QStringLiteral("command"), command },
        { QStringLiteral("arguments"), QJsonArray::fromStringList(arguments) } };
    socket.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    socket.flush();
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(timeoutMs)) {
            if (error)
                *error = QStringLiteral("the running Tessly Cloud did not answer");
            return false;
        }
    }
    const QJsonObject reply = QJsonDocument::fromJson(socket.readLine()).object();
    if (answer) {
        answer->ok = reply.value(QStringLiteral("ok")).toBool();
        answer->message = reply.value(QStringLiteral("message")).toString();
    }
    return true;
}
