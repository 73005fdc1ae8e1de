#include "dispatch.h"

#include <QCoreApplication>
#include <QPointer>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

namespace Dispatch {

static QObject *mainContext()
{
    QObject *app = QCoreApplication::instance();
    Q_ASSERT_X(app, "Dispatch", "a QCoreApplication must exist");
    return app;
}

bool isMainThread()
{
    QObject *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void main(std::function<void()> fn)
{
    QMetaObject::invokeMethod(mainContext(), std::move(fn), Qt::QueuedConnection);
}

void mainSync(const std::function<void()> &fn)
{
    if (isMainThread())
        fn();
    else
        QMetaObject::invokeMethod(mainContext(), fn, Qt::BlockingQueuedConnection);
}

void after(double seconds, std::function<void()> fn)
{
    after(seconds, mainContext(), std::move(fn));
}

void after(double seconds, QObject *context, std::function<void()> fn)
{
    const int ms = qMax(0, int(seconds * 1000.0 + 0.5));
    QPointer<QObject> guard(context);
    // Timers belong to the thread that starts them: start this one on main.
    main([ms, guard, fn = std::move(fn)]() mutable {
        if (guard)
            QTimer::singleShot(ms, guard.data(), std::move(fn));
    });
}

void background(std::function<void()> fn)
{
    QThreadPool::globalInstance()->start(std::move(fn));
}

void longRunning(std::function<void()> fn)
{
    QThread *thread = QThread::create(std::move(fn));
    QObject::connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    thread->start();
}

} // namespace Dispatch
