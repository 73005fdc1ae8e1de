#pragma once

#include <functional>
#include <QString>
#include <QThreadPool>

// A labelled concurrent queue: blocks run on a pool of its own, several at a
// time (at most maxConcurrent; the default is the pool's ideal count).
// Destroying the queue waits for the blocks already submitted.
class ConcurrentQueue
{
public:
    explicit ConcurrentQueue(const QString &label, int maxConcurrent = 0);
    ~ConcurrentQueue();

    QString label() const { return m_label; }
    void async(std::function<void()> fn);
    bool waitForDone(int msecs = -1) { return m_pool.waitForDone(msecs); }

private:
    QString m_label;
    QThreadPool m_pool;
};
