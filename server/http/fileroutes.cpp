#include "common/text.h"
#include "http/apisupport.h"
#include "http/records.h"
#include "http/routes.h"
#include "http/servicecontext.h"
#include "objects/partsize.h"

namespace tessly::server {

namespace {

constexpr std::int64_t kMaxObjectSize = 5LL * 1024 * 1024 * 1024 * 1024; // S3's limit, 5 TiB

bool isMimeType(const std::string &text)
{
    auto slash = text.find('/');
    if (slash == std::string::npos || slash == 0 || slash + 1 == text.size() || text.size() > 255)
        return false;
    for (unsigned char c : text)
        if (c <= 0x20 || c >= 0x7f)
            return false;
    return text.find('/', slash + 1) == std::string::npos;
}

void listFiles(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    if (req.has_param("type") && req.get_param_value("type") != "user")
        throw badRequest("\"type\" must be \"user\"");
    ItemFilter filter;
    filter.count = listCount(req);
    if (req.has_param("mimeType"))
        filter.mimeType = req.get_param_value("mimeType");
    if (req.has_param("parentItem"))
        filter.parentItem = resolveParent(ctx, profile, req.get_param_value("parentItem"));
    if (!ctx.localStore)
        for (Item &pending : ctx.items->pendingFiles(profile.id, filter.count))
            ctx.refreshPending(pending);

    Records records(ctx.urls);
    Json items = Json::array();
    for (const Item &item : ctx.items->list(profile.id, filter))
        items.push_back(records.item(item, profile));
    sendJson(res, 200, { { "items", items }, { "count", items.size() } });
}

void presignOrInitiate(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const std::string name = requireString(body, "name", 4096);
    if (!isAcceptableName(name))
        throw badRequest("\"name\" must be a file name of at most 255 bytes without \"/\" or control characters");
    std::string mimeType = optionalString(body, "mimeType", 255).value_or("application/octet-stream");
    if (!isMimeType(mimeType))
        throw badRequest("\"mimeType\" must look like type/subtype");
    const auto parent = resolveParent(ctx, profile, optionalString(body, "parentItem", 256));
    const auto order = optionalOrder(body);
    const auto type = optionalString(body, "type", 32);
    if (type && *type != "multipart")
        throw badRequest("\"type\" must be \"multipart\" when given");

    Records records(ctx.urls);
    if (!type) {
        Item item = ctx.items->createFile(profile, name, mimeType, 0, parent, order);
        Json answer = records.item(item, profile);
        answer["url"] = ctx.store->presignPut(item.objectKey);
        answer["key"] = item.objectKey;
        sendJson(res, 200, answer);
        return;
    }

    auto size = body.find("size");
    if (size == body.end() || !size->is_number_unsigned() || size->get<std::uint64_t>() > kMaxObjectSize)
        throw badRequest("\"size\" must be a byte count of at most 5 TiB for a multipart upload");
    const auto bytes = static_cast<std::int64_t>(size->get<std::uint64_t>());
    Item item = ctx.items->createFile(profile, name, mimeType, bytes, parent, order);
    Upload upload;
    upload.backendUploadId = ctx.store->createMultipart(item.objectKey, mimeType);
    upload.uploadId = upload.backendUploadId;
    upload.item = item.item;
    upload.profileId = profile.id;
    upload.objectKey = item.objectKey;
    upload.size = bytes;
    upload.partSize = partSizeFor(bytes, ctx.config.partSize);
    upload.createdAt = nowSeconds();
    ctx.uploads->create(upload);

    Json answer = records.item(item, profile);
    answer["uploadId"] = upload.uploadId;
    answer["key"] = upload.objectKey;
    answer["partSize"] = upload.partSize;
    answer["partCount"] = upload.partCount();
    sendJson(res, 200, answer);
}

void getOneFile(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    auto item = ctx.items->findByCode(req.matches[2]);
    if (item && item->profileId == profile.id)
        ctx.refreshPending(*item);
    if (!item || item->profileId != profile.id || !item->stored) {
        // As a store answers for a missing object: a client waiting for the
        // file takes any JSON answer as the file itself.
        res.status = 404;
        res.set_content("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>NoSuchKey</Code><Message>The "
                        "file does not exist or its content has not arrived yet</Message></Error>\n",
            "application/xml");
        return;
    }
    sendJson(res, 200, Records(ctx.urls).item(*item, profile));
}

} // namespace

void registerFileRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/v1/files/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { listFiles(ctx, req, res); }));
    server.Post(
        "/v1/files/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { presignOrInitiate(ctx, req, res); }));
    server.Get(
        "/v1/files/([^/]+)/([^/]+)", apiRoute(ctx, [&ctx](const auto &req, auto &res) { getOneFile(ctx, req, res); }));
}

} // namespace tessly::server
