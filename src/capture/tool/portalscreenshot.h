#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QUrl>
#include <QVariantMap>

class QDBusPendingCallWatcher;

// A screenshot through the desktop portal (org.freedesktop.portal.Screenshot
// on the session bus), the way a Wayland desktop lets a program take one: the
// portal shows the desktop's own selection, if any, and answers with the URI
// of a file it wrote.
//
// The answer comes as a Response signal on a request object whose path the
// call's handle_token fixes in advance; we listen there before calling, so a
// quick answer is not missed, and move if the portal names another path.
class PortalScreenshot : public QObject
{
    Q_OBJECT
public:
    explicit PortalScreenshot(QDBusConnection bus, QObject *parent = nullptr);
    ~PortalScreenshot() override;

    // Asks for a screenshot; exactly one of taken(), cancelled() and
    // failed() follows.
    void take(bool interactive);

    // Withdraws a request still open (the user asked us to stop).
    void close();

Q_SIGNALS:
    void taken(const QUrl &uri);
    void cancelled();
    void failed(const QString &message);

private Q_SLOTS:
    void onResponse(uint response, const QVariantMap &results);

private:
    void called(QDBusPendingCallWatcher *call);
    void listen(const QString &requestPath);
    void stopListening();
    void fail(const QString &message);
    void finish();

    QDBusConnection m_bus;
    QString m_requestPath;
    bool m_finished = false;
};
