// Notifications through org.freedesktop.Notifications on the session bus
// (GNOME Shell, KDE Plasma, dunst, mako, xfce4-notifyd all serve it).
#include "desktopnotifier.h"
#include "serviceconfig.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDesktopServices>
#include <QHash>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcFreedesktopNotifier, "tessly.platform.notifier")

namespace {

const QString kService = QStringLiteral("org.freedesktop.Notifications");
const QString kPath = QStringLiteral("/org/freedesktop/Notifications");

class FreedesktopNotifier final : public DesktopNotifier
{
    Q_OBJECT
public:
    FreedesktopNotifier()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(
            kService, kPath, kService, QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
        bus.connect(kService, kPath, kService, QStringLiteral("NotificationClosed"), this, SLOT(onClosed(uint, uint)));
    }

    QString backendName() const override { return QStringLiteral("freedesktop"); }

    void notify(const QString &title, const QString &body, const QUrl &url) override
    {
        QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kService, QStringLiteral("Notify"));
        const QStringList actions
            = url.isValid() ? QStringList { QStringLiteral("default"), QStringLiteral("Open") } : QStringList {};
        call << QStringLiteral("Tessly Cloud") << uint(0) << Config::applicationId() << title << body << actions
             << QVariantMap { { QStringLiteral("desktop-entry"), QStringLiteral("com.tessly.Cloud") } } << int(-1);
        auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, url] {
            QDBusPendingReply<uint> reply = *watcher;
            watcher->deleteLater();
            if (reply.isError()) {
                // Without a notification daemon every notification fails
                // alike: say it once.
                if (!m_warned)
                    qCWarning(lcFreedesktopNotifier) << "notification not shown:" << reply.error().message();
                m_warned = true;
                return;
            }
            if (url.isValid())
                m_urls.insert(reply.value(), url);
        });
    }

private Q_SLOTS:
    // QDBusConnection::connect finds these by signature.
    void onActionInvoked(uint id, const QString &action)
    {
        const QUrl url = m_urls.take(id);
        if (action != QLatin1String("default") || !url.isValid())
            return;
        Q_EMIT activated(url);
        QDesktopServices::openUrl(url);
    }

    void onClosed(uint id, uint /*reason*/) { m_urls.remove(id); }

private:
    QHash<uint, QUrl> m_urls;
    bool m_warned = false;
};

} // namespace

std::unique_ptr<DesktopNotifier> createFreedesktopNotifier()
{
    return std::make_unique<FreedesktopNotifier>();
}

#include "desktopnotifier_freedesktop.moc"
