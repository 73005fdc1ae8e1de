// Route groups. Each registers its handlers on the server.
#pragma once

#include <string>

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

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
void registerClientRoutes(httplib::Server &server, ServiceContext &ctx);

// PUT /admin/client-release (an admin route): the client release offered for download.
void publishClientRelease(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res);

} // namespace tessly::server
