#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGTERM and SIGINT into a Qt signal on the event loop (the handler
// only writes a byte to a socket pair), so a recording can be ended and
// finalised instead of the process dying mid-file.
class TerminationWatcher : public QObject
{
    Q_OBJECT
public:
    explicit TerminationWatcher(QObject *parent = nullptr);
    ~TerminationWatcher() override;

Q_SIGNALS:
    void terminationRequested();

private:
    QSocketNotifier *m_notifier = nullptr;
};
