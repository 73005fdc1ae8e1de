#include "secretstore.h"

namespace {

class NullSecretStore final : public SecretStore
{
public:
    QString backendName() const override { return QStringLiteral("null"); }
    std::optional<QString> read(const QString &) override { return std::nullopt; }
    bool write(const QString &, const QString &) override { return false; }
};

} // namespace

std::unique_ptr<SecretStore> createNullSecretStore()
{
    return std::make_unique<NullSecretStore>();
}
