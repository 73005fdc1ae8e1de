// The service's own version, and the desktop client's release that the
// service offers for download:
//   GET /v1/version              {"version"} of this service (no sign-in needed)
//   GET /v1/client/latest        {"version", "downloadUrl"} (no sign-in needed)
//   PUT /admin/client-release    {"version", "downloadUrl"} publishes one (--admin)
// Until one is published the answer is this service's own version with the
// download page on its web domain, so clients built with it are up to date.
// The published release is kept in DATA/client-release.json.
#include "http/apisupport.h"
#include "http/routes.h"
#include "http/servicecontext.h"

#include <cstdio>
#include <fstream>
#include <mutex>

#ifndef TESSLY_VERSION
#define TESSLY_VERSION "0.0.0"
#endif

namespace tessly::server {

namespace {

std::mutex releaseMutex;

std::string releasePath(const ServiceContext &ctx)
{
    return ctx.config.dataDir + "/client-release.json";
}

Json currentRelease(const ServiceContext &ctx)
{
    const std::lock_guard<std::mutex> lock(releaseMutex);
    std::ifstream in(releasePath(ctx));
    if (in) {
        Json stored = Json::parse(in, nullptr, false);
        if (stored.is_object() && stored.value("version", "") != "" && stored.value("downloadUrl", "") != "")
            return stored;
    }
    return { { "version", TESSLY_VERSION }, { "downloadUrl", ctx.urls.origin() + "/download" } };
}

// "1.2.3": one to four dot-separated numbers.
bool isVersion(const std::string &text)
{
    int numbers = 0;
    bool digit = false;
    for (const char c : text) {
        if (c >= '0' && c <= '9') {
            digit = true;
        } else if (c == '.' && digit) {
            digit = false;
            ++numbers;
        } else {
            return false;
        }
    }
    return digit && numbers < 4;
}

} // namespace

void publishClientRelease(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const Json body = parseJsonObject(req);
    const std::string version = requireString(body, "version", 32);
    const std::string downloadUrl = requireString(body, "downloadUrl", 2048);
    if (!isVersion(version))
        throw badRequest("\"version\" must look like 1.2.3");
    if (downloadUrl.rfind("https://", 0) != 0 && downloadUrl.rfind("http://", 0) != 0)
        throw badRequest("\"downloadUrl\" must be an http or https address");
    const Json release = { { "version", version }, { "downloadUrl", downloadUrl } };
    {
        const std::lock_guard<std::mutex> lock(releaseMutex);
        const std::string path = releasePath(ctx);
        const std::string partial = path + ".partial";
        {
            std::ofstream out(partial, std::ios::trunc);
            out << release.dump();
            if (!out.flush())
                throw std::runtime_error("cannot write " + partial);
        }
        if (std::rename(partial.c_str(), path.c_str()) != 0)
            throw std::runtime_error("cannot replace " + path);
    }
    sendJson(res, 200, release);
}

void registerClientRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/v1/version", apiRoute(ctx, [](const httplib::Request &, httplib::Response &res) {
        sendJson(res, 200, Json { { "version", TESSLY_VERSION } });
    }));
    server.Get("/v1/client/latest", apiRoute(ctx, [&ctx](const httplib::Request &, httplib::Response &res) {
        sendJson(res, 200, currentRelease(ctx));
    }));
}

} // namespace tessly::server
