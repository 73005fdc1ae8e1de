// Where no display server lets us listen to the keyboard globally: nothing is
// registered, and the settings window shows the reason.
#include "globalshortcutmonitor.h"

namespace {

class NullGlobalShortcutMonitor final : public GlobalShortcutMonitor
{
public:
    explicit NullGlobalShortcutMonitor(QString reason)
        : m_reason(std::move(reason))
    {
    }
    QString backendName() const override { return QStringLiteral("null"); }
    QString unavailableReason() const override { return m_reason; }

protected:
    Registration grab(QKeyCombination) override { return Registration::Unavailable; }
    void ungrab(QKeyCombination) override { }

private:
    QString m_reason;
};

} // namespace

std::unique_ptr<GlobalShortcutMonitor> createNullGlobalShortcutMonitor(const QString &reason)
{
    return std::make_unique<NullGlobalShortcutMonitor>(reason);
}
