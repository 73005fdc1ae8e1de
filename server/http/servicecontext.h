// The service's long-lived parts, shared by every route.
#pragma once

#include "common/text.h"
#include "http/faultinjector.h"
#include "http/serviceconfig.h"
#include "http/urls.h"
#include "objects/localobjectstore.h"
#include "objects/objectstore.h"
#include "storage/accounts.h"
#include "storage/database.h"
#include "storage/itemstore.h"
#include "storage/linkstore.h"
#include "storage/uploadstore.h"
#include "web/signinthrottle.h"

#include <atomic>
#include <memory>

namespace httplib {
struct Request;
}

namespace tessly::server {

struct ServiceContext
{
    explicit ServiceContext(ServiceConfig cfg);

    ServiceConfig config;
    std::unique_ptr<Database> db;
    std::unique_ptr<Accounts> accounts;
    std::unique_ptr<ItemStore> items;
    std::unique_ptr<LinkStore> links;
    std::unique_ptr<UploadStore> uploads;
    std::unique_ptr<ObjectStore> store;
    LocalObjectStore *localStore = nullptr; // set in embedded mode
    FaultInjector faults;
    Urls urls;
    std::atomic<bool> stopping { false };
    std::string adminToken; // with config.admin
    SignInThrottle signIns;
    // Added to the clock by which expiry is judged (presigned URLs, uploads,
    // sessions, sign-in limits); tests move it through /admin/clock.
    std::atomic<std::int64_t> clockOffsetSeconds { 0 };
    std::int64_t now() const { return nowSeconds() + clockOffsetSeconds; }

    // The client's address: the peer's, or behind the trusted proxy the last
    // address its X-Forwarded-For names.
    std::string clientAddress(const httplib::Request &req) const;

    // True for a host name (without port) under which this service itself
    // answers: its listen and public addresses, its web domain, loopback.
    // Such a name is never a profile's custom domain.
    bool isOwnHost(const std::string &host) const;

    // With an external store the service does not see single PUTs arrive: a
    // file not yet known as stored is looked up there, and marked when found.
    void refreshPending(Item &item);
};

} // namespace tessly::server
