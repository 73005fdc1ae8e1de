#pragma once

#include <QString>

#include <memory>
#include <optional>

// The desktop's keyring: the freedesktop Secret Service (GNOME Keyring,
// KWallet), reached through QtKeychain. The sign-in token lives there when a
// keyring runs in the session, so it is encrypted at rest and unlocked with
// the user's login; otherwise it stays in the owner-only settings file.
//
// Only a keyring that already runs and has a default collection is used:
// one that D-Bus would merely start on demand, or that another program
// started without ever setting it up, would put a "create a keyring" prompt
// in front of a user who never chose one.
// TESSLY_PLATFORM_BACKEND=null selects the null backend, which stores
// nothing.
//
// Calls block until the keyring answers (it may ask the user to unlock it),
// and belong on the main thread.
class SecretStore
{
public:
    virtual ~SecretStore() = default;

    static std::unique_ptr<SecretStore> create();
    static std::unique_ptr<SecretStore> create(const QString &backend);

    // Makes the settings store keep the token here, moving a token that is
    // still in the settings file over. Does nothing without a keyring.
    static void installTokenVault();

    virtual QString backendName() const = 0;
    // The stored secret, "" when none is stored; nothing when the keyring
    // could not be asked.
    virtual std::optional<QString> read(const QString &key) = 0;
    // Stores the secret; a null string removes it. False when it failed.
    virtual bool write(const QString &key, const QString &value) = 0;
};
