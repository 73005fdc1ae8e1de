#pragma once

#include <functional>
#include <memory>
#include <QKeyCombination>
#include <QList>
#include <QObject>
#include <QString>

// System-wide keyboard shortcuts: a handler runs when its key combination
// goes down, whichever window has the keyboard focus.
//
// sharedMonitor() picks the backend once per process: X11 grabs the keys on
// the root window of the Qt application's display; a Wayland session uses the
// desktop portal's GlobalShortcuts where the desktop offers it; elsewhere (a
// desktop without it, no display, TESSLY_PLATFORM_BACKEND=null) the null
// backend registers nothing and says why in unavailableReason();
// TESSLY_PLATFORM_BACKEND=wayland acts as in a Wayland session. Everything
// runs on the GUI thread.
//
// The portal binds the whole set at once and answers later, possibly after
// asking the user: addAction() there says Registered while the answer is
// pending; when it comes, a refused set turns Unavailable (and
// unavailableReason() says so), a shortcut the desktop gave no keys turns
// Taken, and registrationsChanged() is emitted.
class GlobalShortcutMonitor : public QObject
{
    Q_OBJECT
public:
    enum class Registration {
        Registered, // the handler runs on key-down
        Taken, // another program holds the combination
        Unavailable, // the desktop offers no global shortcuts to us
        Invalid, // no key of the keyboard's layout makes it
        SameKey, // an earlier combination lands on the same key and modifiers ("Alt+Shift+$", "Alt+Shift+4")
    };
    Q_ENUM(Registration)

    static GlobalShortcutMonitor &sharedMonitor();
    static std::unique_ptr<GlobalShortcutMonitor> create(const QString &backend);

    virtual QString backendName() const = 0;
    // A sentence for the user when shortcuts cannot work here, else empty.
    virtual QString unavailableReason() const { return {}; }
    // The key a physical key (its native scan code) types without modifiers
    // in the current layout, for recording Shift+4 as "4" rather than "$";
    // Qt::Key_unknown when the backend cannot tell.
    virtual Qt::Key unshiftedKey(quint32 nativeScanCode) const
    {
        Q_UNUSED(nativeScanCode);
        return Qt::Key_unknown;
    }

    // Adds a handler for the combination's key-down; it runs queued on the
    // GUI thread, never inside the event that announced the key. The id
    // (the same whatever the combination) and the description name the
    // action where the desktop lists an application's shortcuts.
    Registration addAction(QKeyCombination shortcut, std::function<void()> handler, const QString &id = {},
        const QString &description = {});
    void removeAllActions();

    // While paused no combination is held, so a shortcut recorder sees
    // every key, also the ones registered here.
    void setPaused(bool paused);

    // What addAction() achieved for a combination, kept up to date when the
    // keyboard's layout changes; Unavailable for one that was never added.
    Registration registration(QKeyCombination shortcut) const;

Q_SIGNALS:
    // An action's combination went down (emitted before its handler runs).
    void activated(QKeyCombination shortcut);
    // The registered set or one of its registrations changed.
    void registrationsChanged();

protected:
    virtual Registration grab(QKeyCombination shortcut) = 0;
    virtual void ungrab(QKeyCombination shortcut) = 0;

    // For backends: a registered combination went down.
    void perform(QKeyCombination shortcut);
    // For backends: the keyboard's mapping or layout changed; every action
    // is grabbed again.
    void regrabAll();

    struct NamedAction
    {
        QKeyCombination shortcut;
        QString id;
        QString description;
    };
    // For backends: the actions in the order they were added, paused or not.
    QList<NamedAction> namedActions() const;
    // For backends that learn later what became of a combination; the
    // caller emits registrationsChanged() once it has set them all.
    void setRegistration(QKeyCombination shortcut, Registration registration);

private:
    struct Action
    {
        QKeyCombination shortcut;
        std::function<void()> handler;
        Registration registration;
        QString id;
        QString description;
    };
    QList<Action> m_actions;
    bool m_paused = false;
};
