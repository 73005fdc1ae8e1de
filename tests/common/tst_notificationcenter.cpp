#include "notificationcenter.h"
#include "notifications.h"

#include <QAtomicInt>
#include <QCoreApplication>
#include <QTest>
#include <QThread>

#include <thread>
#include <vector>

class TestNotificationCenter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void deliversPayloadSynchronouslyToObserversOfThatName()
    {
        NotificationCenter center;
        QObject receiver;
        QList<Notification> seen;
        int others = 0;
        center.addObserver(
            &receiver, Notifications::UploadCompleteNotification, [&](const Notification &n) { seen << n; });
        center.addObserver(&receiver, Notifications::AuthTokenInvalid, [&](const Notification &) { ++others; });

        const QVariantMap object { { QStringLiteral("taskId"), 7u }, { QStringLiteral("succeeded"), true } };
        center.post(Notifications::UploadCompleteNotification, object);

        // Delivered before post() returns, with the object's dictionary intact.
        QCOMPARE(seen.size(), 1);
        QCOMPARE(seen[0].name, QStringLiteral("UploadCompleteNotification"));
        QCOMPARE(seen[0].objectMap(), object);
        QVERIFY(seen[0].userInfo.isEmpty());
        QCOMPARE(others, 0);

        center.post(Notifications::VideoProcessingBeganNotification, {},
            { { Notifications::VideoProcessingMessageKey, QStringLiteral("Creating GIF") } });
        QCOMPARE(seen.size(), 1);
    }

    void observationEndsWithTheReceiver()
    {
        NotificationCenter center;
        int calls = 0;
        auto *receiver = new QObject;
        center.addObserver(receiver, QStringLiteral("N"), [&](const Notification &) { ++calls; });
        center.post(QStringLiteral("N"));
        delete receiver;
        center.post(QStringLiteral("N"));
        QCOMPARE(calls, 1);
        QCOMPARE(center.observerCount(QStringLiteral("N")), 0);
    }

    void removalByIdReceiverAndName()
    {
        NotificationCenter center;
        QObject receiver;
        int a = 0, b = 0, free = 0;
        center.addObserver(&receiver, QStringLiteral("A"), [&](const Notification &) { ++a; });
        center.addObserver(&receiver, QStringLiteral("B"), [&](const Notification &) { ++b; });
        const auto id = center.addObserver(QStringLiteral("A"), [&](const Notification &) { ++free; });

        center.removeObserver(&receiver, QStringLiteral("A"));
        center.post(QStringLiteral("A"));
        center.post(QStringLiteral("B"));
        QCOMPARE(a, 0);
        QCOMPARE(b, 1);
        QCOMPARE(free, 1);

        center.removeObserver(id);
        center.removeObserver(&receiver);
        center.post(QStringLiteral("A"));
        center.post(QStringLiteral("B"));
        QCOMPARE(b, 1);
        QCOMPARE(free, 1);
    }

    void handlersMayRemoveOthersAndPostAgain()
    {
        NotificationCenter center;
        NotificationCenter::ObserverId second = 0;
        int secondCalls = 0, nested = 0;
        center.addObserver(QStringLiteral("N"), [&](const Notification &) {
            center.removeObserver(second); // must not be called later in this same post
            center.post(QStringLiteral("Nested"));
        });
        second = center.addObserver(QStringLiteral("N"), [&](const Notification &) { ++secondCalls; });
        center.addObserver(QStringLiteral("Nested"), [&](const Notification &) { ++nested; });

        center.post(QStringLiteral("N"));
        QCOMPARE(secondCalls, 0);
        QCOMPARE(nested, 1);
    }

    void deliversOnThePostingThreadAndSurvivesConcurrentUse()
    {
        NotificationCenter center;
        QAtomicInt delivered;
        QAtomicInt wrongThread;
        center.addObserver(QStringLiteral("Progress"), [&](const Notification &n) {
            if (n.objectMap().value(QStringLiteral("thread")).value<quintptr>() != quintptr(QThread::currentThreadId()))
                wrongThread.ref();
            delivered.ref();
        });

        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                for (int i = 0; i < 200; ++i) {
                    QObject transient;
                    center.addObserver(&transient, QStringLiteral("Progress"), [](const Notification &) {});
                    center.post(QStringLiteral("Progress"),
                        QVariantMap {
                            { QStringLiteral("thread"), QVariant::fromValue(quintptr(QThread::currentThreadId())) } });
                }
            });
        }
        for (auto &t : threads)
            t.join();

        QCOMPARE(delivered.loadRelaxed(), 800);
        QCOMPARE(wrongThread.loadRelaxed(), 0);
        QCOMPARE(center.observerCount(QStringLiteral("Progress")), 1);
    }
};

QTEST_GUILESS_MAIN(TestNotificationCenter)
#include "tst_notificationcenter.moc"
