#include "http/servicecontext.h"

#include "common/crypto.h"
#include "storage/schema.h"

#include <filesystem>

namespace tessly::server {

namespace {

// The embedded store's signing secret is made once and kept with the data.
std::string embeddedSecret(Database &db)
{
    auto lock = db.lock();
    auto read = db.prepare("SELECT value FROM settings WHERE key = 'store_secret'");
    if (read.step())
        return read.text(0);
    std::string secret = randomToken(32);
    db.prepare("INSERT INTO settings(key, value) VALUES('store_secret', ?)").bind(1, secret).run();
    return secret;
}

} // namespace

ServiceContext::ServiceContext(ServiceConfig cfg)
    : config(std::move(cfg))
{
    std::filesystem::create_directories(config.dataDir);
    db = std::make_unique<Database>(config.dataDir + "/tessly.sqlite");
    applySchema(*db);
    accounts = std::make_unique<Accounts>(*db);
    items = std::make_unique<ItemStore>(*db);
    links = std::make_unique<LinkStore>(*db, *items);
    uploads = std::make_unique<UploadStore>(*db);
    if (config.s3) {
        S3Config s3 = *config.s3;
        s3.expirySeconds = config.presignExpirySeconds;
        store = std::make_unique<S3ObjectStore>(s3);
    } else {
        auto local = std::make_unique<LocalObjectStore>(config.dataDir + "/store",
            SigningCredentials { "tessly-embedded", embeddedSecret(*db), "us-east-1", "s3" },
            config.presignExpirySeconds);
        localStore = local.get();
        store = std::move(local);
    }
    faults.configure(config.faults);
}

void ServiceContext::refreshPending(Item &item)
{
    if (item.stored || item.kind != ItemKind::File || localStore)
        return;
    if (auto info = store->stat(item.objectKey)) {
        items->markStored(item.item, info->size, info->etag);
        item.stored = true;
        item.size = info->size;
        item.etag = info->etag;
    }
}

} // namespace tessly::server
