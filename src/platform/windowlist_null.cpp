// For sessions without a window list (headless runs, tests): no windows.
#include "windowlist.h"

namespace {

class NullWindowList final : public WindowList
{
public:
    QString backendName() const override { return QStringLiteral("null"); }
    QList<WindowInfo> windows() const override { return {}; }
    std::optional<WindowInfo> window(quint32) const override { return std::nullopt; }
};

} // namespace

std::unique_ptr<WindowList> createNullWindowList()
{
    return std::make_unique<NullWindowList>();
}
