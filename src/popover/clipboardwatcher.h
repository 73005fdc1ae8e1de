#pragma once

#include <QObject>

class QTimer;

// Whether the clipboard holds something the clipboard tile can upload: a
// local file or a picture. While running it looks once a second, and reads
// the clipboard only when it changed since the last look (another
// application's offer is read over the display server, which can take
// milliseconds).
class ClipboardWatcher : public QObject
{
    Q_OBJECT
public:
    explicit ClipboardWatcher(QObject *parent = nullptr);

    bool isUsable() const { return m_usable; }
    bool isRunning() const;
    // Starting looks soon, when the clipboard changed since the last look
    // (or was never looked at).
    void start();
    void stop();

Q_SIGNALS:
    void usableChanged(bool usable);

private:
    void update();

    bool m_usable = false;
    QTimer *m_timer = nullptr;
    quint64 m_changeCount = 1; // one ahead: the first start looks
    quint64 m_lastChangeCount = 0;
};
