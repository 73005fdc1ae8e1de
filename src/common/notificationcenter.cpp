#include "notificationcenter.h"

#include <algorithm>
#include <QMutexLocker>

NotificationCenter &NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

NotificationCenter::ObserverId NotificationCenter::addObserver(QObject *receiver, const QString &name, Handler handler)
{
    ObserverId id;
    {
        QMutexLocker lock(&m_mutex);
        id = m_nextId++;
        m_entries.push_back({ id, name, receiver != nullptr, receiver, std::make_shared<Handler>(std::move(handler)) });
    }
    if (receiver) {
        // No context object: the connection must outlive the receiver's own slots.
        QObject::connect(receiver, &QObject::destroyed, [this, id] { removeObserver(id); });
    }
    return id;
}

void NotificationCenter::removeObserver(ObserverId id)
{
    QMutexLocker lock(&m_mutex);
    std::erase_if(m_entries, [id](const Entry &e) { return e.id == id; });
}

void NotificationCenter::removeObserver(QObject *receiver, const QString &name)
{
    QMutexLocker lock(&m_mutex);
    std::erase_if(m_entries,
        [&](const Entry &e) { return e.bound && e.receiver == receiver && (name.isEmpty() || e.name == name); });
}

bool NotificationCenter::isRegistered(ObserverId id) const
{
    QMutexLocker lock(&m_mutex);
    return std::any_of(m_entries.begin(), m_entries.end(), [id](const Entry &e) { return e.id == id; });
}

int NotificationCenter::observerCount(const QString &name) const
{
    QMutexLocker lock(&m_mutex);
    return int(std::count_if(m_entries.begin(), m_entries.end(), [&](const Entry &e) { return e.name == name; }));
}

void NotificationCenter::post(const QString &name, const QVariant &object, const QVariantMap &userInfo)
{
    struct Target
    {
        ObserverId id;
        bool bound;
        QPointer<QObject> receiver;
        std::shared_ptr<Handler> handler;
    };
    std::vector<Target> targets;
    {
        QMutexLocker lock(&m_mutex);
        for (const Entry &e : m_entries) {
            if (e.name.isEmpty() || e.name == name)
                targets.push_back({ e.id, e.bound, e.receiver, e.handler });
        }
    }

    const Notification note { name, object, userInfo };
    for (const Target &t : targets) {
        // Handlers run without the lock held, so they may post or (un)register.
        if (t.bound && !t.receiver)
            continue;
        if (!isRegistered(t.id))
            continue;
        (*t.handler)(note);
    }
}
