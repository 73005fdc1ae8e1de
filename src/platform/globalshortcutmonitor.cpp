#include "globalshortcutmonitor.h"

#include <QGuiApplication>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcGlobalShortcutMonitor, "tessly.platform.globalshortcutmonitor")

std::unique_ptr<GlobalShortcutMonitor> createNativeGlobalShortcutMonitor(); // null when the build's backend cannot run
std::unique_ptr<GlobalShortcutMonitor> createNullGlobalShortcutMonitor(const QString &reason);
std::unique_ptr<GlobalShortcutMonitor> createPortalGlobalShortcutMonitor(); // null when the desktop offers none

std::unique_ptr<GlobalShortcutMonitor> GlobalShortcutMonitor::create(const QString &backend)
{
    if (backend == QLatin1String("null"))
        return createNullGlobalShortcutMonitor(QStringLiteral("Global shortcuts are turned off for this session."));
    // "wayland": as in a Wayland session whatever the display, for looking
    // at the settings window there.
    if (backend != QLatin1String("wayland")) {
        if (auto monitor = createNativeGlobalShortcutMonitor())
            return monitor;
    }
    const QString platform = QGuiApplication::platformName();
    if (backend == QLatin1String("wayland") || platform.startsWith(QLatin1String("wayland"))) {
        if (auto monitor = createPortalGlobalShortcutMonitor())
            return monitor;
        return createNullGlobalShortcutMonitor(
            QStringLiteral("This desktop does not let applications set global shortcuts on Wayland. Your shortcuts "
                           "are kept and work in an X11 session or on a desktop that offers them."));
    }
    return createNullGlobalShortcutMonitor(QStringLiteral("Global shortcuts need an X11 display."));
}

GlobalShortcutMonitor &GlobalShortcutMonitor::sharedMonitor()
{
    static const std::unique_ptr<GlobalShortcutMonitor> monitor
        = create(qEnvironmentVariable("TESSLY_PLATFORM_BACKEND"));
    return *monitor;
}

GlobalShortcutMonitor::Registration GlobalShortcutMonitor::addAction(
    QKeyCombination shortcut, std::function<void()> handler, const QString &id, const QString &description)
{
    for (const Action &action : std::as_const(m_actions)) {
        if (action.shortcut == shortcut)
            ungrab(shortcut); // replaced below, as a second grab of our own would fail
    }
    m_actions.removeIf([&](const Action &action) { return action.shortcut == shortcut; });
    const Registration registration = m_paused ? Registration::Registered : grab(shortcut);
    m_actions.append({ shortcut, std::move(handler), registration, id, description });
    qCDebug(lcGlobalShortcutMonitor) << shortcut << registration;
    Q_EMIT registrationsChanged();
    return registration;
}

void GlobalShortcutMonitor::setPaused(bool paused)
{
    if (paused == m_paused)
        return;
    if (paused) {
        for (const Action &action : std::as_const(m_actions)) {
            if (action.registration == Registration::Registered)
                ungrab(action.shortcut);
        }
    }
    m_paused = paused;
    if (!paused)
        regrabAll();
}

void GlobalShortcutMonitor::removeAllActions()
{
    for (const Action &action : std::as_const(m_actions)) {
        if (action.registration == Registration::Registered && !m_paused)
            ungrab(action.shortcut);
    }
    m_actions.clear();
    Q_EMIT registrationsChanged();
}

GlobalShortcutMonitor::Registration GlobalShortcutMonitor::registration(QKeyCombination shortcut) const
{
    for (const Action &action : m_actions) {
        if (action.shortcut == shortcut)
            return action.registration;
    }
    return Registration::Unavailable;
}

QList<GlobalShortcutMonitor::NamedAction> GlobalShortcutMonitor::namedActions() const
{
    QList<NamedAction> named;
    for (const Action &action : m_actions)
        named.append({ action.shortcut, action.id, action.description });
    return named;
}

void GlobalShortcutMonitor::setRegistration(QKeyCombination shortcut, Registration registration)
{
    for (Action &action : m_actions) {
        if (action.shortcut == shortcut)
            action.registration = registration;
    }
}

void GlobalShortcutMonitor::perform(QKeyCombination shortcut)
{
    for (const Action &action : std::as_const(m_actions)) {
        if (action.shortcut != shortcut || action.registration != Registration::Registered)
            continue;
        Q_EMIT activated(shortcut);
        QMetaObject::invokeMethod(this, action.handler, Qt::QueuedConnection);
        return;
    }
}

void GlobalShortcutMonitor::regrabAll()
{
    if (m_paused)
        return; // setPaused(false) grabs them
    for (Action &action : m_actions) {
        if (action.registration == Registration::Registered)
            ungrab(action.shortcut);
    }
    for (Action &action : m_actions)
        action.registration = grab(action.shortcut);
    Q_EMIT registrationsChanged();
}
