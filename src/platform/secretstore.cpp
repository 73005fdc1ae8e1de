#include "secretstore.h"

#include "settingsstore.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <QThread>

Q_LOGGING_CATEGORY(lcSecretStore, "tessly.platform.secretstore")

std::unique_ptr<SecretStore> createKeychainSecretStore(); // empty without a running keyring
std::unique_ptr<SecretStore> createNullSecretStore();

std::unique_ptr<SecretStore> SecretStore::create()
{
    return create(qEnvironmentVariable("TESSLY_PLATFORM_BACKEND"));
}

std::unique_ptr<SecretStore> SecretStore::create(const QString &backend)
{
    if (backend != QLatin1String("null")) {
        if (auto store = createKeychainSecretStore())
            return store;
    }
    return createNullSecretStore();
}

void SecretStore::installTokenVault()
{
    Q_ASSERT(QThread::currentThread() == QCoreApplication::instance()->thread());
    std::shared_ptr<SecretStore> store = create();
    qCInfo(lcSecretStore).noquote() << "token kept by" << store->backendName();
    if (store->backendName() == QLatin1String("null"))
        return;
    const QString key = QStringLiteral("token");
    SettingsStore::setTokenVault({ [store, key] { return store->read(key); },
        [store, key](const QString &token) { return store->write(key, token); } });
}
