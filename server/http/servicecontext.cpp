#include "http/servicecontext.h"

#include "common/crypto.h"
#include "common/privatefiles.h"
#include "common/text.h"
#include "http/routes.h"
#include "storage/schema.h"

#include <httplib.h>

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
    makePrivateFolder(config.dataDir);
    db = std::make_unique<Database>(config.dataDir + "/tessly.sqlite");
    applySchema(*db);
    accounts = std::make_unique<Accounts>(*db);
    items = std::make_unique<ItemStore>(*db);
    items->assignMissingCodes();
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
    if (config.admin)
        adminToken = loadAdminToken(config);
}

std::string ServiceContext::clientAddress(const httplib::Request &req) const
{
    if (config.trustedProxy.empty() || req.remote_addr != config.trustedProxy)
        return req.remote_addr;
    const std::string forwarded = req.get_header_value("X-Forwarded-For");
    std::string last = forwarded.substr(forwarded.rfind(',') == std::string::npos ? 0 : forwarded.rfind(',') + 1);
    last.erase(0, last.find_first_not_of(' '));
    last.erase(last.find_last_not_of(' ') + 1);
    return last.empty() ? req.remote_addr : last;
}

bool ServiceContext::isOwnHost(const std::string &host) const
{
    const std::string name = toLower(host);
    const std::string webHost = hostOfAuthority(urls.webDomain());
    return name == "localhost" || endsWith(name, ".localhost") || name == webHost || endsWith(name, "." + webHost)
        || name == toLower(config.listenHost) || name == hostOfAuthority(hostOfUrl(urls.origin()))
        || (!config.publicUrl.empty() && name == hostOfAuthority(hostOfUrl(config.publicUrl)));
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
