#include "canberralibrary.h"

#include "systemlibrary.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcCanberraLibrary, "tessly.platform.canberralibrary")

namespace {

const SystemLibrary::Resolved<CanberraLibrary> &resolved()
{
    return SystemLibrary::resolveOnce<CanberraLibrary>(
        lcCanberraLibrary(), QStringLiteral("canberra"), 0, [](SystemLibrary &library, CanberraLibrary &canberra) {
            library.resolve(canberra.contextCreate, "ca_context_create");
            library.resolve(canberra.contextDestroy, "ca_context_destroy");
            library.resolve(canberra.contextChangeProps, "ca_context_change_props");
            library.resolve(canberra.contextPlay, "ca_context_play");
            library.resolve(canberra.contextPlayFull, "ca_context_play_full");
            library.resolve(canberra.proplistCreate, "ca_proplist_create");
            library.resolve(canberra.proplistSets, "ca_proplist_sets");
            library.resolve(canberra.proplistDestroy, "ca_proplist_destroy");
            library.resolve(canberra.strerror, "ca_strerror");
            return QString();
        });
}

} // namespace

const CanberraLibrary *CanberraLibrary::load()
{
    return resolved().usable();
}

QString CanberraLibrary::error()
{
    return resolved().error;
}
