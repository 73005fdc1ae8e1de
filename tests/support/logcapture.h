#pragma once

#include <QMutex>
#include <QStringList>

// Records every log line written while it lives, as the user would read it
// (redacted, control characters quoted), so tests can assert exact texts. Lines are still passed
// on to the previous handler. Safe to use with logging from any thread.
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    QStringList lines() const;
    bool contains(const QString &line) const; // an exact line
    bool containsText(const QString &text) const; // a substring of any line
    int count(const QString &line) const;
    void clear();
};
