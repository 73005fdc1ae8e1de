#pragma once

#include <QObject>
#include <QTimer>

class QNetworkReply;

// An idle time-out for a network reply: when nothing is sent or received for
// the given time, the reply is aborted. Qt's own transfer time-out ends a
// reply exactly as abort() does, so a time-out could not be told from a
// cancel; this one remembers that it fired, and TransportError reports such a
// reply as timed out (-1001) instead of cancelled (-999).
//
// It also bounds the answer: the service's JSON answers are small, and one
// that grows past maxBytes is aborted rather than read whole into memory.
class ReplyTimeout : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kDefaultMaxBytes = 8 * 1024 * 1024;

    // Watches `reply` (becomes its child). ms <= 0 means no time-out;
    // maxBytes <= 0 no bound on the answer's size.
    static ReplyTimeout *watch(QNetworkReply *reply, int ms, qint64 maxBytes = kDefaultMaxBytes);

    // Whether a watcher aborted this reply for being idle.
    static bool firedOn(const QNetworkReply *reply);
    // Whether a watcher aborted this reply for an answer past its bound;
    // then *maxBytes is that bound.
    static bool tooLargeOn(const QNetworkReply *reply, qint64 *maxBytes = nullptr);

    bool fired() const { return m_fired; }

private:
    ReplyTimeout(QNetworkReply *reply, int ms, qint64 maxBytes);
    static const ReplyTimeout *of(const QNetworkReply *reply);

    QTimer m_timer;
    bool m_fired = false;
    bool m_tooLarge = false;
    qint64 m_maxBytes = 0;
};
