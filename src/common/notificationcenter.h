#pragma once

#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <memory>
#include <vector>

// What an observer receives. `object` carries whatever the poster put there:
// a QVariantMap for the upload notifications, a QObject* for the grabber's.
struct Notification
{
    QString name;
    QVariant object;
    QVariantMap userInfo;

    // The object as a dictionary (empty when it is not one).
    QVariantMap objectMap() const { return object.toMap(); }
};

// The process-wide notification centre.
//
// Notifications are posted by literal name (see notifications.h) and delivered
// synchronously, on the posting thread, to every observer registered for that
// name at the moment of delivery. An observer bound to a receiver QObject ends
// when the receiver is destroyed; observers without a receiver live until
// removeObserver(). All members are safe to call from any thread, including
// from inside a handler (an observer removed during a post is not called
// afterwards).
class NotificationCenter
{
public:
    using Handler = std::function<void(const Notification &)>;
    using ObserverId = quint64;

    static NotificationCenter &defaultCenter();

    NotificationCenter() = default;
    NotificationCenter(const NotificationCenter &) = delete;
    NotificationCenter &operator=(const NotificationCenter &) = delete;

    // Observes `name` (an empty name observes every notification).
    ObserverId addObserver(QObject *receiver, const QString &name, Handler handler);
    ObserverId addObserver(const QString &name, Handler handler)
    {
        return addObserver(nullptr, name, std::move(handler));
    }

    void removeObserver(ObserverId id);
    // Every observation bound to `receiver`, or only those for `name`.
    void removeObserver(QObject *receiver, const QString &name = {});

    void post(const QString &name, const QVariant &object = {}, const QVariantMap &userInfo = {});

    int observerCount(const QString &name) const;

private:
    struct Entry
    {
        ObserverId id;
        QString name;
        bool bound;
        QPointer<QObject> receiver;
        std::shared_ptr<Handler> handler;
    };

    bool isRegistered(ObserverId id) const;

    mutable QMutex m_mutex;
    std::vector<Entry> m_entries;
    ObserverId m_nextId = 1;
};
