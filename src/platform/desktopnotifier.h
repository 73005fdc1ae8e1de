#pragma once

#include <memory>
#include <QObject>
#include <QString>
#include <QUrl>

// Desktop notifications ("tell the user").
//
// instance() picks the backend once per process: the freedesktop
// notification service on the session bus, or the null backend when
// TESSLY_PLATFORM_BACKEND=null is set or no session bus is reachable. The null
// backend only logs, so headless runs and tests without a desktop behave.
class DesktopNotifier : public QObject
{
    Q_OBJECT
public:
    static DesktopNotifier &instance();
    static std::unique_ptr<DesktopNotifier> create(const QString &backend);

    virtual QString backendName() const = 0;

    // Shows a notification. A valid url is opened in the user's browser when
    // the notification is clicked (its default action).
    virtual void notify(const QString &title, const QString &body, const QUrl &url = {}) = 0;

Q_SIGNALS:
    // The user clicked a notification that carried this url.
    void activated(const QUrl &url);
};
