#pragma once

#include <canberra.h>

#include <QString>

// libcanberra, opened when the first sound is played rather than with the
// program: it and the Vorbis, TDB and libltdl libraries it pulls in are not
// needed before then, and a system without it simply plays nothing.
struct CanberraLibrary
{
    // The library, opened on the first call and kept for the life of the
    // process; null when it cannot be opened, and error() says why.
    // Thread-safe.
    static const CanberraLibrary *load();
    static QString error();

    decltype(&ca_context_create) contextCreate = nullptr;
    decltype(&ca_context_destroy) contextDestroy = nullptr;
    decltype(&ca_context_change_props) contextChangeProps = nullptr;
    decltype(&ca_context_play) contextPlay = nullptr;
    decltype(&ca_context_play_full) contextPlayFull = nullptr;
    decltype(&ca_proplist_create) proplistCreate = nullptr;
    decltype(&ca_proplist_sets) proplistSets = nullptr;
    decltype(&ca_proplist_destroy) proplistDestroy = nullptr;
    decltype(&ca_strerror) strerror = nullptr;
};
