#include "tlcapturesessionoptions.h"
#include "defaultskeys.h"
#include "settingsstore.h"

#include <QScreen>

namespace {

QString key(const char *name)
{
    return QString::fromLatin1(name);
}

void store(const char *name, const QVariant &value)
{
    SettingsStore::instance().setObject(value, key(name));
}

} // namespace

TLCaptureSessionOptions &TLCaptureSessionOptions::currentOptions()
{
    // Never destroyed: windows may reach it while the application shuts down.
    static TLCaptureSessionOptions *options = new TLCaptureSessionOptions;
    return *options;
}

TLCaptureSessionOptions::TLCaptureSessionOptions()
{
    const SettingsStore &settings = SettingsStore::instance();
    const auto stored = [&](const char *name) { return settings.objectForKey(key(name)); };
    if (const QVariant v = stored(DefaultsKeys::ShowMouseClicks); v.isValid())
        m_showMouseClicks = v.toBool();
    if (const QVariant v = stored(DefaultsKeys::ShowWebcam); v.isValid())
        m_showWebcam = v.toBool();
    if (const QVariant v = stored(DefaultsKeys::StartDelay); v.isValid())
        m_startDelay = v.toInt();
    if (const QVariant v = stored(DefaultsKeys::DefaultMicId); v.isValid()) {
        m_defaultMicID = v.toString();
        // The camera's id has always been read only together with the
        // microphone's; kept so, as stored settings expect it.
        m_defaultCameraID = stored(DefaultsKeys::DefaultCamId).toString();
    }
    if (const QVariant v = stored(DefaultsKeys::DefaultCamSize); v.isValid())
        m_defaultWebcamSize = v.toInt();
}

void TLCaptureSessionOptions::setShowMouseClicks(bool show)
{
    m_showMouseClicks = show;
    store(DefaultsKeys::ShowMouseClicks, show);
}

void TLCaptureSessionOptions::setShowWebcam(bool show)
{
    m_showWebcam = show;
    store(DefaultsKeys::ShowWebcam, show);
}

void TLCaptureSessionOptions::setStartDelay(int seconds)
{
    m_startDelay = seconds;
    store(DefaultsKeys::StartDelay, seconds);
}

void TLCaptureSessionOptions::setDefaultMicID(const QString &id)
{
    m_defaultMicID = id;
    store(DefaultsKeys::DefaultMicId, id.isEmpty() ? QVariant() : QVariant(id));
}

void TLCaptureSessionOptions::setDefaultCameraID(const QString &id)
{
    m_defaultCameraID = id;
    store(DefaultsKeys::DefaultCamId, id);
}

void TLCaptureSessionOptions::setDefaultWebcamSize(int size)
{
    m_defaultWebcamSize = size;
    store(DefaultsKeys::DefaultCamSize, size);
}

void TLCaptureSessionOptions::setDisableAudioRecording(bool disable)
{
    if (m_disableAudioRecording == disable)
        return;
    m_disableAudioRecording = disable;
    Q_EMIT disableAudioRecordingChanged(disable);
}
