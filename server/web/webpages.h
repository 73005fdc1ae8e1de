// The web pages a user meets in the browser.
#pragma once

namespace httplib {
class Server;
struct Request;
struct Response;
} // namespace httplib

namespace tessly::server {

struct ServiceContext;

void registerAuthPages(httplib::Server &server, ServiceContext &ctx);
void registerDashboardPages(httplib::Server &server, ServiceContext &ctx);

// Share pages answer on "PROFILE.WEBDOMAIN" and on custom domains. Returns
// false when the request's Host is not such a host.
bool handleShareHost(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res);
// "/l/SLUG" on any host.
void followShortLink(ServiceContext &ctx, const std::string &slug, httplib::Response &res);

} // namespace tessly::server
