#pragma once

#include <functional>
#include <QObject>
#include <QString>
#include <QStringList>

class QLocalServer;

// One tray application per user session. The first `tessly` listens on a
// local socket in $XDG_RUNTIME_DIR (a folder only the user can enter); later
// runs hand it what they were started with and exit.
//
// The exchange is one JSON line each way:
//   request  {"command": "open" | "share" | "perform" | "reopen", "arguments": [...]}
//   answer   {"ok": true|false, "message": "..."}
class SingleInstance : public QObject
{
    Q_OBJECT
public:
    struct Answer
    {
        bool ok = false;
        QString message;
    };
    using Handler = std::function<Answer(const QString &command, const QStringList &arguments)>;

    explicit SingleInstance(QObject *parent = nullptr);
    ~SingleInstance() override;

    // $XDG_RUNTIME_DIR/<application id>.socket (QDir::tempPath() when unset).
    static QString socketPath();

    // Takes the socket; false when another instance answers on it. A socket
    // file left behind by a crashed instance is replaced.
    bool listen();
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    // Hands a request to the running instance. False with *error when none
    // runs or it did not answer within timeoutMs.
    static bool send(const QString &command, const QStringList &arguments, Answer *answer, QString *error = nullptr,
        int timeoutMs = 5000);

private:
    void onConnection();

    QLocalServer *m_server = nullptr;
    Handler m_handler;
};
