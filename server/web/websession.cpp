#include "web/websession.h"

#include "common/text.h"
#include "http/servicecontext.h"

#include <httplib.h>

namespace tessly::server {

namespace {

constexpr const char *kCookie = "tessly_session";
constexpr std::int64_t kSessionSeconds = 30 * 24 * 3600; // as the cookie's Max-Age

std::string cookieValue(const httplib::Request &req)
{
    for (const std::string &part : split(req.get_header_value("Cookie"), ';')) {
        std::string entry = part;
        while (!entry.empty() && entry.front() == ' ')
            entry.erase(entry.begin());
        if (startsWith(entry, std::string(kCookie) + "="))
            return entry.substr(std::string(kCookie).size() + 1);
    }
    return {};
}

} // namespace

std::optional<User> sessionUser(ServiceContext &ctx, const httplib::Request &req)
{
    std::string token = cookieValue(req);
    if (token.empty())
        return std::nullopt;
    return ctx.accounts->userForToken(token, "web", ctx.now() - kSessionSeconds);
}

void startSession(ServiceContext &ctx, httplib::Response &res, std::int64_t userId)
{
    std::string cookie = std::string(kCookie) + "=" + ctx.accounts->issueToken(userId, "web")
        + "; Path=/; HttpOnly; SameSite=Lax; Max-Age=" + std::to_string(kSessionSeconds);
    if (ctx.urls.scheme() == "https")
        cookie += "; Secure";
    res.set_header("Set-Cookie", cookie);
}

void endSession(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    std::string token = cookieValue(req);
    if (!token.empty())
        ctx.accounts->revokeToken(token);
    res.set_header("Set-Cookie", std::string(kCookie) + "=; Path=/; HttpOnly; SameSite=Lax; Max-Age=0");
}

std::string formField(const httplib::Request &req, const std::string &name)
{
    for (const auto &[key, value] : parseQuery(req.body))
        if (key == name)
            return value;
    return {};
}

bool isCrossSiteForm(const httplib::Request &req)
{
    std::string source = req.get_header_value("Origin");
    if (source.empty())
        source = req.get_header_value("Referer");
    if (source.empty())
        return false; // not a browser's form, or one that names no origin at all
    return toLower(hostOfUrl(source)) != toLower(req.get_header_value("Host"));
}

void redirect(httplib::Response &res, const std::string &location, int status)
{
    res.status = status;
    res.set_header("Location", location);
    res.set_header("Cache-Control", "no-store");
}

} // namespace tessly::server
