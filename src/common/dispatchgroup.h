#pragma once

#include <functional>
#include <QMutex>
#include <QWaitCondition>
#include <vector>

// Counts outstanding work: enter() before starting a piece, leave() when it is
// done. notify() runs its block on the main thread once the count is zero
// (at once, queued, when it already is); wait() blocks until then.
class DispatchGroup
{
public:
    void enter();
    void leave();
    void notify(std::function<void()> fn);
    bool wait(int msecs = -1);
    int pending() const;

private:
    mutable QMutex m_mutex;
    QWaitCondition m_zero;
    int m_count = 0;
    std::vector<std::function<void()>> m_notify;
};
