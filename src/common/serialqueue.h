#pragma once

#include <functional>
#include <QObject>
#include <QString>
#include <QThread>

// A labelled serial queue: blocks run one at a time, in the order submitted,
// on a thread of the queue's own (named after the label, so it shows in gdb
// and top). The queue's context() object lives on that thread, so timers and
// network managers can be parented to it.
class SerialQueue
{
public:
    explicit SerialQueue(const QString &label);
    ~SerialQueue(); // runs what is already queued, then stops

    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    QString label() const { return m_label; }
    bool isCurrent() const;
    QObject *context() const { return m_context; }

    void async(std::function<void()> fn);
    // Waits for fn to run on the queue; runs it at once when called from the queue itself.
    void sync(const std::function<void()> &fn);

private:
    QString m_label;
    QThread m_thread;
    QObject *m_context;
};
