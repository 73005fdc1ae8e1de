#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <vector>

class QIODevice;
class QNetworkAccessManager;
class QNetworkReply;
class QNetworkRequest;

// The managers that carry the object-storage PUTs of single-request uploads.
//
// Qt opens at most 6 HTTP/1.1 connections per host and manager, and a PUT
// holds its connection for the whole transfer, so one manager runs at most 6
// uploads to the same store at once. The pool keeps as many managers as it
// takes to reach the wanted number of connections per host (2 for 10) and
// starts each PUT on the one with the fewest PUTs in flight.
//
// Lives on the thread of its managers (the main thread); not thread-safe.
class UploadSessionPool : public QObject
{
    Q_OBJECT
public:
    // Qt's fixed limit of HTTP/1.1 connections per host and manager.
    static constexpr int kConnectionsPerManager = 6;

    // `first` is used as the first manager (not owned); the others are
    // created as children of the pool.
    UploadSessionPool(QNetworkAccessManager *first, int connectionsPerHost, QObject *parent = nullptr);

    // Starts a PUT of `body` (read as it is sent, not copied). The reply
    // counts as in flight until it finishes.
    QNetworkReply *put(const QNetworkRequest &request, QIODevice *body);

    // The PUTs in flight, in the order they were started.
    QList<QNetworkReply *> replies() const;

    int managerCount() const { return int(m_managers.size()); }

private:
    struct Manager
    {
        QNetworkAccessManager *manager = nullptr;
        int inFlight = 0;
    };

    std::vector<Manager> m_managers;
    QList<QPointer<QNetworkReply>> m_replies;
};
