// Global shortcuts through the desktop portal's GlobalShortcuts interface,
// the one way a Wayland client hears a key while another window has the
// focus (KDE Plasma and recent GNOME offer it). Both builds have it: an X11
// build runs on Wayland sessions too.
//
// The portal binds a session's whole set once, possibly after asking the
// user, and answers through a Request's Response signal. So grab() only
// records the combination; the set is compared with the one bound when the
// event loop comes back, and a different set closes the session and binds
// the new one in a fresh session. Each action keeps its id whatever its
// keys, and its combination goes as the preferred trigger in the form of
// the freedesktop shortcuts format: "CTRL+ALT+SHIFT+LOGO+" and the keysym's
// name, e.g. "ALT+SHIFT+4", "LOGO+a", "CTRL+Print". Until the answer comes a
// shortcut counts as registered; then a refused set is unavailable and a
// shortcut the desktop gave no keys (KDE leaves out keys another shortcut
// holds) is taken. Activated names the id; its action runs through
// perform().
#include "globalshortcutmonitor.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QTimer>
#include <xkbcommon/xkbcommon.h>

Q_LOGGING_CATEGORY(lcPortalGlobalShortcuts, "tessly.platform.globalshortcutmonitor.portal")

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
// The same token in every run: KDE files the user's keys under it.
const QString kSessionToken = QStringLiteral("tessly_shortcuts");

// One element of the portal's a(sa{sv}) lists of shortcuts.
struct PortalShortcut
{
    QString id;
    QVariantMap properties;
};

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(PortalShortcut)

namespace {

struct KeyName
{
    Qt::Key key;
    const char *name;
};

const KeyName kKeyNames[] = {
    { Qt::Key_Return, "Return" },
    { Qt::Key_Enter, "KP_Enter" },
    { Qt::Key_Backspace, "BackSpace" },
    { Qt::Key_Delete, "Delete" },
    { Qt::Key_Insert, "Insert" },
    { Qt::Key_Escape, "Escape" },
    { Qt::Key_Tab, "Tab" },
    { Qt::Key_Left, "Left" },
    { Qt::Key_Right, "Right" },
    { Qt::Key_Up, "Up" },
    { Qt::Key_Down, "Down" },
    { Qt::Key_PageUp, "Page_Up" },
    { Qt::Key_PageDown, "Page_Down" },
    { Qt::Key_Home, "Home" },
    { Qt::Key_End, "End" },
    { Qt::Key_Print, "Print" },
    { Qt::Key_Pause, "Pause" },
    { Qt::Key_ScrollLock, "Scroll_Lock" },
};

// The combination in the freedesktop shortcuts format, empty when it has no
// name there.
QString triggerFor(QKeyCombination shortcut)
{
    const int key = shortcut.key();
    QString name;
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35) {
        name = QStringLiteral("F%1").arg(key - Qt::Key_F1 + 1);
    } else if (key >= 0x20 && key < 0x7f) {
        // Printable ASCII: the keysym is the character the unshifted key
        // types, Qt names the upper-case one.
        char buffer[64];
        if (xkb_keysym_get_name(xkb_keysym_to_lower(xkb_keysym_t(key)), buffer, sizeof buffer) > 0)
            name = QString::fromLatin1(buffer);
    } else {
        for (const KeyName &named : kKeyNames) {
            if (named.key == key)
                name = QLatin1String(named.name);
        }
    }
    if (name.isEmpty())
        return {};
    QStringList parts;
    const Qt::KeyboardModifiers modifiers = shortcut.keyboardModifiers();
    if (modifiers & Qt::ControlModifier)
        parts << QStringLiteral("CTRL");
    if (modifiers & Qt::AltModifier)
        parts << QStringLiteral("ALT");
    if (modifiers & Qt::ShiftModifier)
        parts << QStringLiteral("SHIFT");
    if (modifiers & Qt::MetaModifier)
        parts << QStringLiteral("LOGO");
    parts << name;
    return parts.join(QLatin1Char('+'));
}

class PortalGlobalShortcutMonitor final : public GlobalShortcutMonitor
{
    Q_OBJECT
public:
    PortalGlobalShortcutMonitor()
    {
        qDBusRegisterMetaType<PortalShortcut>();
        qDBusRegisterMetaType<QList<PortalShortcut>>();
        // Slots that take the whole message: QtDBus matches the others by
        // type names, which Qt knows only once a type has been used.
        const bool connected = bus().connect(kService, kPath, kInterface, QStringLiteral("Activated"), this,
                                   SLOT(onActivated(QDBusMessage)))
            && bus().connect(kService, kPath, kInterface, QStringLiteral("ShortcutsChanged"), this,
                SLOT(onShortcutsChanged(QDBusMessage)));
        if (!connected)
            qCWarning(lcPortalGlobalShortcuts) << "cannot listen to the desktop portal's shortcuts";
        m_sync.setSingleShot(true);
        m_sync.setInterval(0); // subscribing adds the actions one by one
        connect(&m_sync, &QTimer::timeout, this, &PortalGlobalShortcutMonitor::sync);
    }

