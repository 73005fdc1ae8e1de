#pragma once

#include <QObject>

class QTimer;

// Whether the clipboard holds something the clipboard tile can upload: a
// local file or a picture. While running it looks once a second. It reads
// the clipboard only when it changed since the program last read it
// (another application's offer is read over the display server), so
// starting over an unchanged clipboard costs nothing.
class ClipboardWatcher : public QObject
{
    Q_OBJECT
public:
    explicit ClipboardWatcher(QObject *parent = nullptr);

    bool isUsable() const { return m_usable; }
    bool isRunning() const;
    // Starting looks at once.
    void start();
    void stop();

Q_SIGNALS:
    void usableChanged(bool usable);

private:
    void update();

    bool m_usable = false;
    QTimer *m_timer = nullptr;
};
