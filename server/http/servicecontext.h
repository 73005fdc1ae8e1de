// The service's long-lived parts, shared by every route.
#pragma once

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

#include <atomic>
#include <memory>

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

    // With an external store the service does not see single PUTs arrive: a
    // file not yet known as stored is looked up there, and marked when found.
    void refreshPending(Item &item);
};

} // namespace tessly::server
