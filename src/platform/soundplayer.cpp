#include "soundplayer.h"

#include <QDir>
#include <QHash>
#include <QLoggingCategory>
#include <QSet>
#include <QStandardPaths>

Q_LOGGING_CATEGORY(lcSoundPlayer, "tessly.platform.soundplayer")

std::unique_ptr<SoundPlayer> createCanberraSoundPlayer(); // empty where canberra is not built in
std::unique_ptr<SoundPlayer> createNullSoundPlayer();

namespace {

// The classic alert names users pick from, and the freedesktop theme event
// that sounds closest to each.
const QHash<QString, QString> &soundTable()
{
    static const QHash<QString, QString> table {
        { QStringLiteral("Basso"), QStringLiteral("dialog-warning") },
        { QStringLiteral("Blow"), QStringLiteral("message-new-instant") },
        { QStringLiteral("Bottle"), QStringLiteral("message") },
        { QStringLiteral("Frog"), QStringLiteral("window-attention") },
        { QStringLiteral("Funk"), QStringLiteral("suspend-error") },
        { QStringLiteral("Glass"), QStringLiteral("bell") },
        { QStringLiteral("Hero"), QStringLiteral("service-login") },
        { QStringLiteral("Morse"), QStringLiteral("dialog-information") },
        { QStringLiteral("Ping"), QStringLiteral("audio-volume-change") },
        { QStringLiteral("Pop"), QStringLiteral("device-added") },
        { QStringLiteral("Purr"), QStringLiteral("complete") },
        { QStringLiteral("Sosumi"), QStringLiteral("window-question") },
        { QStringLiteral("Submarine"), QStringLiteral("power-plug") },
        { QStringLiteral("Tink"), QStringLiteral("camera-shutter") },
    };
    return table;
}

} // namespace

QString SoundPlayer::eventIdForName(const QString &name)
{
    if (name.isEmpty() || name == QLatin1String("None"))
        return {};
    return soundTable().value(name, name);
}

QStringList SoundPlayer::themeSoundNames()
{
    QSet<QString> names;
    for (const QString &dataDir : QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        const QDir stereo(dataDir + QStringLiteral("/sounds/freedesktop/stereo"));
        for (const QFileInfo &file : stereo.entryInfoList(
                 { QStringLiteral("*.oga"), QStringLiteral("*.ogg"), QStringLiteral("*.wav") }, QDir::Files))
            names.insert(file.completeBaseName());
    }
    QStringList sorted(names.begin(), names.end());
    sorted.sort();
    return sorted;
}

void SoundPlayer::playNamed(const QString &name)
{
    const QString eventId = eventIdForName(name);
    if (eventId.isEmpty())
        return;
    qCDebug(lcSoundPlayer).noquote() << "playing" << name << "as theme event" << eventId;
    playEvent(eventId);
    Q_EMIT played(eventId);
}

std::unique_ptr<SoundPlayer> SoundPlayer::create(const QString &backend)
{
    if (backend != QLatin1String("null")) {
        if (auto player = createCanberraSoundPlayer())
            return player;
    }
    return createNullSoundPlayer();
}

SoundPlayer &SoundPlayer::instance()
{
    static const std::unique_ptr<SoundPlayer> player = create(qEnvironmentVariable("TESSLY_PLATFORM_BACKEND"));
    return *player;
}
