#include "settingswindowcontroller.h"

#include "api.h"
#include "config_defaults.h"
#include "dispatch.h"
#include "globalshortcutmonitor.h"
#include "keyequivalent.h"
#include "loginitem.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "serviceconfig.h"
#include "settingsstore.h"
#include "soundplayer.h"
#include "webpage.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPushButton>
#include <QVersionNumber>

Q_LOGGING_CATEGORY(lcSettingsWindowController, "tessly.core.settingswindowcontroller")

namespace {

const QString kGeneral = QStringLiteral("toolbar.general");
const QString kShortcuts = QStringLiteral("toolbar.shortcuts");
const QString kNeedsModifier = QStringLiteral("Add Ctrl, Alt or Super");

QString profileTitle(const QString &domain)
{
    return domain + QLatin1Char('.') + Config::webDomain();
}

// macOS 15.0 and 15.1 did not deliver global shortcuts whose only modifiers
// are Option (with or without Shift), so shortcuts recorded there needed
// Control or Command as well. No Linux system reports itself as one of those
// versions, so on Linux this is always false and every shortcut is taken.
bool optionNeedsControlOrCommand(const QOperatingSystemVersion &system, Qt::KeyboardModifiers modifiers)
{
    if (system.type() != QOperatingSystemVersion::MacOS)
        return false;
    if (system < QOperatingSystemVersion(QOperatingSystemVersion::MacOS, 15, 0)
        || system >= QOperatingSystemVersion(QOperatingSystemVersion::MacOS, 15, 2))
        return false;
    return (modifiers & Qt::AltModifier) && !(modifiers & (Qt::ControlModifier | Qt::MetaModifier));
}

} // namespace

SettingsWindowController::SettingsWindowController(QObject *parent)
    : QObject(parent)
    , m_currentPane(kGeneral)
{
    setShortcutMonitor(&GlobalShortcutMonitor::sharedMonitor());
}

SettingsWindowController::~SettingsWindowController() = default;

void SettingsWindowController::setTaskbarPresence(std::function<bool()> isShown, std::function<void(bool)> setShown)
{
    m_isShownInTaskbar = std::move(isShown);
    m_setShownInTaskbar = std::move(setShown);
}

void SettingsWindowController::setShortcutMonitor(GlobalShortcutMonitor *monitor)
{
    if (m_monitor)
        disconnect(m_monitor, nullptr, this, nullptr);
    m_monitor = monitor;
    if (m_monitor)
        connect(m_monitor, &GlobalShortcutMonitor::registrationsChanged, this, &SettingsWindowController::changed);
}

const QStringList &SettingsWindowController::toolbarAllowedItemIdentifiers()
{
    static const QStringList identifiers { kGeneral, kShortcuts };
    return identifiers;
}

QString SettingsWindowController::toolbarItemLabel(const QString &identifier)
{
    return identifier == kShortcuts ? QStringLiteral("Shortcuts") : QStringLiteral("General");
}

void SettingsWindowController::windowDidLoad()
{
    configureViews();
    switchToPanelWithIdentifier(kGeneral);
}

void SettingsWindowController::switchToPanelWithIdentifier(const QString &identifier)
{
    m_currentPane = identifier == kShortcuts ? kShortcuts : kGeneral;
    Q_EMIT changed();
}

void SettingsWindowController::configureViews()
{
    QPointer<SettingsWindowController> self(this);
    API::instance().getMe([self](bool success, const QVariant &result, const Error &error) {
        Dispatch::main([self, success, result, error] {
            if (!self)
                return;
            if (!success) {
                qCWarning(lcSettingsWindowController).noquote()
                    << "The account could not be read:" << error.localizedDescription;
                return;
            }
            const QVariantMap me = result.toMap();
            self->m_userEmail = me.value(QStringLiteral("email")).toString();
            self->m_profiles.clear();
            for (const QVariant &profile : me.value(QStringLiteral("profiles")).toList())
                self->m_profiles << profileTitle(profile.toMap().value(QStringLiteral("domain")).toString());
            Q_EMIT self->changed();
        });
    });
    qCInfo(lcSettingsWindowController).noquote() << QStringLiteral(":[SettingsStore instance].uploadFileHotkey %1")
                                                        .arg(SettingsStore::instance().uploadFileHotkey());
    m_startAtLogin = LoginItem::isEnabled();

    m_sounds = QStringList { QStringLiteral("None"), QStringLiteral("Purr") } + SoundPlayer::themeSoundNames();
    const QString stored = SettingsStore::instance().sound();
    if (!m_sounds.contains(stored))
        m_sounds.insert(2, stored);
    Q_EMIT changed();
}

QString SettingsWindowController::bundleVersion() const
{
    return QStringLiteral("Verison %1 (%2)").arg(QStringLiteral(TESSLY_VERSION), QStringLiteral(TESSLY_BUILD_NUMBER));
}

