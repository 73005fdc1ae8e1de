// Lines logged by a worker thread while QtTest goes from row to row. QtTest's
// plain logger labels each line with the current row, which the main thread
// tears down between rows: unguarded, this crashed in most runs here (and an
// upload test, once, on a late answer of the service). The run has to crash
// or not, so what the lines say goes nowhere.
#include <QCoreApplication>
#include <QTest>

#include <atomic>
#include <thread>

class TestWorkerLogging : public QObject
{
    Q_OBJECT
    std::atomic<bool> m_stop { false };
    std::thread m_worker;

private Q_SLOTS:
    void initTestCase()
    {
        m_worker = std::thread([this] {
            for (int i = 0; i < 200000 && !m_stop; ++i)
                qInfo("worker line %d", i);
        });
    }

    void rowsChangeUnderTheWorker_data()
    {
        QTest::addColumn<int>("row");
        for (int i = 0; i < 10000; ++i)
            QTest::addRow("%d", i) << i;
    }

    void rowsChangeUnderTheWorker()
    {
        QFETCH(int, row);
        QVERIFY(row >= 0);
    }

    void cleanupTestCase()
    {
        m_stop = true;
        m_worker.join();
        QCoreApplication::processEvents(); // the lines still waiting for this thread
    }
};

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TestWorkerLogging test;
    // Every line goes through the plain logger, and none fills the test's log.
    return QTest::qExec(&test,
        QStringList { app.arguments().first(), QStringLiteral("-maxwarnings"), QStringLiteral("0"),
            QStringLiteral("-o"), QStringLiteral("/dev/null,txt") });
}

#include "tst_workerlogging.moc"
