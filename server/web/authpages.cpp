// Sign-in and sign-up pages. "redirectTo=app" sends the browser on to the
// desktop app's URL scheme with a fresh bearer token and the profile name.
#include "common/serviceerror.h"
#include "common/text.h"
#include "http/servicecontext.h"
#include "web/html.h"
#include "web/webpages.h"
#include "web/websession.h"

#include <httplib.h>

#include <algorithm>

namespace tessly::server {

namespace {

std::string redirectTarget(const httplib::Request &req)
{
    return req.has_param("redirectTo") ? req.get_param_value("redirectTo") : std::string();
}

std::string withRedirect(const std::string &path, const std::string &target)
{
    return target.empty() ? path : path + "?redirectTo=" + uriEncode(target);
}

bool isPathChar(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')
        || std::string_view("-._~!$&'()*+,;=:@%").find(c) != std::string_view::npos;
}

// A path on this site, fit for a Location header.
bool isLocalPath(const std::string &target)
{
    // One "/" and then a path character. Browsers drop tabs and newlines and
    // read "\" as "/", so "/\t/evil.example" and "/\\evil.example" would
    // leave the site as "//evil.example" does.
    if (target.empty() || target[0] != '/' || (target.size() > 1 && !isPathChar(target[1])))
        return false;
    // Printable ASCII further on: a CR or LF would end the header (and
    // httplib drops such a header, leaving a redirect to nowhere), and a
    // space, "\" or non-ASCII byte is not sent raw in a URL.
    return std::none_of(
        target.begin() + 1, target.end(), [](unsigned char c) { return c <= 0x20 || c >= 0x7f || c == '\\'; });
}

// Where the browser goes once the user is known.
void finishSignIn(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res, const User &user)
{
    startSession(ctx, res, user.id);
    const std::string target = redirectTarget(req);
    const auto profiles = ctx.accounts->profilesOf(user.id);
    if (target == "app") {
        std::string location
            = ctx.config.urlScheme + "://login?token=" + uriEncode(ctx.accounts->issueToken(user.id, "api"));
        if (!profiles.empty())
            location += "&domain=" + uriEncode(profiles.front().domain);
        redirect(res, location);
    } else if (isLocalPath(target)) {
        redirect(res, target);
    } else if (!profiles.empty()) {
        redirect(res, "/me?domain=" + uriEncode(profiles.front().domain));
    } else {
        redirect(res, "/get-started");
    }
}

void loginForm(
    const httplib::Request &req, httplib::Response &res, int status, const std::string &email, const std::string &error)
{
    const std::string target = redirectTarget(req);
    std::string body = "<div class=\"card\"><h1>Sign in</h1>";
    if (target == "app")
        body += "<p class=\"muted\">Sign in to connect the Tessly Cloud app.</p>";
    if (!error.empty())
        body += htmlNotice(error, true);
    body += "<form method=\"post\" action=\"" + htmlEscape(withRedirect("/auth/login", target)) + "\">";
    body += htmlField("E-mail", "email", "email", email, email.empty());
    body += htmlField("Password", "password", "password", {}, !email.empty());
    body += "<button type=\"submit\">Sign in</button></form>";
    body += "<p class=\"muted\">No account yet? <a href=\"" + htmlEscape(withRedirect("/get-started", target))
        + "\">Get started</a></p></div>";
    sendPage(res, status, "Sign in", body);
}

void login(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const std::string email = formField(req, "email");
    const std::string password = formField(req, "password");
    const std::string address = ctx.clientAddress(req);
    if (const std::int64_t wait = ctx.signIns.waitFor(address, email, ctx.now()); wait > 0) {
        res.set_header("Retry-After", std::to_string(wait));
        return loginForm(req, res, 429, email,
            "Too many failed sign-ins. Try again in " + std::to_string((wait + 59) / 60) + " minutes.");
    }
    auto user = email.empty() || password.empty() ? std::nullopt : ctx.accounts->authenticate(email, password);
    if (!user) {
        if (!email.empty())
            ctx.signIns.failed(address, email, ctx.now());
        return loginForm(req, res, 401, email, "The e-mail address or the password is not right.");
    }
    finishSignIn(ctx, req, res, *user);
}

void getStartedForm(
    ServiceContext &ctx, const httplib::Request &req, httplib::Response &res, int status, const std::string &error)
{
    const auto user = sessionUser(ctx, req);
    std::string body = "<div class=\"card\"><h1>Get started</h1>";
    body += user ? "<p>Signed in as " + htmlEscape(user->email) + ". Choose the name of your new profile.</p>"
                 : "<p>Create your account and its first profile. The profile name is the start of your share "
                   "links.</p>";
    if (!error.empty())
        body += htmlNotice(error, true);
    body += "<form method=\"post\" action=\"" + htmlEscape(withRedirect("/get-started", redirectTarget(req))) + "\">";
    if (!user) {
        body += htmlField("E-mail", "email", "email", formField(req, "email"), true);
        body += htmlField("Password", "password", "password");
    }
    body += htmlField("Profile name", "profile", "text", formField(req, "profile"), user.has_value());
    body += "<p class=\"muted\">Lower-case letters, digits and hyphens; your links look like https://NAME."
        + htmlEscape(ctx.urls.webDomain()) + "/…</p>";
    body += "<button type=\"submit\">Create</button></form></div>";
    sendPage(res, status, "Get started", body);
}

void getStarted(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    const std::string profileName = formField(req, "profile");
    try {
        const auto existing = sessionUser(ctx, req);
        const User user = ctx.db->transaction([&] {
            User owner
                = existing ? *existing : ctx.accounts->createUser(formField(req, "email"), formField(req, "password"));
            ctx.accounts->createProfile(owner.id, profileName, std::nullopt);
            return owner;
        });
        finishSignIn(ctx, req, res, user);
    } catch (const ServiceError &error) {
        getStartedForm(ctx, req, res, error.status(), error.what());
    }
}

} // namespace

void registerAuthPages(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/auth/login", [](const auto &req, auto &res) { loginForm(req, res, 200, {}, {}); });
    server.Post("/auth/login", [&ctx](const auto &req, auto &res) { login(ctx, req, res); });
    server.Get("/get-started", [&ctx](const auto &req, auto &res) { getStartedForm(ctx, req, res, 200, {}); });
    server.Post("/get-started", [&ctx](const auto &req, auto &res) { getStarted(ctx, req, res); });
    server.Post("/auth/logout", [&ctx](const auto &req, auto &res) {
        endSession(ctx, req, res);
        redirect(res, "/auth/login", 303);
    });
}

} // namespace tessly::server
