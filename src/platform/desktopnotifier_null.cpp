// For sessions without a notification service (headless runs, CI): the
// notification is written to the log and goes nowhere else.
#include "desktopnotifier.h"

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcNullNotifier, "tessly.platform.notifier.null")

namespace {

class NullNotifier final : public DesktopNotifier
{
public:
    QString backendName() const override { return QStringLiteral("null"); }
    void notify(const QString &title, const QString &body, const QUrl &) override
    {
        qCInfo(lcNullNotifier).noquote() << "notification:" << title << "-" << body;
    }
};

} // namespace

std::unique_ptr<DesktopNotifier> createNullNotifier()
{
    return std::make_unique<NullNotifier>();
}