    ~PortalGlobalShortcutMonitor() override
    {
        // Sent before anything a later session sends on this connection.
        // The portal closes it anyway when the process ends.
        if (!m_session.isEmpty() && QCoreApplication::instance())
            bus().send(closeMessage());
    }

    QString backendName() const override { return QStringLiteral("portal"); }

    QString unavailableReason() const override
    {
        for (const Binding &bound : m_bound) {
            if (bound.state == State::Refused)
                return QStringLiteral("The desktop did not allow Tessly Cloud's global shortcuts. Your shortcuts are "
                                      "kept, and Tessly Cloud asks again when you change one or start it again.");
        }
        return {};
    }

protected:
    Registration grab(QKeyCombination shortcut) override
    {
        if (triggerFor(shortcut).isEmpty()) {
            qCWarning(lcPortalGlobalShortcuts) << shortcut << "has no name in the desktop's shortcut format";
            return Registration::Invalid;
        }
        m_active.insert(shortcut);
        m_sync.start();
        for (const Binding &bound : std::as_const(m_bound)) {
            if (bound.shortcut == shortcut)
                return registrationFor(bound.state);
        }
        return Registration::Registered; // until the desktop answers
    }

    void ungrab(QKeyCombination shortcut) override
    {
        // The desktop keeps the keys while paused; their activations are
        // dropped.
        m_active.remove(shortcut);
        m_sync.start();
    }

private Q_SLOTS:
    // QDBusConnection::connect finds these by signature.
    void onActivated(const QDBusMessage &message)
    {
        const QVariantList arguments = message.arguments();
        if (arguments.size() < 2 || arguments.at(0).value<QDBusObjectPath>().path() != m_session)
            return;
        const QString id = arguments.at(1).toString();
        for (const Binding &bound : std::as_const(m_bound)) {
            if (bound.id == id && m_active.contains(bound.shortcut))
                perform(bound.shortcut);
        }
    }

    void onShortcutsChanged(const QDBusMessage &message)
    {
        const QVariantList arguments = message.arguments();
        if (arguments.size() < 2 || arguments.at(0).value<QDBusObjectPath>().path() != m_session)
            return;
        for (const PortalShortcut &changed : qdbus_cast<QList<PortalShortcut>>(arguments.at(1))) {
            for (Binding &bound : m_bound) {
                if (bound.id == changed.id)
                    bound.state = stateFor(changed);
            }
        }
        publish();
    }

    void onResponse(uint response, const QVariantMap &results, const QDBusMessage &message)
    {
        answer(message.path(), response, results);
    }

private:
    enum class State { Pending, Bound, NoKeys, Refused };
    struct Binding
    {
        QKeyCombination shortcut;
        QString id;
        QString description;
        QString trigger;
        State state = State::Pending;
        bool sameRequest(const Binding &other) const
        {
            return id == other.id && description == other.description && trigger == other.trigger;
        }
    };
    using Answer = std::function<void(uint response, const QVariantMap &results)>;

    static Registration registrationFor(State state)
    {
        switch (state) {
        case State::Pending:
        case State::Bound:
            return Registration::Registered;
        case State::NoKeys:
            return Registration::Taken;
        case State::Refused:
            break;
        }
        return Registration::Unavailable;
    }

    static State stateFor(const PortalShortcut &answered)
    {
        return answered.properties.value(QStringLiteral("trigger_description")).toString().isEmpty() ? State::NoKeys
                                                                                                     : State::Bound;
    }

    QList<Binding> wantedSet() const
    {
        QList<Binding> wanted;
        QSet<QString> ids;
        for (const NamedAction &action : namedActions()) {
            const QString trigger = triggerFor(action.shortcut);
            const QString id = action.id.isEmpty() ? trigger : action.id;
            if (trigger.isEmpty() || ids.contains(id))
                continue;
            ids.insert(id);
            wanted.append({ action.shortcut, id, action.description.isEmpty() ? id : action.description, trigger });
        }
        return wanted;
    }

