#include "web/websession.h"

#include "common/text.h"
#include "http/servicecontext.h"

#include <httplib.h>

namespace tessly::server {

namespace {

constexpr const char *kCookie = "tessly_session";

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
    return ctx.accounts->userForToken(token);
}

void startSession(ServiceContext &ctx, httplib::Response &res, std::int64_t userId)
{
    std::string cookie = std::string(kCookie) + "=" + ctx.accounts->issueToken(userId, "web")
        + "; Path=/; HttpOnly; SameSite=Lax; Max-Age=2592000";
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

void redirect(httplib::Response &res, const std::string &location, int status)
{
    res.status = status;
    res.set_header("Location", location);
    res.set_header("Cache-Control", "no-store");
}

} // namespace tessly::server
