// `tessly shorten URL`: prints the short link of a web address, with the
// account's custom domain when it has one.
#include "api.h"
#include "commands.h"
#include "settingsstore.h"
#include "sharelink.h"

#include <QEventLoop>
#include <QUrl>

namespace Commands {

int shorten(const QStringList &args)
{
    if (args.size() != 1)
        return usageError("shorten", QStringLiteral("expects one URL (usage: tessly shorten URL)"));
    const QUrl url(args.first(), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || url.host().isEmpty() || (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return usageError("shorten", QStringLiteral("%1: not a web address (http or https)").arg(args.first()));
    if (SettingsStore::instance().token().isEmpty()) {
        err() << "tessly shorten: not signed in; run `tessly login --token TOKEN` first\n";
        return 1;
    }

    QEventLoop loop;
    QString link;
    QString failure;
    API::instance().ensureDomainWithCompletion([&](bool known) {
        if (!known) {
            failure = QStringLiteral("the account's profile is unknown and the service could not tell it");
            loop.quit();
            return;
        }
        API::instance().createLinkWithURL(
            url.toString(), [&](bool success, const QVariant &result, const Error &error) {
                const QVariantMap answer = result.toMap();
                QString domain = answer.value(QStringLiteral("domain")).toString();
                if (domain.isEmpty())
                    domain = SettingsStore::instance().domain();
                if (success)
                    link = ShareLink::forShortLink(answer.value(QStringLiteral("slug")).toString(), domain,
                        answer.value(QStringLiteral("customDomain")).toString());
                if (link.isEmpty())
                    failure = !error.localizedDescription.isEmpty()
                        ? error.localizedDescription
                        : QStringLiteral("the service answered without a short link");
                loop.quit();
            });
    });
    if (link.isEmpty() && failure.isEmpty())
        loop.exec();
    if (link.isEmpty()) {
        err() << "tessly shorten: " << failure << "\n";
        return 1;
    }
    out() << link << "\n";
    return 0;
}

} // namespace Commands
