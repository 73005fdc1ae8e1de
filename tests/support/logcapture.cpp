#include "logcapture.h"

#include "logging.h"

#include <QMutexLocker>
#include <QtGlobal>

namespace {

QMutex s_mutex;
QStringList s_lines;
QtMessageHandler s_previous = nullptr;
int s_active = 0;

void capture(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const QString line = Logging::loggedLine(Logging::redact(message));
    {
        QMutexLocker lock(&s_mutex);
        s_lines << line;
    }
    if (s_previous)
        s_previous(type, context, line);
}

} // namespace

LogCapture::LogCapture()
{
    QMutexLocker lock(&s_mutex);
    if (s_active++ == 0) {
        s_lines.clear();
        s_previous = qInstallMessageHandler(capture);
    }
}

LogCapture::~LogCapture()
{
    QMutexLocker lock(&s_mutex);
    if (--s_active == 0) {
        qInstallMessageHandler(s_previous);
        s_previous = nullptr;
    }
}

QStringList LogCapture::lines() const
{
    QMutexLocker lock(&s_mutex);
    return s_lines;
}

bool LogCapture::contains(const QString &line) const
{
    return lines().contains(line);
}

bool LogCapture::containsText(const QString &text) const
{
    const QStringList all = lines();
    return std::any_of(all.begin(), all.end(), [&](const QString &l) { return l.contains(text); });
}

int LogCapture::count(const QString &line) const
{
    return int(lines().count(line));
}

void LogCapture::clear()
{
    QMutexLocker lock(&s_mutex);
    s_lines.clear();
}
