#pragma once

#include <memory>
#include <QObject>
#include <QString>
#include <QStringList>

// Plays the short sound that tells a link was copied.
//
// The settings keep the sound's stored name ("Purr" by default, "None" for
// silence, or another of the classic names); eventIdForName() maps each to an
// event id of the freedesktop sound theme, which the desktop's theme then
// plays. instance() picks the backend once per process: libcanberra, or the
// null backend (TESSLY_PLATFORM_BACKEND=null, or a build without canberra),
// which only logs.
class SoundPlayer : public QObject
{
    Q_OBJECT
public:
    static SoundPlayer &instance();
    static std::unique_ptr<SoundPlayer> create(const QString &backend);

    // The theme event for a stored name: empty for "None" (and an empty name);
    // a name that is not in the table is taken as a theme event id itself.
    static QString eventIdForName(const QString &name);

    // The event sounds the freedesktop sound theme installs
    // ($XDG_DATA_DIRS/sounds/freedesktop/stereo), by event id, sorted; what
    // the settings window offers next to "None" and the classic names.
    static QStringList themeSoundNames();

    virtual QString backendName() const = 0;

    // Plays the stored name's sound, or nothing for "None". Emits played()
    // with the event id handed to the sound system.
    void playNamed(const QString &name);

Q_SIGNALS:
    void played(const QString &eventId);

protected:
    virtual void playEvent(const QString &eventId) = 0;
};
