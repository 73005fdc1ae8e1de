#pragma once

#include "objectput.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>

class QSocketNotifier;
class QTimer;
struct CurlLibrary;

// Carries object-store PUTs with libcurl, driven by the Qt event loop of the
// thread the session lives on: one multi handle, socket notifiers for its
// sockets and a timer for its time-outs. Connections are kept alive and
// reused between PUTs to the same host. libcurl itself is loaded with the
// first PUT (see CurlLibrary), not with the session.
//
// Why not QNetworkAccessManager for these: Qt hands a request body to its
// network thread 16 KiB at a time, with a round trip between threads for
// every piece. For the large bodies of uploads that cost several times the
// CPU of the transfer itself; here the body goes from memory or the page
// cache to the socket in large writes on one thread.
//
// Everything happens on the session's thread; it is not thread-safe.
class CurlSession : public QObject
{
    Q_OBJECT
public:
    // At most `maxConnectionsPerHost` PUTs run at once to one host; the
    // others wait for a connection.
    explicit CurlSession(int maxConnectionsPerHost, QObject *parent = nullptr);
    ~CurlSession() override;

    int maxConnectionsPerHost() const { return m_maxConnectionsPerHost; }

    // Starts a PUT. The transfer is a child of the session; whoever starts it
    // deletes it (deleteLater) once it has finished. A request that libcurl
    // cannot take finishes with an error from the event loop.
    ObjectPut *put(ObjectPut::Request request);

    // The PUTs not yet finished, in the order they were started.
    QList<ObjectPut *> transfers() const;

private:
    friend class ObjectPut;

    struct Watch
    {
        QSocketNotifier *read = nullptr;
        QSocketNotifier *write = nullptr;
    };

    // Loads libcurl and sets up the multi handle, unless done; false when
    // libcurl cannot be had.
    bool ensureMulti();
    static int socketCallback(void *easy, int socket, int what, void *self, void *socketData);
    static int timerCallback(void *multi, long timeoutMs, void *self);
    void watchSocket(int socket, int what);
    void unwatchSocket(int socket);
    // Lets libcurl work on `socket` (or on its time-outs), then reports.
    void drive(int socket, int events);
    // Progress of running PUTs, then the ends of finished ones.
    void reportAfterDrive();
    // Takes a PUT out of the multi handle (abort, end, destruction).
    void detach(ObjectPut *put);

    const CurlLibrary *m_curl = nullptr;
    void *m_multi = nullptr;
    int m_maxConnectionsPerHost;
    QTimer *m_timer;
    QHash<int, Watch> m_watches;
    QList<QPointer<ObjectPut>> m_transfers;
    int m_driving = 0; // inside a libcurl call: no handle may be removed now
};
