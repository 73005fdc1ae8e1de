// The browser session of the web pages: a token of kind "web" in a cookie.
#pragma once

#include "storage/models.h"

#include <optional>
#include <string>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace tessly::server {

struct ServiceContext;

std::optional<User> sessionUser(ServiceContext &ctx, const httplib::Request &req);
void startSession(ServiceContext &ctx, httplib::Response &res, std::int64_t userId);
void endSession(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res);

// Form fields of an application/x-www-form-urlencoded body.
std::string formField(const httplib::Request &req, const std::string &name);
// A form posted from another site (its Origin or Referer names another
// host than the one it was sent to): refused, so that no other site can sign
// a visitor in, out or act for them.
bool isCrossSiteForm(const httplib::Request &req);

void redirect(httplib::Response &res, const std::string &location, int status = 302);

} // namespace tessly::server
