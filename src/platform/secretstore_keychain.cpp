#include "secretstore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QEventLoop>
#include <QLoggingCategory>
#include <qt6keychain/keychain.h>

Q_DECLARE_LOGGING_CATEGORY(lcSecretStore)

namespace {

// The Secret Service's well-known name on the session bus.
const QString kSecretService = QStringLiteral("org.freedesktop.secrets");
// Entries are filed under the application's id.
const QString kService = QStringLiteral("com.tessly.Cloud");

// Runs a QtKeychain job to its end; false, logged, when it failed.
bool finish(QKeychain::Job &job, QKeychain::Error tolerated = QKeychain::NoError)
{
    job.setAutoDelete(false);
    QEventLoop loop;
    QObject::connect(&job, &QKeychain::Job::finished, &loop, &QEventLoop::quit);
    job.start();
    loop.exec();
    if (job.error() == QKeychain::NoError || job.error() == tolerated)
        return true;
    qCWarning(lcSecretStore).noquote() << QStringLiteral("keyring: %1").arg(job.errorString());
    return false;
}

class KeychainSecretStore final : public SecretStore
{
public:
    QString backendName() const override { return QStringLiteral("keychain"); }

    std::optional<QString> read(const QString &key) override
    {
        QKeychain::ReadPasswordJob job(kService);
        job.setKey(key);
        job.setInsecureFallback(false);
        if (!finish(job, QKeychain::EntryNotFound))
            return std::nullopt;
        return job.error() == QKeychain::EntryNotFound ? QStringLiteral("") : job.textData();
    }

    bool write(const QString &key, const QString &value) override
    {
        if (value.isNull()) {
            QKeychain::DeletePasswordJob job(kService);
            job.setKey(key);
            job.setInsecureFallback(false);
            return finish(job, QKeychain::EntryNotFound);
        }
        QKeychain::WritePasswordJob job(kService);
        job.setKey(key);
        job.setInsecureFallback(false);
        job.setTextData(value);
        return finish(job);
    }
};

} // namespace

std::unique_ptr<SecretStore> createKeychainSecretStore()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface() || !bus.interface()->isServiceRegistered(kSecretService))
        return {};
    // A keyring without a default collection (started for another program,
    // never set up) would ask the user to create one at our first write.
    const QDBusReply<QDBusObjectPath> alias
        = bus.call(QDBusMessage::createMethodCall(kSecretService, QStringLiteral("/org/freedesktop/secrets"),
                       QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("ReadAlias"))
            << QStringLiteral("default"));
    if (!alias.isValid() || alias.value().path() == QLatin1String("/")) {
        qCInfo(lcSecretStore) << "the keyring has no default collection";
        return {};
    }
    return std::make_unique<KeychainSecretStore>();
}
