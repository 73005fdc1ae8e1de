#pragma once

#include <curl/curl.h>

#include <QString>

// libcurl, opened when the first object-store PUT needs it rather than with
// the application: libcurl and the TLS, Kerberos, LDAP, SSH and RTMP
// libraries it pulls in would otherwise be a large part of the tray's
// start-up. The functions the transfers use are resolved all at once, and
// curl_global_init() has run by the time load() hands the table out.
struct CurlLibrary
{
    // The library, opened on the first call and kept for the life of the
    // process; null when it cannot be opened, and error() says why.
    // Thread-safe.
    static const CurlLibrary *load();
    // Why load() gives null; empty when it does not.
    static QString error();
    // The library if something has opened it already; never opens it.
    static const CurlLibrary *loaded();

    // The library's own words for a code.
    QString describe(CURLcode code) const;

    decltype(&curl_easy_init) easyInit = nullptr;
    decltype(&curl_easy_setopt) easySetopt = nullptr;
    decltype(&curl_easy_getinfo) easyGetinfo = nullptr;
    decltype(&curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&curl_easy_strerror) easyStrerror = nullptr;
    decltype(&curl_multi_init) multiInit = nullptr;
    decltype(&curl_multi_setopt) multiSetopt = nullptr;
    decltype(&curl_multi_add_handle) multiAddHandle = nullptr;
    decltype(&curl_multi_remove_handle) multiRemoveHandle = nullptr;
    decltype(&curl_multi_socket_action) multiSocketAction = nullptr;
    decltype(&curl_multi_info_read) multiInfoRead = nullptr;
    decltype(&curl_multi_cleanup) multiCleanup = nullptr;
    decltype(&curl_slist_append) slistAppend = nullptr;
    decltype(&curl_slist_free_all) slistFreeAll = nullptr;
};