    void sync()
    {
        if (m_busy) {
            m_dirty = true; // after the answer in flight
            return;
        }
        const QList<Binding> wanted = wantedSet();
        if (std::equal(wanted.begin(), wanted.end(), m_bound.begin(), m_bound.end(),
                [](const Binding &a, const Binding &b) { return a.sameRequest(b); }))
            return;
        m_bound = wanted;
        publish();
        m_busy = true;
        if (m_session.isEmpty()) {
            createSession();
            return;
        }
        // A session binds once: a new set needs a new session.
        auto *watcher = new QDBusPendingCallWatcher(bus().asyncCall(closeMessage()), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            watcher->deleteLater();
            m_session.clear();
            createSession();
        });
    }

    void createSession()
    {
        if (m_bound.isEmpty()) {
            finish();
            return;
        }
        request(QStringLiteral("CreateSession"), {}, { { QStringLiteral("session_handle_token"), kSessionToken } },
            [this](uint response, const QVariantMap &results) {
                const QVariant handle = results.value(QStringLiteral("session_handle"));
                // A string by the interface's definition; an object path in some.
                m_session = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
                    ? handle.value<QDBusObjectPath>().path()
                    : handle.toString();
                if (response != 0 || m_session.isEmpty()) {
                    qCWarning(lcPortalGlobalShortcuts) << "the desktop portal made no session, response" << response;
                    refuseAll();
                    return;
                }
                bind();
            });
    }

    void bind()
    {
        QList<PortalShortcut> shortcuts;
        for (const Binding &bound : std::as_const(m_bound))
            shortcuts.append({ bound.id,
                { { QStringLiteral("description"), bound.description },
                    { QStringLiteral("preferred_trigger"), bound.trigger } } });
        request(QStringLiteral("BindShortcuts"),
            { QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(shortcuts), QString() }, {},
            [this](uint response, const QVariantMap &results) {
                if (response != 0) {
                    qCWarning(lcPortalGlobalShortcuts)
                        << "the desktop did not bind the shortcuts, response" << response;
                    refuseAll();
                    return;
                }
                const auto answered = qdbus_cast<QList<PortalShortcut>>(results.value(QStringLiteral("shortcuts")));
                for (Binding &bound : m_bound) {
                    bound.state = State::Refused; // unless answered
                    for (const PortalShortcut &shortcut : answered) {
                        if (shortcut.id == bound.id)
                            bound.state = stateFor(shortcut);
                    }
                }
                qCInfo(lcPortalGlobalShortcuts)
                    << "the desktop bound" << answered.size() << "of" << m_bound.size() << "shortcuts";
                publish();
                finish();
            });
    }

    void refuseAll()
    {
        for (Binding &bound : m_bound)
            bound.state = State::Refused;
        publish();
        finish();
    }

    void finish()
    {
        m_busy = false;
        if (m_dirty) {
            m_dirty = false;
            sync();
        }
    }

    void publish()
    {
        for (const Binding &bound : std::as_const(m_bound))
            setRegistration(bound.shortcut, registrationFor(bound.state));
        Q_EMIT registrationsChanged();
    }

    static QDBusConnection bus() { return QDBusConnection::sessionBus(); }

    QDBusMessage closeMessage() const
    {
        return QDBusMessage::createMethodCall(
            kService, m_session, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close"));
    }

    // Calls a portal method that answers through a Request object. Its path
    // is known before the call, from our unique name and the handle token,
    // so the Response, which may come at once, is not missed.
    void request(const QString &method, QVariantList arguments, QVariantMap options, Answer onAnswer)
    {
        const QString token = QStringLiteral("tessly%1").arg(++m_requests);
        options.insert(QStringLiteral("handle_token"), token);
        arguments << options;
        const QString sender = bus().baseService().mid(1).replace(QLatin1Char('.'), QLatin1Char('_'));
        const QString path = QStringLiteral("%1/request/%2/%3").arg(kPath, sender, token);
        watch(path, std::move(onAnswer));
        QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, method);
        call.setArguments(arguments);
        auto *watcher = new QDBusPendingCallWatcher(bus().asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, path, method] {
            watcher->deleteLater();
            const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
            if (reply.isError()) {
                qCWarning(lcPortalGlobalShortcuts).noquote() << method << "failed:" << reply.error().message();
                answer(path, 2, {});
                return;
            }
            const QString handle = reply.value().path();
            if (handle != path && m_pending.contains(path)) // a portal that picks its own paths
                watch(handle, m_pending.take(path));
        });
    }

    void watch(const QString &path, Answer onAnswer)
    {
        m_pending.insert(path, std::move(onAnswer));
        bus().connect(kService, path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"),
            this, SLOT(onResponse(uint, QVariantMap, QDBusMessage)));
    }

    void answer(const QString &path, uint response, const QVariantMap &results)
    {
        const Answer onAnswer = m_pending.take(path);
        bus().disconnect(kService, path, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"),
            this, SLOT(onResponse(uint, QVariantMap, QDBusMessage)));
        if (onAnswer)
            onAnswer(response, results);
    }

    QTimer m_sync;
    QString m_session;
    QList<Binding> m_bound; // the set last sent to the desktop, in the order added
    QSet<QKeyCombination> m_active; // grabbed and not paused
    QHash<QString, Answer> m_pending; // by Request path
    int m_requests = 0;
    bool m_busy = false;
    bool m_dirty = false;
};

} // namespace

std::unique_ptr<GlobalShortcutMonitor> createPortalGlobalShortcutMonitor()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        qCInfo(lcPortalGlobalShortcuts) << "no session bus, so no desktop portal for global shortcuts";
        return nullptr;
    }
    QDBusMessage get = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << kInterface << QStringLiteral("version");
    // Starting the portal, when the bus has to, takes a moment.
    const QDBusMessage reply = bus.call(get, QDBus::Block, 10000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qCInfo(lcPortalGlobalShortcuts).noquote()
            << "the desktop portal offers no global shortcuts here:" << reply.errorMessage();
        return nullptr;
    }
    qCInfo(lcPortalGlobalShortcuts) << "global shortcuts through the desktop portal, version"
                                    << reply.arguments().value(0).value<QDBusVariant>().variant().toUInt();
    return std::make_unique<PortalGlobalShortcutMonitor>();
}

#include "globalshortcutmonitor_portal.moc"
