// Route groups. Each registers its handlers on the server.
#pragma once

namespace httplib {
class Server;
}

namespace tessly::server {

struct ServiceContext;

void registerAccountRoutes(httplib::Server &server, ServiceContext &ctx);
void registerFileRoutes(httplib::Server &server, ServiceContext &ctx);
void registerMultipartRoutes(httplib::Server &server, ServiceContext &ctx);
void registerFolderAndLinkRoutes(httplib::Server &server, ServiceContext &ctx);
void registerStoreRoutes(httplib::Server &server, ServiceContext &ctx);
void registerAdminRoutes(httplib::Server &server, ServiceContext &ctx);
void registerWebRoutes(httplib::Server &server, ServiceContext &ctx);

} // namespace tessly::server
