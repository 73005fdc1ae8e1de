#pragma once

#include <QObject>
#include <QTimer>

class QNetworkReply;

// An idle time-out for a network reply: when nothing is sent or received for
// the given time, the reply is aborted. Qt's own transfer time-out ends a
// reply exactly as abort() does, so a time-out could not be told from a
// cancel; this one remembers that it fired, and TransportError reports such a
// reply as timed out (-1001) instead of cancelled (-999).
class ReplyTimeout : public QObject
{
    Q_OBJECT
public:
    // Watches `reply` (becomes its child). ms <= 0 means no time-out.
    static ReplyTimeout *watch(QNetworkReply *reply, int ms);

    // Whether a watcher aborted this reply for being idle.
    static bool firedOn(const QNetworkReply *reply);

    bool fired() const { return m_fired; }

private:
    ReplyTimeout(QNetworkReply *reply, int ms);

    QTimer m_timer;
    bool m_fired = false;
};
