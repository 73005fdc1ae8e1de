#include "common/text.h"
#include "http/apisupport.h"
#include "http/records.h"
#include "http/routes.h"
#include "http/servicecontext.h"
#include "objects/partsize.h"

namespace tessly::server {

namespace {

constexpr std::size_t kMaxPartsPerRequest = 1000;

ServiceError noSuchUpload(const std::string &detail)
{
    return ServiceError(404, "NoSuchUpload", "The specified upload does not exist: " + detail);
}

// The open upload named by the body, after checking ownership and key.
Upload openUpload(ServiceContext &ctx, const Profile &profile, const Json &body)
{
    const std::string key = requireString(body, "key", 512);
    const std::string uploadId = requireString(body, "uploadId", 512);
    auto upload = ctx.uploads->find(uploadId);
    if (!upload)
        throw noSuchUpload("unknown upload id");
    if (upload->profileId != profile.id)
        throw forbidden("The upload belongs to another profile");
    if (upload->objectKey != key)
        throw badRequest("\"key\" does not match the upload");
    if (upload->state == UploadState::Completed)
        throw noSuchUpload("the upload was already completed");
    if (upload->state == UploadState::Aborted)
        throw noSuchUpload("the upload was aborted");
    if (upload->createdAt + ctx.config.uploadTtlSeconds < ctx.now()) {
        ctx.store->abortMultipart(upload->objectKey, upload->backendUploadId);
        ctx.uploads->setState(upload->uploadId, UploadState::Aborted);
        throw noSuchUpload("the upload has expired");
    }
    return *upload;
}

int checkedPartNumber(const Json &value, const Upload &upload)
{
    const std::int64_t last = std::min(upload.partCount(), kMaxParts);
    if (!value.is_number_integer() || value.get<std::int64_t>() < 1 || value.get<std::int64_t>() > last)
        throw ServiceError(400, "InvalidArgument", "Part numbers must be integers from 1 to " + std::to_string(last));
    return static_cast<int>(value.get<std::int64_t>());
}

void partUrls(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const Upload upload = openUpload(ctx, profile, body);
    auto numbers = body.find("partNumbers");
    if (numbers == body.end() || !numbers->is_array() || numbers->empty())
        throw badRequest("\"partNumbers\" must be a non-empty array");
    if (numbers->size() > kMaxPartsPerRequest)
        throw badRequest("At most 1000 part URLs can be requested at once");
    Json parts = Json::array();
    for (const Json &number : *numbers) {
        const int partNumber = checkedPartNumber(number, upload);
        parts.push_back({ { "partNumber", partNumber },
            { "url", ctx.store->presignPart(upload.objectKey, upload.backendUploadId, partNumber) } });
    }
    sendJson(res, 200, { { "parts", parts } });
}

std::vector<PartRef> checkedPartList(const Json &body, const Upload &upload)
{
    auto list = body.find("parts");
    if (list == body.end() || !list->is_array() || list->empty())
        throw ServiceError(400, "MalformedXML", "\"parts\" must be a non-empty array");
    std::vector<PartRef> parts;
    for (const Json &entry : *list) {
        if (!entry.is_object())
            throw ServiceError(400, "InvalidPart", "Each part is an object with \"partNumber\" and \"etag\"");
        auto number = entry.find("partNumber");
        auto etag = entry.find("etag");
        if (number == entry.end())
            throw ServiceError(400, "InvalidPart", "A part has no \"partNumber\"");
        if (etag == entry.end() || !etag->is_string() || etag->get<std::string>().empty())
            throw ServiceError(400, "InvalidPart", "Part " + number->dump() + " has no ETag");
        PartRef part { checkedPartNumber(*number, upload), etag->get<std::string>() };
        if (!parts.empty() && part.partNumber <= parts.back().partNumber)
            throw ServiceError(400, "InvalidPartOrder", "The list of parts was not in ascending order");
        parts.push_back(std::move(part));
    }
    if (static_cast<std::int64_t>(parts.size()) != upload.partCount())
        throw ServiceError(400, "InvalidPart",
            "The upload has " + std::to_string(upload.partCount()) + " parts but " + std::to_string(parts.size())
                + " were listed");
    return parts;
}

void complete(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const Upload upload = openUpload(ctx, profile, body);
    const std::vector<PartRef> parts = checkedPartList(body, upload);
    const ObjectInfo info
        = ctx.store->completeMultipart(upload.objectKey, upload.backendUploadId, parts, upload.partSize, upload.size);
    ctx.uploads->setState(upload.uploadId, UploadState::Completed);
    ctx.items->markStored(upload.item, info.size, info.etag);

    auto item = ctx.items->find(upload.item);
    Json answer = Records(ctx.urls).item(*item, profile);
    answer["key"] = upload.objectKey;
    answer["uploadId"] = upload.uploadId;
    answer["etag"] = info.etag;
    sendJson(res, 200, answer);
}

void abort(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const User user = requireUser(ctx, req);
    const Profile profile = requireOwnProfile(ctx, user, req.matches[1]);
    const Json body = parseJsonObject(req);
    const Upload upload = openUpload(ctx, profile, body);
    ctx.store->abortMultipart(upload.objectKey, upload.backendUploadId);
    ctx.uploads->setState(upload.uploadId, UploadState::Aborted);
    res.status = 204;
}

} // namespace

void registerMultipartRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Post(
        "/v1/files/([^/]+)/parts", apiRoute(ctx, [&ctx](const auto &req, auto &res) { partUrls(ctx, req, res); }));
    server.Post(
        "/v1/files/([^/]+)/complete", apiRoute(ctx, [&ctx](const auto &req, auto &res) { complete(ctx, req, res); }));
    server.Post("/v1/files/([^/]+)/abort", apiRoute(ctx, [&ctx](const auto &req, auto &res) { abort(ctx, req, res); }));
}

} // namespace tessly::server
