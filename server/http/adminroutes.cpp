// Test and operator endpoints, answered only to peers on this machine:
//   GET  /admin/faults            the fault list and how often each fault fired
//   PUT  /admin/faults            replace the fault list (body: the list)
//   GET  /admin/uploads/ID/parts  PUT attempts and stored parts per part number
//   POST /admin/users             {"email","password","profile","customDomain"} -> {"token"}
#include "common/text.h"
#include "http/apisupport.h"
#include "http/routes.h"
#include "http/servicecontext.h"

namespace tessly::server {

namespace {

bool isLoopback(const std::string &address)
{
    return startsWith(address, "127.") || address == "::1" || startsWith(address, "::ffff:127.");
}

httplib::Server::Handler adminRoute(ServiceContext &ctx, ApiHandler handler)
{
    return [&ctx, handler = std::move(handler)](const httplib::Request &req, httplib::Response &res) {
        (void)ctx;
        if (!isLoopback(req.remote_addr))
            return sendError(res, notFound("Not found"));
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
    try {
        ctx.faults.configure(req.body);
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
    const auto customDomain = optionalString(body, "customDomain", 253);
    const User user = ctx.db->transaction([&] {
        User created = ctx.accounts->createUser(email, password);
        if (profileName)
            ctx.accounts->createProfile(created.id, *profileName, customDomain);
        return created;
    });
    sendJson(res, 200, { { "token", ctx.accounts->issueToken(user.id, "api") }, { "id", user.id } });
}

} // namespace

void registerAdminRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/admin/faults",
        adminRoute(ctx, [&ctx](const auto &, auto &res) { sendJson(res, 200, ctx.faults.counters()); }));
    auto set = adminRoute(ctx, [&ctx](const auto &req, auto &res) { setFaults(ctx, req, res); });
    server.Put("/admin/faults", set);
    server.Post("/admin/faults", set);
    server.Get("/admin/uploads/([^/]+)/parts", adminRoute(ctx, [&ctx](const auto &req, auto &res) {
        sendJson(res, 200, ctx.faults.partCounts(req.matches[1]));
    }));
    server.Post("/admin/users", adminRoute(ctx, [&ctx](const auto &req, auto &res) { addUser(ctx, req, res); }));
}

} // namespace tessly::server
