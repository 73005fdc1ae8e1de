// Route groups. Each registers its handlers on the server.
#pragma once

#include <string>

namespace httplib {
class Server;
}

namespace tessly::server {

struct ServiceConfig;
struct ServiceContext;

// The admin routes' token: from --admin-token-file, or DATA/admin-token made
// on first use. Throws when the file is missing or others may read it.
std::string loadAdminToken(const ServiceConfig &config);

void registerAccountRoutes(httplib::Server &server, ServiceContext &ctx);
void registerFileRoutes(httplib::Server &server, ServiceContext &ctx);
void registerMultipartRoutes(httplib::Server &server, ServiceContext &ctx);
void registerFolderAndLinkRoutes(httplib::Server &server, ServiceContext &ctx);
void registerStoreRoutes(httplib::Server &server, ServiceContext &ctx);
void registerAdminRoutes(httplib::Server &server, ServiceContext &ctx);
void registerWebRoutes(httplib::Server &server, ServiceContext &ctx);

} // namespace tessly::server
