// The signed-in pages: recent items of a profile, new document, new link.
#include "common/serviceerror.h"
#include "common/text.h"
#include "http/servicecontext.h"
#include "web/html.h"
#include "web/webpages.h"
#include "web/websession.h"

#include <httplib.h>

namespace tessly::server {

namespace {

struct PageOwner
{
    User user;
    Profile profile;
};

// The session's user and the profile named by "domain"; answers the request
// itself (sign-in redirect, error page) and returns nullopt when it cannot go on.
std::optional<PageOwner> pageOwner(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto user = sessionUser(ctx, req);
    if (!user) {
        redirect(res, "/auth/login?redirectTo=" + uriEncode(req.target));
        return std::nullopt;
    }
    const auto profiles = ctx.accounts->profilesOf(user->id);
    const std::string wanted = req.has_param("domain") ? req.get_param_value("domain") : std::string();
    if (wanted.empty()) {
        if (profiles.empty()) {
            redirect(res, "/get-started");
            return std::nullopt;
        }
        return PageOwner { *user, profiles.front() };
    }
    for (const Profile &profile : profiles)
        if (profile.domain == wanted)
            return PageOwner { *user, profile };
    sendMessagePage(res, 404, "Profile not found", "None of your profiles is called \"" + wanted + "\".");
    return std::nullopt;
}

std::string navigation(const Profile &profile)
{
    const std::string domain = uriEncode(profile.domain);
    return "<p><a class=\"button\" href=\"/me/documents/new?domain=" + domain
        + "\">New document</a> <a class=\"button\" href=\"/me/links/new?domain=" + domain
        + "\">New link</a></p><form method=\"post\" action=\"/auth/logout\"><button type=\"submit\">Sign "
          "out</button></form>";
}

std::string itemRows(ServiceContext &ctx, const Profile &profile, const std::vector<Item> &items)
{
    if (items.empty())
        return "<p class=\"muted\">Nothing here yet.</p>";
    std::string rows = "<table>";
    for (const Item &item : items) {
        const std::string url = ctx.urls.shareUrl(profile, item.code);
        rows += "<tr><td><a href=\"" + htmlEscape(url) + "\">" + htmlEscape(item.name) + "</a></td><td class=\"num\">"
            + htmlEscape(item.kind == ItemKind::Folder ? "Folder" : item.mimeType) + "</td><td class=\"num\">"
            + countOf(item.viewCount, "view") + "</td></tr>";
    }
    return rows + "</table>";
}

std::string tokenCard(ServiceContext &ctx, const User &user);

void recentItems(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    const Profile &profile = owner->profile;
    std::string body = "<div class=\"card\"><h1>" + htmlEscape(profile.domain) + "</h1><p class=\"muted\">"
        + htmlEscape(owner->user.email) + " · " + htmlEscape(ctx.urls.shareOrigin(profile)) + "</p>"
        + navigation(profile) + "</div>";
    ItemFilter files;
    files.kind = ItemKind::File;
    body += "<div class=\"card\"><h2>Recent files</h2>" + itemRows(ctx, profile, ctx.items->list(profile.id, files))
        + "</div>";
    ItemFilter folders;
    folders.kind = ItemKind::Folder;
    body += "<div class=\"card\"><h2>Folders</h2>" + itemRows(ctx, profile, ctx.items->list(profile.id, folders))
        + "</div>";
    body += "<div class=\"card\"><h2>Links</h2>";
    const auto links = ctx.links->list(profile.id, 12);
    if (links.empty())
        body += "<p class=\"muted\">Nothing here yet.</p>";
    else {
        body += "<table>";
        for (const Link &link : links)
            body += "<tr><td><a href=\"" + htmlEscape(ctx.urls.shortUrl(profile, link.slug)) + "\">/l/"
                + htmlEscape(link.slug) + "</a></td><td>" + htmlEscape(link.content) + "</td><td class=\"num\">"
                + countOf(link.viewCount, "view") + "</td></tr>";
        body += "</table>";
    }
    body += "</div>" + tokenCard(ctx, owner->user);
    sendPage(res, 200, profile.domain, body);
}

// The app's bearer tokens, one per sign-in, each revocable here.
std::string tokenCard(ServiceContext &ctx, const User &user)
{
    const auto tokens = ctx.accounts->tokensOf(user.id, "api");
    std::string card = "<div class=\"card\"><h2>Signed-in apps</h2>";
    if (tokens.empty())
        return card + "<p class=\"muted\">No app is signed in.</p></div>";
    card += "<table>";
    for (const auto &token : tokens)
        card += "<tr><td>Signed in " + htmlEscape(isoTime(token.createdAt * 1000).substr(0, 10))
            + "</td><td class=\"num\"><form method=\"post\" action=\"/me/tokens/revoke\"><input type=\"hidden\" "
              "name=\"id\" value=\""
            + htmlEscape(token.id) + "\"><button type=\"submit\">Revoke</button></form></td></tr>";
    return card + "</table></div>";
}

void revokeToken(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    if (!ctx.accounts->revokeTokenById(owner->user.id, "api", formField(req, "id")))
        return sendMessagePage(res, 404, "Not found", "No such app sign-in.");
    redirect(res, "/me", 303);
}

void documentForm(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    sendPage(res, 200, "New document",
        "<div class=\"card\"><h1>New document</h1><form method=\"post\" action=\"/me/documents/new?domain="
            + htmlEscape(uriEncode(owner->profile.domain)) + "\">" + htmlField("Title", "title", "text", {}, true)
            + "<label for=\"f-text\">Text (Markdown)</label><textarea id=\"f-text\" name=\"text\"></textarea>"
              "<button type=\"submit\">Save</button></form></div>");
}

void createDocument(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    const std::string name = formField(req, "title") + ".md";
    const std::string text = formField(req, "text");
    if (!isAcceptableName(name) || text.size() > (1 << 20))
        return sendMessagePage(
            res, 400, "Cannot save", "The title must be a short name without slashes, the text at most 1 MiB.");
    Item item = ctx.items->createFile(owner->profile, name, "text/markdown", 0, std::nullopt, std::nullopt);
    ctx.store->putObject(item.objectKey, text, "text/markdown");
    ctx.items->markStored(item.item, static_cast<std::int64_t>(text.size()), std::nullopt);
    redirect(res, "/me?domain=" + uriEncode(owner->profile.domain), 303);
}

void linkForm(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    sendPage(res, 200, "New link",
        "<div class=\"card\"><h1>New short link</h1><form method=\"post\" action=\"/me/links/new?domain="
            + htmlEscape(uriEncode(owner->profile.domain)) + "\">" + htmlField("Web address", "url", "url", {}, true)
            + "<button type=\"submit\">Shorten</button></form></div>");
}

void createLink(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto owner = pageOwner(ctx, req, res);
    if (!owner)
        return;
    const std::string url = formField(req, "url");
    const std::string lower = toLower(url);
    if (url.size() > 4096 || !(startsWith(lower, "http://") || startsWith(lower, "https://"))
        || url.find_first_of(" \r\n\t") != std::string::npos)
        return sendMessagePage(res, 400, "Cannot shorten", "Enter an http or https address.");
    const Link link = ctx.links->create(owner->profile, url);
    const std::string shortUrl = ctx.urls.shortUrl(owner->profile, link.slug);
    sendPage(res, 201, "Link created",
        "<div class=\"card\"><h1>Link created</h1><p><a href=\"" + htmlEscape(shortUrl) + "\">" + htmlEscape(shortUrl)
            + "</a></p><p class=\"muted\">leads to " + htmlEscape(url) + "</p><p><a href=\"/me?domain="
            + htmlEscape(uriEncode(owner->profile.domain)) + "\">Back to your items</a></p></div>");
}

} // namespace

void registerDashboardPages(httplib::Server &server, ServiceContext &ctx)
{
    server.Get("/me", [&ctx](const auto &req, auto &res) { recentItems(ctx, req, res); });
    server.Get("/me/documents/new", [&ctx](const auto &req, auto &res) { documentForm(ctx, req, res); });
    server.Post("/me/documents/new", [&ctx](const auto &req, auto &res) { createDocument(ctx, req, res); });
    server.Get("/me/links/new", [&ctx](const auto &req, auto &res) { linkForm(ctx, req, res); });
    server.Post("/me/links/new", [&ctx](const auto &req, auto &res) { createLink(ctx, req, res); });
    server.Post("/me/tokens/revoke", [&ctx](const auto &req, auto &res) { revokeToken(ctx, req, res); });
}

} // namespace tessly::server