int SettingsWindowController::selectedProfile() const
{
    return m_profiles.indexOf(profileTitle(SettingsStore::instance().domain()));
}

bool SettingsWindowController::showDock() const
{
    return m_isShownInTaskbar ? m_isShownInTaskbar() : SettingsStore::instance().showDockIcon();
}

bool SettingsWindowController::hideDesktopIcons() const
{
    return SettingsStore::instance().hideDesktopIcons();
}

QString SettingsWindowController::selectedSound() const
{
    return SettingsStore::instance().sound();
}

QStringList SettingsWindowController::multiFileUploadModes() const
{
    return { QStringLiteral("Zip"), QStringLiteral("Folder") };
}

int SettingsWindowController::multiFileUploadMode() const
{
    return SettingsStore::instance().multiFileUploadAsFolder() ? 1 : 0;
}

QString SettingsWindowController::updateButtonTitle() const
{
    return m_downloadUrl.isValid() ? QStringLiteral("Open Download Page") : QStringLiteral("Check for Updates");
}

QList<SettingsWindowController::Shortcut> SettingsWindowController::shortcuts() const
{
    using Registration = GlobalShortcutMonitor::Registration;
    QList<Shortcut> result;
    QList<QKeyCombination> earlier;
    for (const ShortcutTable::Row &row : ShortcutTable::rows()) {
        const std::optional<QString> stored = ShortcutTable::storedString(row);
        const KeyEquivalent key = KeyEquivalent::fromString(stored.value_or(QString()));
        Shortcut shortcut { QString::fromUtf8(row.title), key, {} };
        if (stored && !key.isValid()) {
            shortcut.problem = QStringLiteral("“%1” is not a shortcut").arg(*stored);
        } else if (key.isValid() && !ShortcutTable::isGlobalShortcut(key)) {
            shortcut.problem = kNeedsModifier;
        } else if (key.isValid() && row.action && earlier.contains(key.keyCombination())) {
            shortcut.problem = QStringLiteral("Already used above");
        } else if (key.isValid() && row.action && m_monitor) {
            const Registration registration = m_monitor->registration(key.keyCombination());
            if (registration == Registration::Taken)
                shortcut.problem = QStringLiteral("Taken by another program");
            else if (registration == Registration::Invalid)
                shortcut.problem = QStringLiteral("No key of this keyboard layout makes it");
            else if (registration == Registration::SameKey)
                shortcut.problem = QStringLiteral("On the same key as a shortcut above");
        }
        if (key.isValid() && row.action)
            earlier << key.keyCombination();
        result << shortcut;
    }
    return result;
}

QString SettingsWindowController::shortcutsUnavailableText() const
{
    return m_monitor ? m_monitor->unavailableReason() : QString();
}

void SettingsWindowController::setLaunchAtLogin(bool on)
{
    QString error;
    if (on && !LoginItem::registerItem(&error))
        qCWarning(lcSettingsWindowController).noquote() << QStringLiteral("Got error on reg %1").arg(error);
    if (!on && !LoginItem::unregisterItem(&error))
        qCWarning(lcSettingsWindowController).noquote() << QStringLiteral("Got error on unregister %1").arg(error);
    m_startAtLogin = on; // the check box keeps the user's click
    Q_EMIT changed();
}

void SettingsWindowController::setHideIcons(bool on)
{
    SettingsStore::instance().setHideDesktopIcons(on);
    Q_EMIT changed();
}

void SettingsWindowController::toggleDockIcon()
{
    // By what the application is now, not by the check box or the setting.
    const bool show = !showDock();
    SettingsStore::instance().setShowDockIcon(show);
    if (m_setShownInTaskbar)
        m_setShownInTaskbar(show);
    Q_EMIT changed();
}

void SettingsWindowController::setSelectedDomain(const QString &title)
{
    qCInfo(lcSettingsWindowController).noquote() << QStringLiteral("Sender %1").arg(title);
    const QString suffix = QLatin1Char('.') + Config::webDomain();
    SettingsStore::instance().setDomain(title.endsWith(suffix) ? title.chopped(suffix.size()) : title);
    Q_EMIT changed();
}

void SettingsWindowController::logout()
{
    SettingsStore::instance().setToken(QString());
    SettingsStore::instance().setDomain(QString());
    Q_EMIT closeRequested();
}

void SettingsWindowController::newProfile()
{
    openUrl(WebPage::url(QStringLiteral("/get-started")));
}

void SettingsWindowController::setNotificationSound(const QString &title)
{
    qCInfo(lcSettingsWindowController).noquote() << QStringLiteral("Sender %1").arg(title);
    SoundPlayer::instance().playNamed(title);
    SettingsStore::instance().setSound(title);
    Q_EMIT changed();
}

