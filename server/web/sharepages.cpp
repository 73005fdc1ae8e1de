// Public pages on a profile's host: a shared file or folder, its bytes, and
// short links.
#include "common/text.h"
#include "http/records.h"
#include "http/servicecontext.h"
#include "web/html.h"
#include "web/webpages.h"
#include "web/websession.h"

#include <httplib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

namespace tessly::server {

namespace {

constexpr std::string_view kVideoThumbnail
    = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"320\" height=\"180\" viewBox=\"0 0 320 180\">"
      "<rect width=\"320\" height=\"180\" rx=\"12\" fill=\"#1d1d1f\"/>"
      "<path d=\"M135 60 L195 90 L135 120 Z\" fill=\"#fff\"/></svg>";

std::optional<Profile> profileForHost(ServiceContext &ctx, const std::string &host)
{
    const std::string name = ctx.urls.profileNameFromHost(host);
    if (!name.empty())
        return ctx.accounts->profileByDomain(name);
    const std::string bare = hostOfAuthority(host);
    if (bare.find('.') == std::string::npos || ctx.isOwnHost(bare))
        return std::nullopt;
    return ctx.accounts->profileByCustomDomain(bare);
}

// A file name for Content-Disposition: a plain ASCII fallback plus the exact UTF-8 name.
std::string contentDisposition(const std::string &kind, const std::string &name)
{
    std::string fallback;
    for (unsigned char c : name)
        fallback += (c >= 0x20 && c < 0x7f && c != '"' && c != '\\') ? static_cast<char>(c) : '_';
    return kind + "; filename=\"" + fallback + "\"; filename*=UTF-8''" + uriEncode(name);
}

void serveBytes(ServiceContext &ctx, const Item &item, bool attachment, httplib::Response &res)
{
    const std::string presigned = ctx.store->presignGet(item.objectKey);
    if (!presigned.empty())
        return redirect(res, presigned);
    // The object's files one after the other (a multipart upload keeps its parts).
    struct Segment
    {
        std::string path;
        std::size_t start = 0;
        std::size_t size = 0;
    };
    auto segments = std::make_shared<std::vector<Segment>>();
    std::size_t size = 0;
    for (const std::string &path : ctx.store->localFiles(item.objectKey)) {
        std::error_code error;
        const auto length = static_cast<std::size_t>(std::filesystem::file_size(path, error));
        if (error)
            return sendMessagePage(res, 404, "Not found", "The file's content is not available.");
        segments->push_back({ path, size, length });
        size += length;
    }
    if (segments->empty())
        return sendMessagePage(res, 404, "Not found", "The file's content is not available.");
    res.set_header("Content-Disposition", contentDisposition(attachment ? "attachment" : "inline", item.name));
    res.set_header("X-Content-Type-Options", "nosniff");
    res.set_header("Content-Security-Policy", "sandbox; default-src 'none'; img-src 'self'; media-src 'self'");
    auto open = std::make_shared<std::pair<std::size_t, std::ifstream>>(segments->size(), std::ifstream());
    res.set_content_provider(size, attachment ? "application/octet-stream" : item.mimeType,
        [segments, open](std::size_t offset, std::size_t length, httplib::DataSink &sink) {
            const auto segment = std::upper_bound(segments->begin(), segments->end(), offset,
                                     [](std::size_t at, const Segment &s) { return at < s.start; })
                - 1;
            const auto index = static_cast<std::size_t>(segment - segments->begin());
            auto &[openIndex, file] = *open;
            if (openIndex != index) {
                file = std::ifstream(segment->path, std::ios::binary);
                openIndex = index;
            }
            char buffer[64 * 1024];
            file.clear();
            file.seekg(static_cast<std::streamoff>(offset - segment->start));
            const auto wanted = std::min({ length, sizeof buffer, segment->start + segment->size - offset });
            file.read(buffer, static_cast<std::streamsize>(wanted));
            const auto got = file.gcount();
            return got > 0 && sink.write(buffer, static_cast<std::size_t>(got));
        });
}

bool isInlineMedia(const std::string &mimeType)
{
    return startsWith(mimeType, "image/") || startsWith(mimeType, "video/") || startsWith(mimeType, "audio/");
}

std::string filePage(const Item &item, const std::string &code)
{
    const std::string raw = "/" + code + "/raw";
    std::string media;
    if (startsWith(item.mimeType, "image/"))
        media = "<img class=\"media\" src=\"" + raw + "\" alt=\"" + htmlEscape(item.name) + "\">";
    else if (startsWith(item.mimeType, "video/"))
        media = "<video class=\"media\" src=\"" + raw + "\" controls autoplay muted loop playsinline></video>";
    else if (startsWith(item.mimeType, "audio/"))
        media = "<audio src=\"" + raw + "\" controls></audio>";
    return "<div class=\"card\">" + media + "<h1>" + htmlEscape(item.name) + "</h1><p class=\"muted\">"
        + htmlEscape(item.mimeType) + " · " + humanSize(item.size) + " · " + countOf(item.viewCount, "view")
        + "</p><a class=\"button\" href=\"/" + code + "/download\">Download</a></div>";
}

std::string folderPage(ServiceContext &ctx, const Item &folder, const Profile &profile)
{
    ItemFilter filter;
    filter.parentItem = folder.item;
    filter.count = 200;
    std::string rows;
    for (const Item &child : ctx.items->list(profile.id, filter))
        rows += "<tr><td><a href=\"/" + child.code + "\">" + htmlEscape(child.name) + "</a></td><td class=\"num\">"
            + htmlEscape(child.mimeType) + "</td></tr>";
    return "<div class=\"card\"><h1>" + htmlEscape(folder.name) + "</h1>"
        + (rows.empty() ? "<p class=\"muted\">This folder is empty.</p>" : "<table>" + rows + "</table>") + "</div>";
}

void shareItem(ServiceContext &ctx, const Profile &profile, const std::string &code, const std::string &action,
    httplib::Response &res)
{
    auto item = ctx.items->findByCode(code);
    if (item && item->profileId == profile.id)
        ctx.refreshPending(*item);
    if (!item || item->profileId != profile.id || !item->stored)
        return sendMessagePage(res, 404, "Not found", "There is nothing shared at this address.");
    const bool folder = item->kind == ItemKind::Folder;
    if (action.empty()) {
        ctx.items->incrementViews(item->item);
        ++item->viewCount;
        return sendPage(res, 200, item->name, folder ? folderPage(ctx, *item, profile) : filePage(*item, code));
    }
    if (folder)
        return sendMessagePage(res, 404, "Not found", "A folder has no content of its own.");
    if (action == "download")
        return serveBytes(ctx, *item, true, res);
    if (action == "raw")
        return serveBytes(ctx, *item, !isInlineMedia(item->mimeType), res);
    if (action == "thumbnail") {
        if (startsWith(item->mimeType, "image/"))
            return serveBytes(ctx, *item, false, res);
        if (startsWith(item->mimeType, "video/"))
            return res.set_content(std::string(kVideoThumbnail), "image/svg+xml");
    }
    sendMessagePage(res, 404, "Not found", "There is nothing shared at this address.");
}

} // namespace

void followShortLink(ServiceContext &ctx, const std::string &slug, httplib::Response &res)
{
    auto link = ctx.links->bySlug(slug);
    if (!link)
        return sendMessagePage(res, 404, "Link not found", "This short link does not exist.");
    ctx.links->incrementViews(slug);
    redirect(res, link->content);
}

bool handleShareHost(ServiceContext &ctx, const httplib::Request &req, httplib::Response &res)
{
    auto profile = profileForHost(ctx, req.get_header_value("Host"));
    if (!profile) {
        if (!ctx.urls.profileNameFromHost(req.get_header_value("Host")).empty()) {
            sendMessagePage(res, 404, "Not found", "No profile answers at this address.");
            return true;
        }
        return false;
    }
    if (req.method != "GET" && req.method != "HEAD") {
        sendMessagePage(res, 405, "Not allowed", "Share pages can only be read.");
        return true;
    }
    const auto parts = split(req.path.substr(1), '/');
    if (parts.size() == 2 && parts[0] == "l")
        followShortLink(ctx, parts[1], res);
    else if (req.path == "/")
        sendMessagePage(
            res, 200, profile->domain, "Files shared by " + profile->domain + " appear at their own links.");
    else if (parts.size() == 1)
        shareItem(ctx, *profile, parts[0], {}, res);
    else if (parts.size() == 2)
        shareItem(ctx, *profile, parts[0], parts[1], res);
    else
        sendMessagePage(res, 404, "Not found", "There is nothing shared at this address.");
    return true;
}

} // namespace tessly::server
