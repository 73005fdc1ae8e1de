#include "serialqueue.h"

#include <QCoreApplication>

SerialQueue::SerialQueue(const QString &label)
    : m_label(label)
    , m_context(new QObject)
{
    m_thread.setObjectName(label);
    m_context->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_context, &QObject::deleteLater);
    m_thread.start();
}

SerialQueue::~SerialQueue()
{
    if (QCoreApplication::instance()) {
        // quit() is queued behind the work already posted, so that work still runs.
        QMetaObject::invokeMethod(
            m_context, [this] { m_thread.quit(); }, Qt::QueuedConnection);
    } else {
        // Without an application no posted event reaches the thread any more.
        m_thread.quit();
    }
    m_thread.wait();
}

bool SerialQueue::isCurrent() const
{
    return QThread::currentThread() == &m_thread;
}

void SerialQueue::async(std::function<void()> fn)
{
    QMetaObject::invokeMethod(m_context, std::move(fn), Qt::QueuedConnection);
}

void SerialQueue::sync(const std::function<void()> &fn)
{
    if (isCurrent())
        fn();
    else
        QMetaObject::invokeMethod(m_context, fn, Qt::BlockingQueuedConnection);
}
