#include "settingsstore.h"

#include <algorithm>

#include "defaultskeys.h"
#include "logging.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMutexLocker>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>
#include <QUuid>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcSettingsStore, "tessly.common.settingsstore")

namespace {

constexpr QFileDevice::Permissions kOwnerOnly = QFileDevice::ReadOwner | QFileDevice::WriteOwner;

// The red the markup editor falls back to: the vivid red of the desktop's
// accent palettes (the same hue GNOME's and macOS's "red" use), so a fresh
// install draws in the colour users expect of annotations.
const QColor kSystemRed(255, 59, 48);

// Colours are stored as data: a class tag followed by the colour in
// QDataStream form. The tag plays the part of a keyed archive's class name,
// so data of another kind is told apart from a colour, not misread as one.
const QString kColorClass = QStringLiteral("QColor");
constexpr QDataStream::Version kColorStreamVersion = QDataStream::Qt_6_4;

QMutex s_sinkMutex;
SettingsStore::TokenSink s_tokenSink;

// The keyring, and the token last read from it with the stamp it had then.
QMutex s_vaultMutex;
SettingsStore::TokenVault s_vault;
QString s_vaultStamp;
QString s_vaultToken;

bool onMainThread()
{
    return QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread();
}

QByteArray archiveColor(const QColor &color)
{
    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    stream.setVersion(kColorStreamVersion);
    stream << kColorClass << color;
    return data;
}

QColor unarchiveColor(const QByteArray &data)
{
    if (data.isEmpty())
        return {};
    QDataStream stream(data);
    stream.setVersion(kColorStreamVersion);
    QString cls;
    stream >> cls;
    if (stream.status() != QDataStream::Ok || cls != kColorClass)
        return {};
    QColor color;
    stream >> color;
    if (stream.status() != QDataStream::Ok || !stream.atEnd() || !color.isValid())
        return {};
    return color;
}

// Qt 6 no longer calls a variant holding a null string null: check by type.
bool isNullValue(const QVariant &value)
{
    if (!value.isValid() || value.isNull())
        return true;
    if (value.typeId() == QMetaType::QString)
        return value.toString().isNull();
    if (value.typeId() == QMetaType::QByteArray)
        return value.toByteArray().isNull();
    return false;
}

} // namespace

SettingsStore &SettingsStore::instance()
{
    // Function-local statics are initialised once, and concurrent first
    // callers block until it is done: the defaults are seeded before anyone
    // gets the store.
    static SettingsStore *const store = [] {
        auto *s = new SettingsStore;
        s->setInitialDefaults();
        return s;
    }();
    return *store;
}

QString SettingsStore::filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/tessly/tessly.ini");
}

SettingsStore::SettingsStore()
    : m_path(filePath())
{
}

void SettingsStore::setInitialDefaults()
{
    if (boolForKey(QString::fromLatin1(DefaultsKeys::HasRunBefore)))
        return;
    setMarkupHotkey(QStringLiteral("⌥⇧3"));
    setClipboardHotKey(QStringLiteral("⌥⇧V"));
    setUploadFileHotkey(QStringLiteral("⌥C"));
    setScreenshotHotkey(QStringLiteral("⌥⇧4"));
    setRecordScreenHotKey(QStringLiteral("⌥⇧R"));
    setBool(true, QString::fromLatin1(DefaultsKeys::HasRunBefore));
    setBool(true, QString::fromLatin1(DefaultsKeys::MultiFileUploadAsFolder));
}

void SettingsStore::withSettings(bool write, const std::function<void(QSettings &)> &fn) const
{
    QMutexLocker lock(&m_mutex);
    if (write) {
        // The file holds the token: create it owner-only before Qt writes the
        // first byte (Qt's atomic save keeps the mode of the file it replaces),
        // and the folder owner-only too.
        const QString dir = QFileInfo(m_path).absolutePath();
        if (!QFileInfo::exists(dir)) {
            QDir().mkpath(dir);
            QFile::setPermissions(dir, kOwnerOnly | QFileDevice::ExeOwner);
        }
        if (!QFileInfo::exists(m_path)) {
            const int fd = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (fd >= 0)
                ::close(fd);
        }
    }
    QSettings settings(m_path, QSettings::IniFormat);
    settings.sync(); // pick up what other processes wrote since
    fn(settings);
    if (write) {
        settings.sync();
        if (settings.status() != QSettings::NoError)
            qCWarning(lcSettingsStore).noquote() << "Could not write the settings file" << m_path;
        QFile::setPermissions(m_path, kOwnerOnly);
    }
}

// Generic typed access.

QVariant SettingsStore::objectForKey(const QString &key) const
{
    QVariant value;
    withSettings(false, [&](QSettings &s) { value = s.value(key); });
    return value;
}

QString SettingsStore::stringForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    switch (value.typeId()) {
    case QMetaType::QString:
        return value.toString();
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return value.toString();
    default:
        return {};
    }
}

