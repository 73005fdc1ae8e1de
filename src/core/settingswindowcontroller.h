#pragma once

#include "keyequivalent.h"
#include "shortcuttable.h"

#include <functional>
#include <QObject>
#include <QOperatingSystemVersion>
#include <QPointer>
#include <QStringList>
#include <QUrl>

class GlobalShortcutMonitor;

// What the settings window shows and does, without any widget: the "General"
// pane (account, profiles, start at login, show in taskbar, desktop icons,
// sound, multi-file mode, updates) and the "Shortcuts" pane (the five
// recorders of ShortcutTable). SettingsWindow shows it and forwards the
// user's input to the actions; changed() tells it to read everything again.
class SettingsWindowController : public QObject
{
    Q_OBJECT
public:
    explicit SettingsWindowController(QObject *parent = nullptr);
    ~SettingsWindowController() override;

    // ---- How it reaches the rest of the desktop (real ones unless replaced).
    using UrlOpener = std::function<void(const QUrl &)>;
    void setUrlOpener(UrlOpener opener) { m_openUrl = std::move(opener); }
    using AlertRunner = std::function<int(const QString &title, const QString &text, const QStringList &buttons)>;
    void setAlertRunner(AlertRunner runner) { m_runAlert = std::move(runner); }
    // Whether the application is listed in the taskbar now, and switching it;
    // by default the stored showDockIcon stands for the current state.
    void setTaskbarPresence(std::function<bool()> isShown, std::function<void(bool)> setShown);
    void setShortcutMonitor(GlobalShortcutMonitor *monitor);
    void setOperatingSystemVersion(const QOperatingSystemVersion &version) { m_system = version; }

    // ---- Panes.
    static const QStringList &toolbarAllowedItemIdentifiers(); // "toolbar.general", "toolbar.shortcuts"
    static QString toolbarItemLabel(const QString &identifier);
    // configureViews(), then the general pane.
    void windowDidLoad();
    void configureViews();
    void switchToPanelWithIdentifier(const QString &identifier);
    QString currentPane() const { return m_currentPane; }

    // ---- The general pane.
    QString bundleVersion() const;
    QString userEmail() const { return m_userEmail; }
    QStringList profiles() const { return m_profiles; }
    int selectedProfile() const;
    bool startAtLogin() const { return m_startAtLogin; }
    bool showDock() const;
    bool hideDesktopIcons() const;
    QStringList sounds() const { return m_sounds; }
    QString selectedSound() const;
    QStringList multiFileUploadModes() const;
    int multiFileUploadMode() const;
    QString updateStatus() const { return m_updateStatus; }
    QString updateButtonTitle() const;
    bool isCheckingForUpdates() const { return m_checking; }

    // ---- The shortcuts pane, one entry per row of ShortcutTable.
    struct Shortcut
    {
        QString title;
        KeyEquivalent key; // invalid when none is set; key.displayText() is "Alt+Shift+4"
        QString problem; // why it does not work: taken, unreadable, repeated
    };
    QList<Shortcut> shortcuts() const;
    // Why no shortcut works on this desktop; empty where they do.
    QString shortcutsUnavailableText() const;

    // ---- Actions.
    void setLaunchAtLogin(bool on);
    void setHideIcons(bool on);
    void toggleDockIcon();
    void setSelectedDomain(const QString &title);
    void logout();
    void newProfile();
    void setNotificationSound(const QString &title);
    void setMultiFileUploadMode(int index);
    // A recorder of ShortcutTable's row finished; an invalid shortcut clears
    // the row. False when the shortcut was refused (nothing stored).
    bool recorderControlDidEndRecording(int row, const KeyEquivalent &shortcut);
    // Asks the service for the latest client; once a newer one is known,
    // opens its download page instead.
    void checkForUpdates();

Q_SIGNALS:
    void changed();
    void closeRequested();

private:
    void openUrl(const QUrl &url) const;

    QString m_currentPane;
    QString m_userEmail;
    QStringList m_profiles;
    QStringList m_sounds;
    bool m_startAtLogin = false;
    bool m_checking = false;
    QString m_updateStatus;
    QUrl m_downloadUrl;
    UrlOpener m_openUrl;
    AlertRunner m_runAlert;
    std::function<bool()> m_isShownInTaskbar;
    std::function<void(bool)> m_setShownInTaskbar;
    QPointer<GlobalShortcutMonitor> m_monitor;
    QOperatingSystemVersion m_system = QOperatingSystemVersion::current();
};
