// Linked into every test executable. QtTest's plain logger labels each line
// with the running test function and data row, which it reads from state the
// main thread changes between rows without any lock; a line logged by a
// worker thread (the upload client's network thread, a pool task) at that
// moment reads a row being torn down and crashes the test.
//
// So lines from other threads are handed to the main thread and given to
// QtTest there, at its next event processing: QTRY_* waits, ignoreMessage()
// and failOnWarning() see them as before, just a little later. Handlers
// installed over QtTest's (LogCapture) still see each line at once, on the
// thread that wrote it.
//
// QtTest installs its handler itself when a run starts, after anything a test
// could do before. This file defines qInstallMessageHandler, which the
// executable's symbols put ahead of QtCore's for every caller, QtTest
// included: it passes each call through, except that QtTest's own handler is
// wrapped by the one below.

#include <QCoreApplication>
#include <QList>
#include <QMutex>
#include <QtGlobal>
#include <QThread>

#include <cstdlib>
#include <cstring>

#include <dlfcn.h>

namespace {

using Install = QtMessageHandler (*)(QtMessageHandler);

QMutex s_mutex;
QtMessageHandler s_qtTest = nullptr; // QtTest's handler while a run is logging
QtMessageHandler s_beneath = nullptr; // what QtTest's handler replaced

struct Line
{
    QtMsgType type;
    QByteArray file, function, category;
    int line;
    QString message;
};
QList<Line> s_pending;

Install qtCoreInstall()
{
    static const auto install = reinterpret_cast<Install>(
        dlsym(RTLD_NEXT, "_Z22qInstallMessageHandlerPFv9QtMsgTypeRK18QMessageLogContextRK7QStringE"));
    if (!install)
        std::abort(); // nothing could be logged: QtCore's entry point is not where it always is
    return install;
}

bool isQtTestHandler(QtMessageHandler handler)
{
    Dl_info info {};
    return dladdr(reinterpret_cast<void *>(handler), &info) && info.dli_fname
        && std::strstr(info.dli_fname, "libQt6Test");
}

// QtTest's handler while the run logs, then whatever it put back.
QtMessageHandler current()
{
    QMutexLocker lock(&s_mutex);
    return s_qtTest ? s_qtTest : s_beneath;
}

void deliverPending()
{
    QList<Line> lines;
    {
        QMutexLocker lock(&s_mutex);
        lines.swap(s_pending);
    }
    for (const Line &l : lines) {
        const QMessageLogContext context(l.file.isNull() ? nullptr : l.file.constData(), l.line,
            l.function.isNull() ? nullptr : l.function.constData(),
            l.category.isNull() ? nullptr : l.category.constData());
        if (const QtMessageHandler handler = current())
            handler(l.type, context, l.message);
    }
}

void fromAnyThread(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (type == QtFatalMsg || !app || QThread::currentThread() == app->thread()) {
        if (const QtMessageHandler handler = current())
            handler(type, context, message);
        return;
    }
    bool first = false;
    {
        QMutexLocker lock(&s_mutex);
        first = s_pending.isEmpty();
        s_pending.append({ type, QByteArray(context.file), QByteArray(context.function), QByteArray(context.category),
            context.line, message });
    }
    if (first)
        QMetaObject::invokeMethod(app, deliverPending, Qt::QueuedConnection);
}

} // namespace

QtMessageHandler qInstallMessageHandler(QtMessageHandler handler)
{
    QMutexLocker lock(&s_mutex);
    if (handler && isQtTestHandler(handler)) {
        s_qtTest = handler;
        s_beneath = qtCoreInstall()(fromAnyThread);
        // Lines still waiting when the application ends are written then.
        qAddPostRoutine(deliverPending);
        return s_beneath;
    }
    if (s_qtTest && handler == s_beneath)
        s_qtTest = nullptr; // the run has stopped logging
    return qtCoreInstall()(handler);
}
