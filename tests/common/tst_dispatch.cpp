#include "concurrentqueue.h"
#include "dispatch.h"
#include "dispatchgroup.h"
#include "dispatchsemaphore.h"
#include "serialqueue.h"

#include <QAtomicInt>
#include <QCoreApplication>
#include <QMutex>
#include <QSemaphore>
#include <QTest>
#include <QThread>

#include <atomic>

class TestDispatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void mainRunsLaterOnTheMainThreadInOrder()
    {
        QStringList order;
        QThread *mainThread = QThread::currentThread();
        bool allOnMain = true;
        std::thread worker([&] {
            for (int i = 0; i < 5; ++i)
                Dispatch::main([&, i] {
                    allOnMain = allOnMain && QThread::currentThread() == mainThread;
                    order << QString::number(i);
                });
        });
        worker.join();
        QVERIFY(order.isEmpty()); // nothing runs before the event loop turns
        QTRY_COMPARE(order.size(), 5);
        QCOMPARE(order.join(QString()), QStringLiteral("01234"));
        QVERIFY(allOnMain);
    }

    void mainSyncFromAWorkerWaitsAndFromMainRunsInline()
    {
        bool ran = false;
        Dispatch::mainSync([&] { ran = true; });
        QVERIFY(ran); // inline: no deadlock, no delay

        // From a worker it blocks until the main loop has run it.
        std::atomic<bool> done = false;
        std::atomic<bool> sawMain = false;
        QThread *worker = QThread::create([&] {
            Dispatch::mainSync([&] { sawMain = Dispatch::isMainThread(); });
            done = true;
        });
        worker->start();
        QTRY_VERIFY(done.load());
        QVERIFY(sawMain.load());
        worker->wait();
        delete worker;
    }

    void afterRunsInDelayOrderAndIsDroppedWithItsContext()
    {
        // Delays are checked by their order, not by a clock: the longest one
        // runs last, and one whose context is gone never runs, also not after
        // a later one has.
        QStringList fired;
        Dispatch::after(0.2, [&] { fired << QStringLiteral("long"); });
        auto *context = new QObject;
        Dispatch::after(0.05, context, [&] { fired << QStringLiteral("orphan"); });
        Dispatch::after(0.1, [&] { fired << QStringLiteral("short"); });
        delete context;
        QVERIFY(fired.isEmpty()); // nothing runs at once

        QTRY_COMPARE(fired, (QStringList { QStringLiteral("short"), QStringLiteral("long") }));
    }

    void serialQueueRunsOneAtATimeInOrderOnItsOwnThread()
    {
        SerialQueue queue(QStringLiteral("com.tessly.uploadQueue"));
        QVector<int> order;
        std::atomic<int> running = 0, maxRunning = 0;
        QThread *seenThread = nullptr;
        for (int i = 0; i < 50; ++i) {
            queue.async([&, i] {
                const int now = ++running;
                maxRunning = std::max(maxRunning.load(), now);
                seenThread = QThread::currentThread();
                QThread::usleep(200);
                order << i;
                --running;
            });
        }
        queue.sync([] {});
        QCOMPARE(order.size(), 50);
        QVERIFY(std::is_sorted(order.begin(), order.end()));
        QCOMPARE(maxRunning.load(), 1);
        QVERIFY(seenThread != QThread::currentThread());
        QCOMPARE(seenThread->objectName(), QStringLiteral("com.tessly.uploadQueue"));
    }

    void serialQueueSyncFromInsideItselfDoesNotDeadlock()
    {
        SerialQueue queue(QStringLiteral("inner"));
        bool inner = false;
        queue.sync([&] { queue.sync([&] { inner = queue.isCurrent(); }); });
        QVERIFY(inner);
    }

    void serialQueueFinishesQueuedWorkOnDestruction()
    {
        std::atomic<int> ran = 0;
        {
            SerialQueue queue(QStringLiteral("draining"));
            for (int i = 0; i < 20; ++i)
                queue.async([&] {
                    QThread::usleep(500);
                    ++ran;
                });
        }
        QCOMPARE(ran.load(), 20);
    }

    // Long work (zipping) keeps off the shared pool: with every pool thread
    // busy it still starts, and short work does not wait behind it.
    void longRunningWorkHasThreadsOfItsOwn()
    {
        QThreadPool *pool = QThreadPool::globalInstance();
        QSemaphore release;
        std::atomic<int> started = 0;
        for (int i = 0; i < pool->maxThreadCount(); ++i)
            Dispatch::background([&] {
                ++started;
                release.acquire();
            });
        QTRY_COMPARE(started.load(), pool->maxThreadCount());
        std::atomic<bool> ran = false;
        Dispatch::longRunning([&] { ran = true; });
        QTRY_VERIFY(ran.load());
        release.release(pool->maxThreadCount());
        QVERIFY(pool->waitForDone(10000));
    }

    void semaphoreBoundsAConcurrentQueue()
    {
        // Four in flight at most, as a multipart session runs its parts.
        ConcurrentQueue queue(QStringLiteral("com.tessly.multipartUpload"), 16);
        Semaphore inFlight(4);
        std::atomic<int> running = 0, maxRunning = 0, done = 0;
        for (int i = 0; i < 24; ++i) {
            queue.async([&] {
                inFlight.wait();
                const int now = ++running;
                maxRunning = std::max(maxRunning.load(), now);
                // The first ones hold their slot until four run at once, so
                // that the bound is reached on any machine, however slow.
                for (int spin = 0; spin < 2000 && maxRunning.load() < 4; ++spin)
                    QThread::msleep(1);
                --running;
                inFlight.signal();
                ++done;
            });
        }
        QVERIFY(queue.waitForDone(10000));
        QCOMPARE(done.load(), 24);
        QCOMPARE(maxRunning.load(), 4);

        Semaphore none(0);
        QVERIFY(!none.wait(20));
        none.signal();
        QVERIFY(none.wait(0));
    }

    void groupNotifiesOnMainOnceAllHaveLeft()
    {
        DispatchGroup group;
        int notified = 0;
        bool onMain = false;
        for (int i = 0; i < 3; ++i)
            group.enter();
        group.notify([&] {
            ++notified;
            onMain = Dispatch::isMainThread();
        });
        Dispatch::background([&] { group.leave(); });
        Dispatch::background([&] { group.leave(); });
        QTRY_COMPARE(group.pending(), 1);
        QCOMPARE(notified, 0);
        QVERIFY(!group.wait(10));
        group.leave();
        QVERIFY(group.wait(1000));
        QTRY_COMPARE(notified, 1);
        QVERIFY(onMain);

        // Notify on an idle group still runs, later, on main.
        group.notify([&] { ++notified; });
        QCOMPARE(notified, 1);
        QTRY_COMPARE(notified, 2);
    }
};

QTEST_GUILESS_MAIN(TestDispatch)
#include "tst_dispatch.moc"
