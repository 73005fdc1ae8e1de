#include "curllibrary.h"

#include "systemlibrary.h"

#include <QLoggingCategory>

#include <atomic>

Q_LOGGING_CATEGORY(lcCurlLibrary, "tessly.upload.curllibrary")

namespace {

std::atomic<const CurlLibrary *> g_loaded { nullptr };

const SystemLibrary::Resolved<CurlLibrary> &resolved()
{
    // The ABI has been 4 since libcurl 7.16.
    const auto &result = SystemLibrary::resolveOnce<CurlLibrary>(
        lcCurlLibrary(), QStringLiteral("curl"), 4, [](SystemLibrary &library, CurlLibrary &curl) {
            library.resolve(curl.easyInit, "curl_easy_init");
            library.resolve(curl.easySetopt, "curl_easy_setopt");
            library.resolve(curl.easyGetinfo, "curl_easy_getinfo");
            library.resolve(curl.easyCleanup, "curl_easy_cleanup");
            library.resolve(curl.easyStrerror, "curl_easy_strerror");
            library.resolve(curl.multiInit, "curl_multi_init");
            library.resolve(curl.multiSetopt, "curl_multi_setopt");
            library.resolve(curl.multiAddHandle, "curl_multi_add_handle");
            library.resolve(curl.multiRemoveHandle, "curl_multi_remove_handle");
            library.resolve(curl.multiSocketAction, "curl_multi_socket_action");
            library.resolve(curl.multiInfoRead, "curl_multi_info_read");
            library.resolve(curl.multiCleanup, "curl_multi_cleanup");
            library.resolve(curl.slistAppend, "curl_slist_append");
            library.resolve(curl.slistFreeAll, "curl_slist_free_all");
            decltype(&curl_global_init) globalInit = nullptr;
            library.resolve(globalInit, "curl_global_init");
            if (!library.error().isEmpty())
                return QString();
            const CURLcode code = globalInit(CURL_GLOBAL_DEFAULT);
            return code == CURLE_OK ? QString()
                                    : QStringLiteral("libcurl could not be initialised (%1)").arg(curl.describe(code));
        });
    if (const CurlLibrary *curl = result.usable())
        g_loaded.store(curl, std::memory_order_release);
    return result;
}

} // namespace

const CurlLibrary *CurlLibrary::load()
{
    return resolved().usable();
}

QString CurlLibrary::error()
{
    return resolved().error;
}

const CurlLibrary *CurlLibrary::loaded()
{
    return g_loaded.load(std::memory_order_acquire);
}

QString CurlLibrary::describe(CURLcode code) const
{
    return QString::fromUtf8(easyStrerror(code));
}