bool SettingsStore::boolForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    if (value.typeId() == QMetaType::QString) {
        // INI keeps everything as text: "true"/"false" as written by us,
        // "yes" or a non-zero number as a person might write by hand.
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0
            || text.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0)
            return true;
        bool ok = false;
        const qlonglong number = text.toLongLong(&ok);
        return ok && number != 0;
    }
    if (value.canConvert<qlonglong>() && value.typeId() != QMetaType::QByteArray)
        return value.toLongLong() != 0;
    return false;
}

qint64 SettingsStore::integerForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed();
        if (text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return 1;
        bool ok = false;
        const qlonglong number = text.toLongLong(&ok);
        if (ok)
            return number;
        const double real = text.toDouble(&ok);
        return ok ? qint64(real) : 0;
    }
    if (value.typeId() == QMetaType::QByteArray)
        return 0;
    return value.toLongLong();
}

QByteArray SettingsStore::dataForKey(const QString &key) const
{
    const QVariant value = objectForKey(key);
    return value.typeId() == QMetaType::QByteArray ? value.toByteArray() : QByteArray();
}

QColor SettingsStore::colorForKey(const QString &key) const
{
    return unarchiveColor(dataForKey(key));
}

void SettingsStore::setObject(const QVariant &value, const QString &key)
{
    if (isNullValue(value)) {
        removeObject(key);
        return;
    }
    storeValue(key, value);
}

void SettingsStore::setBool(bool value, const QString &key)
{
    storeValue(key, value);
}

void SettingsStore::setInteger(qint64 value, const QString &key)
{
    storeValue(key, value);
}

void SettingsStore::storeValue(const QString &key, const QVariant &value)
{
    // A write replaces the whole file (about a millisecond and a half), so a
    // value that is already there is not written again: the dashboard sets
    // its tab on every opening.
    const QVariant stored = objectForKey(key);
    const bool scalar = value.typeId() == QMetaType::Bool || value.typeId() == QMetaType::Int
        || value.typeId() == QMetaType::LongLong;
    // The file keeps numbers and switches as text.
    if (stored == value || (scalar && stored.typeId() == QMetaType::QString && stored.toString() == value.toString()))
        return;
    withSettings(true, [&](QSettings &s) { s.setValue(key, value); });
}

void SettingsStore::setColor(const QColor &color, const QString &key)
{
    if (!color.isValid()) {
        removeObject(key);
        return;
    }
    setObject(archiveColor(color), key);
}

void SettingsStore::removeObject(const QString &key)
{
    withSettings(true, [&](QSettings &s) { s.remove(key); });
}

// Sign-in.

void SettingsStore::setTokenSink(TokenSink sink)
{
    QMutexLocker lock(&s_sinkMutex);
    s_tokenSink = std::move(sink);
}

QString SettingsStore::token() const
{
    const QString token = storedToken();
    qCInfo(lcSettingsStore).noquote()
        << QStringLiteral("token %1").arg(token.isNull() ? QStringLiteral("(null)") : Logging::maskSecret(token));
    return token;
}

QString SettingsStore::storedToken() const
{
    const QString stamp = stringForKey(QString::fromLatin1(DefaultsKeys::TokenInKeyring));
    TokenVault vault;
    {
        QMutexLocker lock(&s_vaultMutex);
        if (stamp.isNull() || !s_vault.read)
            return stringForKey(QString::fromLatin1(DefaultsKeys::Token));
        // The keyring is asked again only when a write changed the stamp, and
        // only on the main thread, where its answers are delivered.
        if (stamp == s_vaultStamp || !onMainThread())
            return s_vaultToken;
        vault = s_vault;
    }
    // Not under the lock: the keyring's answer comes through the event loop,
    // which may run code that asks for the token too.
    const std::optional<QString> read = vault.read();
    if (!read)
        return {};
    QMutexLocker lock(&s_vaultMutex);
    s_vaultToken = read->isEmpty() ? QString() : *read;
    s_vaultStamp = stamp;
    return s_vaultToken;
}

void SettingsStore::setToken(const QString &token)
{
    const QString key = QString::fromLatin1(DefaultsKeys::Token);
    const QString stampKey = QString::fromLatin1(DefaultsKeys::TokenInKeyring);
    if (!token.isNull() && !isValidToken(token)) {
        qCWarning(lcSettingsStore) << "Refusing a token that is not printable ASCII";
        return;
    }
    TokenVault vault;
    {
        QMutexLocker lock(&s_vaultMutex);
        if (onMainThread())
            vault = s_vault;
    }
    if (vault.write && vault.write(token) && !token.isNull()) {
        const QString stamp = QUuid::createUuid().toString(QUuid::WithoutBraces);
        {
            QMutexLocker lock(&s_vaultMutex);
            s_vaultStamp = stamp;
            s_vaultToken = token;
        }
        setObject(stamp, stampKey);
        removeObject(key);
    } else {
        // No keyring, or it failed: the owner-only file keeps it.
        removeObject(stampKey);
        if (token.isNull())
            removeObject(key);
        else
            setObject(token, key);
    }
    // Signing out deliberately leaves the API client's copy alone: whoever
    // logs out decides whether the client forgets it too.
    if (token.isNull())
        return;
    TokenSink sink;
    {
        QMutexLocker lock(&s_sinkMutex);
        sink = s_tokenSink;
    }
    if (sink)
        sink(token);
}

