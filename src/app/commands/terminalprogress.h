#pragma once

#include <QElapsedTimer>
#include <QString>

// A one-line progress bar with the transfer speed on stderr, drawn only when
// stderr is a terminal (scripts and logs see nothing of it).
class TerminalProgress
{
public:
    explicit TerminalProgress(qint64 totalBytes);
    ~TerminalProgress() { finish(); }

    bool isEnabled() const { return m_enabled; }
    // fraction of the whole batch, 0 to 1
    void update(double fraction);
    void finish();

    static QString formatSpeed(double bytesPerSecond);

private:
    bool m_enabled;
    bool m_drawn = false;
    qint64 m_totalBytes;
    QElapsedTimer m_clock;
    qint64 m_lastDrawMs = -1000;
};
