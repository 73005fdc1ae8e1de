#include "portalscreenshot.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QLoggingCategory>
#include <QRandomGenerator>

Q_LOGGING_CATEGORY(lcPortalScreenshot, "tessly.capture.portalscreenshot")

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kScreenshot = QStringLiteral("org.freedesktop.portal.Screenshot");
const QString kRequest = QStringLiteral("org.freedesktop.portal.Request");

} // namespace

PortalScreenshot::PortalScreenshot(QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
    // A portal that dies mid-request would never answer.
    auto *watcher = new QDBusServiceWatcher(kService, m_bus, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] {
        if (!m_requestPath.isEmpty())
            fail(QStringLiteral("the desktop portal went away before it answered"));
    });
}

PortalScreenshot::~PortalScreenshot()
{
    stopListening();
}

void PortalScreenshot::take(bool interactive)
{
    if (!m_bus.isConnected()) {
        fail(QStringLiteral("no D-Bus session bus to reach the desktop portal on (%1)")
                 .arg(m_bus.lastError().message()));
        return;
    }
    const QString token = QStringLiteral("tessly%1").arg(QRandomGenerator::global()->generate());
    QString sender = m_bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    listen(kPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token);

    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kScreenshot, QStringLiteral("Screenshot"));
    const QVariantMap options { { QStringLiteral("handle_token"), token },
        { QStringLiteral("interactive"), interactive }, { QStringLiteral("modal"), true } };
    call << QString() << options; // no parent window to hang a dialog on
    qCDebug(lcPortalScreenshot) << "asking the portal, interactive" << interactive;
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, -1), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, &PortalScreenshot::called);
}

void PortalScreenshot::close()
{
    if (m_requestPath.isEmpty())
        return;
    m_bus.call(
        QDBusMessage::createMethodCall(kService, m_requestPath, kRequest, QStringLiteral("Close")), QDBus::NoBlock);
    finish();
}

void PortalScreenshot::called(QDBusPendingCallWatcher *call)
{
    call->deleteLater();
    const QDBusPendingReply<QDBusObjectPath> reply = *call;
    if (reply.isError()) {
        const QDBusError error = reply.error();
        switch (error.type()) {
        case QDBusError::ServiceUnknown:
            fail(QStringLiteral("no desktop portal is running (xdg-desktop-portal and a backend for this desktop "
                                "take screenshots on Wayland)"));
            break;
        case QDBusError::UnknownInterface:
        case QDBusError::UnknownMethod:
        case QDBusError::UnknownObject:
            fail(
                QStringLiteral("the desktop portal cannot take screenshots on this desktop (%1)").arg(error.message()));
            break;
        default:
            fail(QStringLiteral("the desktop portal refused the screenshot: %1").arg(error.message()));
            break;
        }
        return;
    }
    // Portals before version 0.9 choose the path themselves.
    const QString path = reply.value().path();
    if (!m_finished && path != m_requestPath) {
        stopListening();
        listen(path);
    }
}

void PortalScreenshot::onResponse(uint response, const QVariantMap &results)
{
    if (m_finished)
        return;
    qCDebug(lcPortalScreenshot) << "portal response" << response << results;
    finish();
    switch (response) {
    case 0: {
        const QUrl uri(results.value(QStringLiteral("uri")).toString());
        if (uri.isEmpty())
            Q_EMIT failed(QStringLiteral("the desktop portal answered without a picture"));
        else
            Q_EMIT taken(uri);
        break;
    }
    case 1:
        Q_EMIT cancelled();
        break;
    default:
        Q_EMIT failed(QStringLiteral("the desktop portal could not take the screenshot"));
        break;
    }
}

void PortalScreenshot::listen(const QString &requestPath)
{
    m_requestPath = requestPath;
    m_bus.connect(
        kService, m_requestPath, kRequest, QStringLiteral("Response"), this, SLOT(onResponse(uint, QVariantMap)));
}

void PortalScreenshot::stopListening()
{
    if (m_requestPath.isEmpty())
        return;
    m_bus.disconnect(
        kService, m_requestPath, kRequest, QStringLiteral("Response"), this, SLOT(onResponse(uint, QVariantMap)));
    m_requestPath.clear();
}

void PortalScreenshot::fail(const QString &message)
{
    if (m_finished)
        return;
    finish();
    Q_EMIT failed(message);
}

void PortalScreenshot::finish()
{
    m_finished = true;
    stopListening();
}
