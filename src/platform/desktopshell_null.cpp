// For sessions without a desktop to query: no wallpaper, no workspaces.
#include "desktopshell.h"

namespace {

class NullDesktopShell final : public DesktopShell
{
public:
    QString backendName() const override { return QStringLiteral("null"); }
    QImage wallpaper(const QRect &) override { return {}; }
    void stackAbove(QWindow *, quint32) override { }
    quint32 coverWithOwnBackground(quint32, const QRect &) override { return 0; }
    void removeCover(quint32) override { }
    void sync() override { }
};

} // namespace

std::unique_ptr<DesktopShell> createNullDesktopShell()
{
    return std::make_unique<NullDesktopShell>();
}
