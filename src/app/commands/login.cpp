#include "api.h"
#include "commands.h"
#include "defaultskeys.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "serviceconfig.h"
#include "settingsstore.h"

#include <QEventLoop>
#include <QFile>

// `tessly login --token TOKEN [--domain PROFILE]` signs in the way the
// browser's login callback does: the token is stored, the profile too when
// one is named, and otherwise the profile is resolved from the account. A
// token given as "-" is read from standard input, so it need not appear in
// the process list or the shell history.

namespace Commands {

namespace {

struct LoginArguments
{
    QString token;
    QString domain;
};

// Returns an error text, or a null string when the arguments are usable.
QString parseLogin(const QStringList &args, LoginArguments *parsed)
{
    bool haveToken = false;
    for (qsizetype i = 0; i < args.size(); ++i) {
        QString name = args.at(i);
        QString value;
        const qsizetype equals = name.indexOf(QLatin1Char('='));
        if (name.startsWith(QLatin1String("--")) && equals > 0) {
            value = name.mid(equals + 1);
            name = name.left(equals);
        } else if (name == QLatin1String("--token") || name == QLatin1String("--domain")) {
            if (i + 1 >= args.size())
                return QStringLiteral("%1 needs a value").arg(name);
            value = args.at(++i);
        }
        if (name == QLatin1String("--token")) {
            parsed->token = value;
            haveToken = true;
        } else if (name == QLatin1String("--domain")) {
            parsed->domain = value;
        } else {
            return QStringLiteral("unknown argument '%1'").arg(args.at(i));
        }
    }
    if (haveToken && parsed->token == QLatin1String("-")) {
        QFile in;
        if (!in.open(stdin, QIODevice::ReadOnly))
            return QStringLiteral("cannot read the token from standard input");
        parsed->token = QString::fromUtf8(in.readLine()).trimmed();
    }
    if (parsed->token.isEmpty())
        return QStringLiteral("a non-empty --token is required (usage: tessly login --token TOKEN [--domain PROFILE])");
    if (!SettingsStore::isValidToken(parsed->token))
        return QStringLiteral("the token may hold only printable ASCII characters, without spaces or line breaks");
    return {};
}

} // namespace

int login(const QStringList &args)
{
    LoginArguments parsed;
    const QString problem = parseLogin(args, &parsed);
    if (!problem.isNull())
        return usageError("login", problem);

    // What the service reports on the way is what the user needs to read.
    QStringList reported;
    bool refused = false;
    NotificationCenter &center = NotificationCenter::defaultCenter();
    const auto errorObserver
        = center.addObserver(Notifications::UserVisibleErrorNotification, [&reported](const Notification &n) {
              const QVariantMap record = n.objectMap();
              reported << QStringLiteral("%1: %2").arg(
                  record.value(QStringLiteral("error")).toString(), record.value(QStringLiteral("message")).toString());
          });
    const auto authObserver = center.addObserver(Notifications::AuthTokenInvalid, [&refused](const Notification &) {
        // As the tray application does: a refused token is forgotten.
        refused = true;
        SettingsStore::instance().setToken(QString());
        API::instance().setToken(QString());
    });

    API::instance(); // so the store hands the token to the client
    SettingsStore &settings = SettingsStore::instance();
    const QString previousToken = settings.token();
    const QString previousDomain = settings.domain();
    settings.setToken(parsed.token);
    // The stored profile belonged to the previous sign-in: the new token's
    // account names its own, and the service is asked even when a profile
    // is named, so a mistyped or foreign token is never reported as signed in.
    settings.removeObject(QString::fromLatin1(DefaultsKeys::Domain));
    if (!parsed.domain.isEmpty())
        settings.setDomain(parsed.domain);

    bool finished = false, resolved = false;
    bool foreignProfile = false;
    QStringList profiles; // the account's, when the named profile is not among them
    QEventLoop loop;
    const auto done = [&](bool ok) {
        resolved = ok;
        finished = true;
        loop.quit();
    };
    if (parsed.domain.isEmpty()) {
        API::instance().ensureDomainWithCompletion(done);
    } else {
        API::instance().getMe([&](bool ok, const QVariant &answer, const Error &) {
            // A profile named by hand must be one of this account's: another
            // account's profile takes the token but refuses every upload.
            const QVariant listed = answer.toMap().value(QStringLiteral("profiles"));
            QStringList names;
            for (const QVariant &profile : listed.toList())
                names << profile.toMap().value(QStringLiteral("domain")).toString();
            if (ok && listed.canConvert<QVariantList>() && !names.contains(parsed.domain)) {
                foreignProfile = true;
                profiles = names;
                ok = false;
            }
            done(ok);
        });
    }
    if (!finished)
        loop.exec();
    if ((refused || foreignProfile) && !previousToken.isEmpty()) {
        // A refused token leaves the earlier sign-in as it was.
        settings.setToken(previousToken);
        if (!previousDomain.isNull())
            settings.setDomain(previousDomain);
    } else if (foreignProfile) {
        settings.setToken(QString());
        settings.removeObject(QString::fromLatin1(DefaultsKeys::Domain));
    }
    center.removeObserver(errorObserver);
    center.removeObserver(authObserver);

    if (resolved) {
        out() << "Signed in to the profile " << settings.domain() << ".\n";
        return 0;
    }
    if (refused) {
        err() << "tessly login: the service refused this token; nothing was stored.\n";
    } else if (foreignProfile) {
        err() << "tessly login: this account has no profile \"" << parsed.domain << "\" (its profiles: "
              << (profiles.isEmpty() ? QStringLiteral("none") : profiles.join(QStringLiteral(", ")))
              << "); nothing was stored.\n";
    } else if (!reported.isEmpty()) {
        err() << "tessly login: " << reported.join(QStringLiteral("; ")) << "\n"
              << "The token is stored; the profile will be looked up again when you next upload.\n";
    } else {
        err() << "tessly login: No Profile Found. Your account doesn't have a profile yet. You need to create one "
                 "before you can upload files: https://"
              << Config::webDomain() << "/get-started\n";
    }
    return 1;
}

} // namespace Commands
