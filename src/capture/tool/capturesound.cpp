#include "capturesound.h"

#include <canberra.h>
#include <chrono>
#include <future>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcCaptureSound, "tessly.capture.capturesound")

namespace CaptureSound {

namespace {

void onFinished(ca_context *, uint32_t, int, void *userdata)
{
    static_cast<std::promise<void> *>(userdata)->set_value();
}

} // namespace

void play()
{
    ca_context *context = nullptr;
    if (ca_context_create(&context) != CA_SUCCESS)
        return;
    ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Tessly Cloud", nullptr);
    ca_proplist *props = nullptr;
    ca_proplist_create(&props);
    ca_proplist_sets(props, CA_PROP_EVENT_ID, "screen-capture");
    ca_proplist_sets(props, CA_PROP_EVENT_DESCRIPTION, "Screenshot taken");
    std::promise<void> played;
    const int result = ca_context_play_full(context, 0, props, onFinished, &played);
    if (result == CA_SUCCESS)
        played.get_future().wait_for(std::chrono::milliseconds(1500));
    else
        qCDebug(lcCaptureSound).noquote() << "no capture sound:" << ca_strerror(result);
    // Destroying the context cancels a sound still playing and calls back
    // before it returns, so the promise outlives every use.
    ca_context_destroy(context);
    ca_proplist_destroy(props);
}

} // namespace CaptureSound
