#include "capturesound.h"

#include "canberralibrary.h"

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
    const CanberraLibrary *canberra = CanberraLibrary::load();
    if (!canberra)
        return;
    ca_context *context = nullptr;
    if (canberra->contextCreate(&context) != CA_SUCCESS)
        return;
    canberra->contextChangeProps(context, CA_PROP_APPLICATION_NAME, "Tessly Cloud", nullptr);
    ca_proplist *props = nullptr;
    canberra->proplistCreate(&props);
    canberra->proplistSets(props, CA_PROP_EVENT_ID, "screen-capture");
    canberra->proplistSets(props, CA_PROP_EVENT_DESCRIPTION, "Screenshot taken");
    std::promise<void> played;
    const int result = canberra->contextPlayFull(context, 0, props, onFinished, &played);
    if (result == CA_SUCCESS)
        played.get_future().wait_for(std::chrono::milliseconds(1500));
    else
        qCDebug(lcCaptureSound).noquote() << "no capture sound:" << canberra->strerror(result);
    // Destroying the context cancels a sound still playing and calls back
    // before it returns, so the promise outlives every use.
    canberra->contextDestroy(context);
    canberra->proplistDestroy(props);
}

} // namespace CaptureSound