void SettingsStore::setTokenVault(TokenVault vault)
{
    {
        QMutexLocker lock(&s_vaultMutex);
        s_vault = std::move(vault);
        s_vaultStamp.clear();
        s_vaultToken.clear();
    }
    SettingsStore &store = instance();
    const QString inFile = store.stringForKey(QString::fromLatin1(DefaultsKeys::Token));
    if (inFile.isNull())
        return;
    store.setToken(inFile);
    if (!store.stringForKey(QString::fromLatin1(DefaultsKeys::TokenInKeyring)).isNull())
        qCInfo(lcSettingsStore).noquote() << "Moved the token from the settings file into the keyring";
}

bool SettingsStore::isValidToken(const QString &token)
{
    return !token.isEmpty()
        && std::all_of(token.begin(), token.end(), [](QChar c) { return c.unicode() > 0x20 && c.unicode() < 0x7f; });
}

QString SettingsStore::domain() const
{
    const QVariant value = objectForKey(QString::fromLatin1(DefaultsKeys::Domain));
    return value.isValid() && value.typeId() != QMetaType::QByteArray ? value.toString() : QString();
}

void SettingsStore::setDomain(const QString &domain)
{
    setObject(domain, QString::fromLatin1(DefaultsKeys::Domain));
}

QString SettingsStore::sound() const
{
    const QString stored = stringForKey(QString::fromLatin1(DefaultsKeys::Sound));
    return stored.isNull() ? QStringLiteral("Purr") : stored;
}

void SettingsStore::setSound(const QString &sound)
{
    setObject(sound, QString::fromLatin1(DefaultsKeys::Sound));
}

// Shortcuts.

QString SettingsStore::uploadFileHotkey() const
{
    return stringForKey(QString::fromLatin1(DefaultsKeys::UploadFileHotkey));
}
void SettingsStore::setUploadFileHotkey(const QString &shortcut)
{
    setObject(shortcut, QString::fromLatin1(DefaultsKeys::UploadFileHotkey));
}
QString SettingsStore::screenshotHotkey() const
{
    return stringForKey(QString::fromLatin1(DefaultsKeys::ScreenshotHotkey));
}
void SettingsStore::setScreenshotHotkey(const QString &shortcut)
{
    setObject(shortcut, QString::fromLatin1(DefaultsKeys::ScreenshotHotkey));
}
QString SettingsStore::markupHotkey() const
{
    return stringForKey(QString::fromLatin1(DefaultsKeys::MarkupHotkey));
}
void SettingsStore::setMarkupHotkey(const QString &shortcut)
{
    setObject(shortcut, QString::fromLatin1(DefaultsKeys::MarkupHotkey));
}
QString SettingsStore::clipboardHotKey() const
{
    return stringForKey(QString::fromLatin1(DefaultsKeys::ClipboardHotKey));
}
void SettingsStore::setClipboardHotKey(const QString &shortcut)
{
    setObject(shortcut, QString::fromLatin1(DefaultsKeys::ClipboardHotKey));
}
QString SettingsStore::recordScreenHotKey() const
{
    return stringForKey(QString::fromLatin1(DefaultsKeys::RecordScreenHotKey));
}
void SettingsStore::setRecordScreenHotKey(const QString &shortcut)
{
    setObject(shortcut, QString::fromLatin1(DefaultsKeys::RecordScreenHotKey));
}

// Switches and the menu segment.

bool SettingsStore::showDockIcon() const
{
    return boolForKey(QString::fromLatin1(DefaultsKeys::ShowDockIcon));
}
void SettingsStore::setShowDockIcon(bool show)
{
    setBool(show, QString::fromLatin1(DefaultsKeys::ShowDockIcon));
}
bool SettingsStore::hideDesktopIcons() const
{
    return boolForKey(QString::fromLatin1(DefaultsKeys::HideDesktopIcons));
}
void SettingsStore::setHideDesktopIcons(bool hide)
{
    setBool(hide, QString::fromLatin1(DefaultsKeys::HideDesktopIcons));
}
bool SettingsStore::multiFileUploadAsFolder() const
{
    return boolForKey(QString::fromLatin1(DefaultsKeys::MultiFileUploadAsFolder));
}
void SettingsStore::setMultiFileUploadAsFolder(bool asFolder)
{
    setBool(asFolder, QString::fromLatin1(DefaultsKeys::MultiFileUploadAsFolder));
}
int SettingsStore::selectedMenuSegment() const
{
    return int(integerForKey(QString::fromLatin1(DefaultsKeys::SelectedMenuSegment)));
}
void SettingsStore::setSelectedMenuSegment(int segment)
{
    setInteger(segment, QString::fromLatin1(DefaultsKeys::SelectedMenuSegment));
}

// Markup colour.

QColor SettingsStore::lineColor() const
{
    const QColor color = colorForKey(QString::fromLatin1(DefaultsKeys::LineColor));
    return color.isValid() ? color : kSystemRed;
}

void SettingsStore::setLineColor(const QColor &color)
{
    setColor(color, QString::fromLatin1(DefaultsKeys::LineColor));
}
