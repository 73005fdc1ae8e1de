#include "common/text.h"
#include "http/apisupport.h"
#include "http/records.h"
#include "http/routes.h"
#include "http/servicecontext.h"

namespace tessly::server {

namespace {

const Json &payloadOf(const Json &body)
{
    auto payload = body.find("payload");
    if (payload == body.end() || !payload->is_object())
        throw badRequest("The body must be {\"payload\": {...}}");
    return *payload;
}

bool isWebUrl(const std::string &url)
{
    if (url.size() > 4096 || !(startsWith(toLower(url), "http://") || startsWith(toLower(url), "https://")))
        return false;
    const std::size_t hostStart = url.find("://") + 3;
    if (hostStart >= url.size() || url[hostStart] == '/')
        return false;
    for (unsigned char c : url)
        if (c <= 0x20 || c == 0x7f)
            return false;
    return true;
}

void listFolders(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    if (req.has_param("type") && req.get_param_value("type") != "user")
        throw badRequest("\"type\" must be \"user\"");
    ItemFilter filter;
    filter.kind = ItemKind::Folder;
    filter.count = listCount(req);
    if (req.has_param("parentItem"))
        filter.parentItem = resolveParent(ctx, profile, req.get_param_value("parentItem"));
    Records records(ctx.urls);
    Json items = Json::array();
    for (const Item &item : ctx.items->list(profile.id, filter))
        items.push_back(records.item(item, profile));
    sendJson(res, 200, { { "items", items }, { "count", items.size() } });
}

void createFolder(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const Json &payload = payloadOf(body);
    const std::string name = requireString(payload, "name", 4096);
    if (!isAcceptableName(name))
        throw badRequest("\"name\" must be a folder name of at most 255 bytes without \"/\" or control characters");
    const auto parent = resolveParent(ctx, profile, optionalString(payload, "parentItem", 256));
    const Item folder = ctx.items->createFolder(profile, name, parent, optionalOrder(payload));
    sendJson(res, 200, Records(ctx.urls).item(folder, profile));
}

void listLinks(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    Records records(ctx.urls);
    Json items = Json::array();
    for (const Link &link : ctx.links->list(profile.id, listCount(req)))
        items.push_back(records.link(link, profile));
    sendJson(res, 200, { { "items", items }, { "count", items.size() } });
}

void createLink(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const Json &payload = payloadOf(body);
    const std::string content = requireString(payload, "content", 8192);
    if (!isWebUrl(content))
        throw badRequest("\"content\" must be an http or https URL of at most 4096 characters");
    sendJson(res, 200, Records(ctx.urls).link(ctx.links->create(profile, content), profile));
}

} // namespace

void registerFolderAndLinkRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Get(
        "/v1/folders/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { listFolders(ctx, req, res); }));
    server.Post(
        "/v1/folders/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { createFolder(ctx, req, res); }));
    server.Get("/v1/links/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { listLinks(ctx, req, res); }));
    server.Post("/v1/links/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { createLink(ctx, req, res); }));
}

} // namespace tessly::server
