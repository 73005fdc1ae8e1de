#include "http/routes.h"
#include "http/servicecontext.h"
#include "web/html.h"
#include "web/webpages.h"
#include "web/websession.h"

#include <httplib.h>

namespace tessly::server {

void registerWebRoutes(httplib::Server &server, ServiceContext &ctx)
{
    registerAuthPages(server, ctx);
    registerDashboardPages(server, ctx);
    server.Get("/l/([^/]+)",
        [&ctx](const httplib::Request &req, httplib::Response &res) { followShortLink(ctx, req.matches[1], res); });
    // Share pages are for the people a link was given to, not for search engines.
    server.Get("/robots.txt", [](const httplib::Request &, httplib::Response &res) {
        res.set_content("User-agent: *\nDisallow: /\n", "text/plain");
    });
    server.Get("/", [&ctx](const httplib::Request &req, httplib::Response &res) {
        if (sessionUser(ctx, req))
            return redirect(res, "/me");
        sendPage(res, 200, "Welcome",
            "<div class=\"card\"><h1>Tessly Cloud</h1><p>Share screenshots, recordings, files and links.</p>"
            "<a class=\"button\" href=\"/auth/login\">Sign in</a> "
            "<a class=\"button\" href=\"/get-started\">Get started</a></div>");
    });
}

} // namespace tessly::server
