#include "http/apisupport.h"
#include "http/routes.h"
#include "http/servicecontext.h"

namespace tessly::server {

namespace {

Json profileJson(const ServiceContext &ctx, const Profile &profile)
{
    Json out = { { "domain", profile.domain }, { "name", profile.domain },
        { "shareOrigin", ctx.urls.shareOrigin(profile) } };
    if (profile.customDomain)
        out["customDomain"] = *profile.customDomain;
    return out;
}

} // namespace

void registerAccountRoutes(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/v1/users/me", apiRoute(ctx, [&ctx](const httplib::Request &req, httplib::Response &res) {
        const User user = requireUser(ctx, req);
        Json profiles = Json::array();
        for (const Profile &profile : ctx.accounts->profilesOf(user.id))
            profiles.push_back(profileJson(ctx, profile));
        sendJson(res, 200, { { "id", user.id }, { "email", user.email }, { "profiles", profiles } });
    }));

    server.Get("/v1/profiles/([^/]+)", apiRoute(ctx, [&ctx](const httplib::Request &req, httplib::Response &res) {
        const User user = requireUser(ctx, req);
        sendJson(res, 200, profileJson(ctx, requireOwnProfile(ctx, user, req.matches[1])));
    }));
}

} // namespace tessly::server
