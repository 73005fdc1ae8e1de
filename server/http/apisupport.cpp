#include "http/apisupport.h"

#include "common/itemcode.h"
#include "common/text.h"
#include "http/bodylimits.h"
#include "http/servicecontext.h"
#include "storage/database.h"

#include <iostream>

namespace tessly::server {

void sendJson(httplib::Response &res, int status, const Json &body)
{
    res.status = status;
    res.set_content(body.dump(-1, ' ', false, Json::error_handler_t::replace), "application/json");
}

void sendError(httplib::Response &res, const ServiceError &error)
{
    sendJson(res, error.status(), { { "error", error.code() }, { "message", error.what() } });
}

Json parseJsonObject(const httplib::Request &req)
{
    if (req.body.size() > kMaxJsonBody)
        throw ServiceError(413, "PayloadTooLarge", "The request body is too large");
    Json body = Json::parse(req.body, nullptr, false);
    if (body.is_discarded())
        throw badRequest("The request body is not valid JSON");
    if (!body.is_object())
        throw badRequest("The request body must be a JSON object");
    return body;
}

std::optional<std::string> optionalString(const Json &object, const char *field, std::size_t maxBytes)
{
    auto found = object.find(field);
    if (found == object.end() || found->is_null())
        return std::nullopt;
    if (!found->is_string())
        throw badRequest(std::string("\"") + field + "\" must be a string");
    std::string value = found->get<std::string>();
    if (value.size() > maxBytes)
        throw badRequest(std::string("\"") + field + "\" is too long");
    return value;
}

std::string requireString(const Json &object, const char *field, std::size_t maxBytes)
{
    auto value = optionalString(object, field, maxBytes);
    if (!value || value->empty())
        throw badRequest(std::string("\"") + field + "\" is required");
    return *value;
}

std::optional<std::string> optionalOrder(const Json &object)
{
    auto found = object.find("order");
    if (found == object.end() || found->is_null())
        return std::nullopt;
    if (found->is_number_integer())
        return std::to_string(found->get<std::int64_t>());
    if (found->is_number())
        return found->dump();
    if (found->is_string() && found->get<std::string>().size() <= 32)
        return found->get<std::string>();
    throw badRequest("\"order\" must be a number or a short string");
}

User requireUser(ServiceContext &ctx, const httplib::Request &req)
{
    const std::string header = req.get_header_value("Authorization");
    const std::string prefix = "Bearer ";
    if (startsWith(header, prefix)) {
        if (auto user = ctx.accounts->userForToken(header.substr(prefix.size()), "api"))
            return *user;
    }
    throw ServiceError(401, "Unauthorized", "A valid bearer token is required");
}

Profile requireOwnProfile(ServiceContext &ctx, const User &user, const std::string &domain)
{
    auto profile = ctx.accounts->profileByDomain(domain);
    if (!profile)
        throw notFound("No profile named \"" + domain + "\"");
    if (profile->userId != user.id)
        throw forbidden("The profile \"" + domain + "\" belongs to another account");
    return *profile;
}

std::optional<std::int64_t> resolveParent(
    ServiceContext &ctx, const Profile &profile, const std::optional<std::string> &parentItem)
{
    if (!parentItem || parentItem->empty())
        return std::nullopt;
    std::string itemText = *parentItem;
    auto slash = itemText.find('/');
    if (slash != std::string::npos) {
        if (itemText.substr(0, slash) != profile.domain)
            throw badRequest("\"parentItem\" names a folder of another profile");
        itemText = itemText.substr(slash + 1);
    }
    auto item = parseItemNumber(itemText);
    if (!item)
        throw badRequest("\"parentItem\" must be DOMAIN/ITEM");
    auto folder = ctx.items->find(*item);
    if (!folder || folder->profileId != profile.id || folder->kind != ItemKind::Folder)
        throw notFound("The parent folder does not exist");
    return folder->item;
}

int listCount(const httplib::Request &req)
{
    if (!req.has_param("count"))
        return 12;
    auto count = parseUnsigned(req.get_param_value("count"));
    if (!count || *count < 1 || *count > 200)
        throw badRequest("\"count\" must be between 1 and 200");
    return static_cast<int>(*count);
}

namespace {

bool answerInjectedFault(ApiFault fault, httplib::Response &res)
{
    switch (fault) {
    case ApiFault::None:
        return false;
    case ApiFault::Error500Json:
        sendJson(res, 500, { { "error", "InternalError" }, { "message", "Injected fault" } });
        return true;
    case ApiFault::Error500Text:
        res.status = 500;
        res.set_content("Internal Server Error (injected)", "text/plain");
        return true;
    case ApiFault::Unauthorized:
        sendJson(res, 401, { { "error", "Unauthorized" }, { "message", "Injected fault" } });
        return true;
    case ApiFault::Empty200:
        res.status = 200;
        return true;
    }
    return false;
}

} // namespace

httplib::Server::Handler apiRoute(ServiceContext &ctx, ApiHandler handler)
{
    return [&ctx, handler = std::move(handler)](const httplib::Request &req, httplib::Response &res) {
        if (answerInjectedFault(ctx.faults.nextApiFault(), res))
            return;
        try {
            handler(req, res);
        } catch (const ServiceError &error) {
            sendError(res, error);
        } catch (const DatabaseError &error) {
            std::cerr << "database error: " << error.what() << std::endl;
            sendError(res, ServiceError(500, "InternalError", "The service could not complete the request"));
        } catch (const std::exception &error) {
            std::cerr << "request failed: " << error.what() << std::endl;
            sendError(res, ServiceError(500, "InternalError", "The service could not complete the request"));
        }
    };
}

} // namespace tessly::server
