#pragma once

#include "notificationcenter.h"

#include <QList>

// Every notification of one name posted on the default centre while the
// recorder lives.
class NotificationRecorder
{
public:
    explicit NotificationRecorder(const QString &name)
        : m_id(NotificationCenter::defaultCenter().addObserver(name, [this](const Notification &n) { m_seen << n; }))
    {
    }
    ~NotificationRecorder() { NotificationCenter::defaultCenter().removeObserver(m_id); }
    NotificationRecorder(const NotificationRecorder &) = delete;
    NotificationRecorder &operator=(const NotificationRecorder &) = delete;

    QList<Notification> seen() const { return m_seen; }
    QList<QVariantMap> objects() const
    {
        QList<QVariantMap> maps;
        for (const Notification &n : m_seen)
            maps << n.objectMap();
        return maps;
    }

private:
    NotificationCenter::ObserverId m_id;
    QList<Notification> m_seen;
};
