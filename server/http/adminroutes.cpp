// Test and operator endpoints, off unless `serve --admin`:
//   GET  /admin/faults            the fault list and how often each fault fired
//   PUT  /admin/faults            {"faults": LIST} replaces the fault list
//   GET  /admin/uploads/ID/parts  PUT attempts and stored parts per part number
//   POST /admin/users             {"email","password","profile","customDomain"} -> {"token"}
//   PUT  /admin/clock             {"offsetSeconds": N} moves the clock expiry is judged by
//   PUT  /admin/client-release    {"version","downloadUrl"} the client release offered for download
// Every request needs the admin token as a bearer token, must come from a
// loopback peer and name a loopback host (a browser tricked by DNS
// rebinding sends its own Host), and bodies must be JSON (a cross-site form
// cannot send that without the browser asking first).
#include "common/crypto.h"
#include "common/text.h"
#include "http/apisupport.h"
#include "http/routes.h"
#include "http/servicecontext.h"

#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace tessly::server {

namespace {

bool isLoopbackAddress(const std::string &address)
{
    return startsWith(address, "127.") || address == "::1" || startsWith(address, "::ffff:127.");
}

bool isLoopbackHost(const std::string &hostHeader)
{
    std::string host = toLower(hostHeader);
    if (startsWith(host, "[")) {
        const auto end = host.find(']');
        if (end == std::string::npos || (end + 1 < host.size() && host[end + 1] != ':'))
            return false;
        return host.substr(1, end - 1) == "::1";
    }
    if (const auto colon = host.find(':'); colon != std::string::npos)
        host.resize(colon);
    return host == "localhost"
        || (startsWith(host, "127.") && host.find_first_not_of("0123456789.") == std::string::npos);
}

httplib::Server::Handler adminRoute(ServiceContext &ctx, bool takesBody, ApiHandler handler)
{
    return [&ctx, takesBody, handler = std::move(handler)](const httplib::Request &req, httplib::Response &res) {
        const std::string authorization = req.get_header_value("Authorization");
        if (!isLoopbackAddress(ctx.clientAddress(req)) || !isLoopbackHost(req.get_header_value("Host")))
            return sendError(res, notFound("Not found"));
        if (!startsWith(authorization, "Bearer ") || !secureEquals(authorization.substr(7), ctx.adminToken))
            return sendError(res, ServiceError(401, "Unauthorized", "The admin token is required"));
        if (takesBody && !startsWith(toLower(req.get_header_value("Content-Type")), "application/json"))
            return sendError(res, ServiceError(415, "UnsupportedMediaType", "The body must be JSON"));
        try {
            handler(req, res);
        } catch (const ServiceError &error) {
            sendError(res, error);
        } catch (const std::exception &error) {
            sendError(res, ServiceError(500, "InternalError", error.what()));
        }
    };
}

void setFaults(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const std::string faults = optionalString(parseJsonObject(req), "faults", 4096).value_or("off");
    try {
        ctx.faults.configure(faults);
    } catch (const std::invalid_argument &error) {
        throw badRequest(error.what());
    }
    sendJson(res, 200, ctx.faults.counters());
}

void addUser(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const Json body = parseJsonObject(req);
    const std::string email = requireString(body, "email", 254);
    const std::string password = requireString(body, "password", 1024);
    const auto profileName = optionalString(body, "profile", 63);
    auto customDomain = optionalString(body, "customDomain", 253);
    if (customDomain) {
        customDomain = toLower(*customDomain);
        if (ctx.isOwnHost(*customDomain))
            throw badRequest("The custom domain is this service's own address");
    }
    const User user = ctx.db->transaction([&] {
        User created = ctx.accounts->createUser(email, password);
        if (profileName)
            ctx.accounts->createProfile(created.id, *profileName, customDomain);
        return created;
    });
    sendJson(res, 200, { { "token", ctx.accounts->issueToken(user.id, "api") }, { "id", user.id } });
}

} // namespace

std::string loadAdminToken(const ServiceConfig &config)
{
    const bool chosen = !config.adminTokenFile.empty();
    const std::string path = chosen ? config.adminTokenFile : config.dataDir + "/admin-token";
    if (!chosen) {
        // Made once, readable by the service's user alone from the start.
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0) {
            const std::string token = randomToken(32) + "\n";
            const bool written = ::write(fd, token.data(), token.size()) == static_cast<ssize_t>(token.size());
            ::close(fd);
            if (!written)
                throw std::runtime_error("cannot write the admin token to " + path);
        }
    }
    struct stat info
    {
    };
    if (::stat(path.c_str(), &info) != 0)
        throw std::runtime_error("cannot read the admin token file " + path);
    if ((info.st_mode & 077) != 0 || info.st_uid != ::geteuid())
        throw std::runtime_error("the admin token file " + path + " must be the service user's own, mode 0600");
    std::string token;
    std::ifstream(path) >> token;
    if (token.size() < 16)
        throw std::runtime_error("the admin token in " + path + " must have at least 16 characters");
    return token;
}

void registerAdminRoutes(httplib::Server &server, ServiceContext &ctx)
{
    if (!ctx.config.admin)
        return;
    server.Get("/admin/faults",
        adminRoute(ctx, false, [&ctx](const auto &, auto &res) { sendJson(res, 200, ctx.faults.counters()); }));
    server.Put(
        "/admin/faults", adminRoute(ctx, true, [&ctx](const auto &req, auto &res) { setFaults(ctx, req, res); }));
    server.Get("/admin/uploads/([^/]+)/parts", adminRoute(ctx, false, [&ctx](const auto &req, auto &res) {
        sendJson(res, 200, ctx.faults.partCounts(req.matches[1]));
    }));
    server.Put("/admin/clock", adminRoute(ctx, true, [&ctx](const auto &req, auto &res) {
        const Json body = parseJsonObject(req);
        auto offset = body.find("offsetSeconds");
        if (offset == body.end() || !offset->is_number_integer())
            throw badRequest("\"offsetSeconds\" must be a whole number");
        ctx.clockOffsetSeconds = offset->get<std::int64_t>();
        sendJson(res, 200, { { "offsetSeconds", ctx.clockOffsetSeconds.load() } });
    }));
    server.Post("/admin/users", adminRoute(ctx, true, [&ctx](const auto &req, auto &res) { addUser(ctx, req, res); }));
    server.Put("/admin/client-release",
        adminRoute(ctx, true, [&ctx](const auto &req, auto &res) { publishClientRelease(ctx, req, res); }));
}

} // namespace tessly::server
