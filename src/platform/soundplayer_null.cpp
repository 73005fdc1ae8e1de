// For sessions where no sound may or can play: the sound is logged only.
#include "soundplayer.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcNullSoundPlayer, "tessly.platform.soundplayer.null")

namespace {

class NullSoundPlayer final : public SoundPlayer
{
public:
    QString backendName() const override { return QStringLiteral("null"); }

protected:
    void playEvent(const QString &eventId) override { qCInfo(lcNullSoundPlayer).noquote() << "sound:" << eventId; }
};

} // namespace

std::unique_ptr<SoundPlayer> createNullSoundPlayer()
{
    return std::make_unique<NullSoundPlayer>();
}
