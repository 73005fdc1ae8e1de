#pragma once

#include <QByteArray>
#include <QColor>
#include <QMutex>
#include <QString>
#include <QVariant>

#include <functional>
#include <optional>

class QSettings;

// The user's preferences and the sign-in state, kept in one INI file:
// $XDG_CONFIG_HOME/tessly/tessly.ini, mode 0600 because it holds the token.
//
// The store keeps nothing in memory of its own. Every read re-syncs the file
// first, so a value written by another process (a second `tessly`, the command
// line) is seen at once; every write reaches the disk before the setter
// returns. All members are safe to call from any thread.
//
// "No value" is a null QString (or an invalid QColor): string setters given a
// null string remove the key, so the getter reads its fallback again.
// Boolean and integer setters always write.
class SettingsStore
{
public:
    // The process-wide store. The first call creates it and seeds the
    // first-run defaults before any caller sees it; concurrent first callers
    // wait and get the same object.
    static SettingsStore &instance();

    SettingsStore(const SettingsStore &) = delete;
    SettingsStore &operator=(const SettingsStore &) = delete;

    // The file behind the store.
    static QString filePath();

    // Sign-in. Reading the token logs "token <first four characters>…" every
    // time; the token itself never reaches the log.
    QString token() const;
    // A token that is not isValidToken() is refused (logged, not stored):
    // it would end up inside an HTTP header.
    void setToken(const QString &token);
    // Non-empty and printable ASCII without spaces (0x21 to 0x7E): what can
    // stand in "Authorization: Bearer <token>" as it is.
    static bool isValidToken(const QString &token);
    QString domain() const;
    void setDomain(const QString &domain);

    // Sound played when a link is copied: "Purr" when unset. "None" means
    // silence; the player decides that, not the store.
    QString sound() const;
    void setSound(const QString &sound);

    // Shortcuts, stored as the modifier glyphs ⌃⌥⇧⌘ (in that order) followed by
    // the key, e.g. "⌥⇧4". A null string means "no shortcut". Note the capital
    // K of clipboardHotKey and recordScreenHotKey.
    QString uploadFileHotkey() const;
    void setUploadFileHotkey(const QString &shortcut);
    QString screenshotHotkey() const;
    void setScreenshotHotkey(const QString &shortcut);
    QString markupHotkey() const;
    void setMarkupHotkey(const QString &shortcut);
    QString clipboardHotKey() const;
    void setClipboardHotKey(const QString &shortcut);
    QString recordScreenHotKey() const;
    void setRecordScreenHotKey(const QString &shortcut);

    bool showDockIcon() const;
    void setShowDockIcon(bool show);
    bool hideDesktopIcons() const;
    void setHideDesktopIcons(bool hide);
    bool multiFileUploadAsFolder() const;
    void setMultiFileUploadAsFolder(bool asFolder);
    int selectedMenuSegment() const;
    void setSelectedMenuSegment(int segment);

    // Markup line colour; the desktop's red, QColor(255, 59, 48), when nothing
    // usable is stored (missing key, data of another type, corrupt data).
    QColor lineColor() const;
    void setLineColor(const QColor &color);

    // Typed access for the keys other parts own (see defaultskeys.h). A key
    // that is absent, or holds a value of another type, reads as the type's
    // empty value: null string, false, 0, null byte array, invalid colour.
    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    QByteArray dataForKey(const QString &key) const;
    QColor colorForKey(const QString &key) const;

    // A null QVariant (or null string, or null byte array) removes the key.
    void setObject(const QVariant &value, const QString &key);
    void setBool(bool value, const QString &key);
    void setInteger(qint64 value, const QString &key);
    void setColor(const QColor &color, const QString &key); // invalid colour removes the key
    void removeObject(const QString &key);

    // The API client keeps its own copy of the token for its requests. It
    // lives in the upload layer, which this layer may not depend on, so the
    // client installs a sink here when it is created and setToken() hands
    // each non-null token to it. Pass an empty function to uninstall.
    using TokenSink = std::function<void(const QString &)>;
    static void setTokenSink(TokenSink sink);

    // Where the token is kept instead of the file when the desktop runs a
    // keyring; the platform layer installs it at start, on the main thread.
    // `read` gives nothing when the keyring could not be asked, "" when it
    // holds no token; `write` stores a token, or removes it for a null one.
    // The file then records only a stamp that changes with every token
    // written, so that each process sees another's sign-in.
    struct TokenVault
    {
        std::function<std::optional<QString>()> read;
        std::function<bool(const QString &)> write;
    };
    // Moves a token still in the file into the vault.
    static void setTokenVault(TokenVault vault);

private:
    SettingsStore();
    void setInitialDefaults();
    QString storedToken() const;

    // Runs fn on a freshly synced view of the file; with `write`, syncs the
    // change to disk and restores mode 0600 afterwards.
    void withSettings(bool write, const std::function<void(QSettings &)> &fn) const;
    void storeValue(const QString &key, const QVariant &value);

    const QString m_path;
    mutable QMutex m_mutex;
};
