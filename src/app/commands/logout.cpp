#include "commands.h"
#include "settingsstore.h"

// `tessly logout` forgets the stored token and profile.

namespace Commands {

int logout(const QStringList &args)
{
    if (!args.isEmpty())
        return usageError("logout", QStringLiteral("takes no arguments"));
    // As signing out in the settings window does: the stored token and
    // profile go; the next start shows the welcome window.
    SettingsStore &settings = SettingsStore::instance();
    settings.setToken(QString());
    settings.setDomain(QString());
    out() << "Signed out.\n";
    return 0;
}

} // namespace Commands
