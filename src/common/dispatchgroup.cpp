#include "dispatchgroup.h"

#include "dispatch.h"

#include <QDeadlineTimer>
#include <QtGlobal>

void DispatchGroup::enter()
{
    QMutexLocker lock(&m_mutex);
    ++m_count;
}

void DispatchGroup::leave()
{
    std::vector<std::function<void()>> ready;
    {
        QMutexLocker lock(&m_mutex);
        Q_ASSERT_X(m_count > 0, "DispatchGroup", "leave() without enter()");
        if (m_count == 0)
            return;
        if (--m_count > 0)
            return;
        ready.swap(m_notify);
        m_zero.wakeAll();
    }
    for (auto &fn : ready)
        Dispatch::main(std::move(fn));
}

void DispatchGroup::notify(std::function<void()> fn)
{
    QMutexLocker lock(&m_mutex);
    if (m_count == 0) {
        lock.unlock();
        Dispatch::main(std::move(fn));
        return;
    }
    m_notify.push_back(std::move(fn));
}

bool DispatchGroup::wait(int msecs)
{
    QDeadlineTimer deadline(msecs < 0 ? QDeadlineTimer::Forever : QDeadlineTimer(msecs));
    QMutexLocker lock(&m_mutex);
    while (m_count > 0) {
        if (!m_zero.wait(&m_mutex, deadline))
            return m_count == 0;
    }
    return true;
}

int DispatchGroup::pending() const
{
    QMutexLocker lock(&m_mutex);
    return m_count;
}
