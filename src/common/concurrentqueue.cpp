#include "concurrentqueue.h"

#include <QThread>

ConcurrentQueue::ConcurrentQueue(const QString &label, int maxConcurrent)
    : m_label(label)
{
    m_pool.setObjectName(label);
    if (maxConcurrent > 0)
        m_pool.setMaxThreadCount(maxConcurrent);
}

ConcurrentQueue::~ConcurrentQueue()
{
    m_pool.waitForDone();
}

void ConcurrentQueue::async(std::function<void()> fn)
{
    m_pool.start([label = m_label, fn = std::move(fn)] {
        QThread::currentThread()->setObjectName(label);
        fn();
    });
}
