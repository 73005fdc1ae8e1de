#pragma once

#include <QSemaphore>

// A counting semaphore with dispatch_semaphore's vocabulary: wait() takes one
// unit (blocking, or up to msecs), signal() gives one back.
class Semaphore
{
public:
    explicit Semaphore(int value)
        : m_sem(value)
    {
    }

    bool wait(int msecs = -1) { return msecs < 0 ? (m_sem.acquire(), true) : m_sem.tryAcquire(1, msecs); }
    void signal() { m_sem.release(); }
    int available() const { return m_sem.available(); }

private:
    QSemaphore m_sem;
};
