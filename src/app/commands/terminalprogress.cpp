#include "terminalprogress.h"

#include <cstdio>
#include <unistd.h>

TerminalProgress::TerminalProgress(qint64 totalBytes)
    : m_enabled(isatty(fileno(stderr)) == 1)
    , m_totalBytes(totalBytes)
{
    m_clock.start();
}

QString TerminalProgress::formatSpeed(double bytesPerSecond)
{
    const char *units[] = { "B/s", "KB/s", "MB/s", "GB/s" };
    int unit = 0;
    while (bytesPerSecond >= 1000.0 && unit < 3) {
        bytesPerSecond /= 1000.0;
        ++unit;
    }
    return QStringLiteral("%1 %2").arg(bytesPerSecond, 0, 'f', unit == 0 ? 0 : 1).arg(QLatin1String(units[unit]));
}

void TerminalProgress::update(double fraction)
{
    if (!m_enabled)
        return;
    const qint64 now = m_clock.elapsed();
    if (now - m_lastDrawMs < 100 && fraction < 1.0)
        return; // ten frames a second is plenty
    m_lastDrawMs = now;
    fraction = qBound(0.0, fraction, 1.0);
    const int width = 30;
    const int filled = int(fraction * width);
    const double seconds = double(now) / 1000.0;
    const double speed = seconds > 0 ? fraction * double(m_totalBytes) / seconds : 0.0;
    const QString bar = QString(filled, QLatin1Char('#')) + QString(width - filled, QLatin1Char('.'));
    const QString line = QStringLiteral("\r%1% [%2] %3   ").arg(int(fraction * 100), 3).arg(bar, formatSpeed(speed));
    std::fputs(line.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    m_drawn = true;
}

void TerminalProgress::finish()
{
    if (!m_drawn)
        return;
    std::fputs("\r\033[K", stderr); // clear the bar's line
    std::fflush(stderr);
    m_drawn = false;
}
