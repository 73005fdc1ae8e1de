// Sounds through libcanberra, which finds the event in the desktop's sound
// theme (falling back to freedesktop's) and plays it on PulseAudio, PipeWire
// or ALSA, whichever runs. The library is opened with the first sound.
#include "soundplayer.h"

#include "canberralibrary.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcCanberraSoundPlayer, "tessly.platform.soundplayer.canberra")

namespace {

class CanberraSoundPlayer final : public SoundPlayer
{
public:
    CanberraSoundPlayer(const CanberraLibrary *canberra, ca_context *context)
        : m_canberra(canberra)
        , m_context(context)
    {
    }
    ~CanberraSoundPlayer() override { m_canberra->contextDestroy(m_context); }

    QString backendName() const override { return QStringLiteral("canberra"); }

protected:
    void playEvent(const QString &eventId) override
    {
        const int result = m_canberra->contextPlay(m_context, 0, CA_PROP_EVENT_ID, eventId.toUtf8().constData(),
            CA_PROP_EVENT_DESCRIPTION, "Link copied", nullptr);
        if (result != CA_SUCCESS && !m_warned) {
            m_warned = true; // a machine without a sound device says so once
            qCWarning(lcCanberraSoundPlayer).noquote()
                << "sound" << eventId << "not played:" << QString::fromUtf8(m_canberra->strerror(result));
        }
    }

private:
    const CanberraLibrary *m_canberra;
    ca_context *m_context;
    bool m_warned = false;
};

} // namespace

std::unique_ptr<SoundPlayer> createCanberraSoundPlayer()
{
    const CanberraLibrary *canberra = CanberraLibrary::load();
    if (!canberra)
        return {};
    ca_context *context = nullptr;
    if (canberra->contextCreate(&context) != CA_SUCCESS)
        return {};
    canberra->contextChangeProps(context, CA_PROP_APPLICATION_NAME, "Tessly Cloud", CA_PROP_APPLICATION_ID,
        "com.tessly.Cloud", CA_PROP_APPLICATION_ICON_NAME, "com.tessly.Cloud", nullptr);
    return std::make_unique<CanberraSoundPlayer>(canberra, context);
}