void SettingsWindowController::setMultiFileUploadMode(int index)
{
    SettingsStore::instance().setMultiFileUploadAsFolder(index == 1);
    Q_EMIT changed();
}

bool SettingsWindowController::recorderControlDidEndRecording(int row, const KeyEquivalent &shortcut)
{
    if (row < 0 || row >= int(ShortcutTable::rows().size()))
        return false;
    if (shortcut.isValid() && !ShortcutTable::isGlobalShortcut(shortcut)) {
        // The recorder keeps listening for these; nothing else records here.
        qCWarning(lcSettingsWindowController).noquote()
            << QStringLiteral("Not setting %1: a global shortcut needs Ctrl, Alt or Super").arg(shortcut.toString());
        Q_EMIT changed();
        return false;
    }
    if (shortcut.isValid() && optionNeedsControlOrCommand(m_system, shortcut.modifiers())) {
        const QStringList buttons { QStringLiteral("OK"), QStringLiteral("Learn More") };
        const QString title = QStringLiteral("Shortcut Requirements");
        const QString text = QStringLiteral(
            "Your shortcut must contain either the Control or Command key in addition to the Option key.");
        int chosen = 0;
        if (m_runAlert) {
            chosen = m_runAlert(title, text, buttons);
        } else {
            QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::NoButton);
            box.addButton(buttons[0], QMessageBox::AcceptRole);
            QPushButton *learnMore = box.addButton(buttons[1], QMessageBox::HelpRole);
            box.exec();
            chosen = box.clickedButton() == learnMore ? 1 : 0;
        }
        if (chosen == 1)
            openUrl(Config::shortcutsHelpUrl());
        Q_EMIT changed(); // the recorder shows the stored value again
        return false;
    }
    const ShortcutTable::Row &target = ShortcutTable::rows()[std::size_t(row)];
    const QString name = QString::fromLatin1(target.recorder);
    const QString stored = shortcut.toString();
    if (name == QLatin1String("uploadClipboard") || name == QLatin1String("recordScreen"))
        qCInfo(lcSettingsWindowController).noquote() << QStringLiteral("Setting %1 %2").arg(name, stored);
    else
        qCInfo(lcSettingsWindowController).noquote() << QStringLiteral("Setting %1").arg(stored);
    (SettingsStore::instance().*target.store)(stored);
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::ShortcutUpdatedNotification));
    Q_EMIT changed();
    return true;
}

void SettingsWindowController::checkForUpdates()
{
    if (m_downloadUrl.isValid()) {
        openUrl(m_downloadUrl);
        return;
    }
    if (m_checking)
        return;
    m_checking = true;
    m_updateStatus = QStringLiteral("Checking for updates…");
    Q_EMIT changed();
    QPointer<SettingsWindowController> self(this);
    API &api = API::instance();
    api.sendRequest(api.requestForEndpoint(QStringLiteral("/v1/client/latest"), QStringLiteral("GET")),
        [self](bool success, const QVariant &result, const Error &error) {
            Dispatch::main([self, success, result, error] {
                if (!self)
                    return;
                self->m_checking = false;
                const QVariantMap answer = result.toMap();
                const QVersionNumber latest
                    = QVersionNumber::fromString(answer.value(QStringLiteral("version")).toString());
                const QUrl download(answer.value(QStringLiteral("downloadUrl")).toString());
                if (!success || latest.isNull()) {
                    qCWarning(lcSettingsWindowController).noquote()
                        << "Update check failed:" << error.localizedDescription << result;
                    self->m_updateStatus = QStringLiteral("The update check failed. Try again later.");
                } else if (latest > QVersionNumber::fromString(QStringLiteral(TESSLY_VERSION))) {
                    const bool page = download.isValid() && !download.host().isEmpty()
                        && (download.scheme() == QLatin1String("https") || download.scheme() == QLatin1String("http"));
                    if (page) {
                        self->m_updateStatus = QStringLiteral("Tessly Cloud %1 is available.").arg(latest.toString());
                        self->m_downloadUrl = download;
                    } else {
                        // Not the address itself: it may carry a signature.
                        qCWarning(lcSettingsWindowController).noquote()
                            << "The service offers version" << latest.toString() << "without a usable download page";
                        self->m_updateStatus = QStringLiteral(
                            "Tessly Cloud %1 has been released, but the download page is not available.")
                                                   .arg(latest.toString());
                    }
                } else {
                    self->m_updateStatus = QStringLiteral("Tessly Cloud is up to date.");
                }
                Q_EMIT self->changed();
            });
        });
}

void SettingsWindowController::openUrl(const QUrl &url) const
{
    if (m_openUrl)
        m_openUrl(url);
    else
        QDesktopServices::openUrl(url);
}
