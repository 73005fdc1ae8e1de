// What every JSON route needs: body parsing, answers, errors, the bearer
// token check and profile ownership.
#pragma once

#include "common/serviceerror.h"
#include "storage/models.h"

#include <httplib.h>
#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <string>

namespace tessly::server {

struct ServiceContext;

using Json = nlohmann::json;

void sendJson(httplib::Response &res, int status, const Json &body);
void sendError(httplib::Response &res, const ServiceError &error);

// The body as a JSON object; 400 for anything else.
Json parseJsonObject(const httplib::Request &req);
// Field readers that throw 400 with the field's name on a wrong type.
std::string requireString(const Json &object, const char *field, std::size_t maxBytes = 1024);
std::optional<std::string> optionalString(const Json &object, const char *field, std::size_t maxBytes = 1024);
// "order" arrives as a number (folders) or as its decimal text (files).
std::optional<std::string> optionalOrder(const Json &object);

User requireUser(ServiceContext &ctx, const httplib::Request &req);
// 404 for an unknown profile, 403 for one that belongs to someone else.
Profile requireOwnProfile(ServiceContext &ctx, const User &user, const std::string &domain);
// "DOMAIN/ITEM" (or a bare item number) naming a folder of `profile`.
std::optional<std::int64_t> resolveParent(
    ServiceContext &ctx, const Profile &profile, const std::optional<std::string> &parentItem);
int listCount(const httplib::Request &req);

using ApiHandler = std::function<void(const httplib::Request &, httplib::Response &)>;
// Wraps a /v1/ handler: injected API faults first, then the handler, with
// every error turned into a JSON answer.
httplib::Server::Handler apiRoute(ServiceContext &ctx, ApiHandler handler);

} // namespace tessly::server
