#include "web/html.h"

#include "common/text.h"

#include <httplib.h>

#include <cstdio>
#include <iterator>

namespace tessly::server {

namespace {

constexpr std::string_view kStyle = R"css(
*{box-sizing:border-box}
body{margin:0;font:16px/1.5 system-ui,-apple-system,"Segoe UI",Roboto,sans-serif;color:#1d1d1f;background:#f5f5f7}
header{background:#fff;border-bottom:1px solid #e0e0e5;padding:12px 24px;display:flex;gap:16px;align-items:center}
header a.brand{font-weight:600;color:#1d1d1f;text-decoration:none}
header nav{margin-left:auto;display:flex;gap:16px}
main{max-width:760px;margin:32px auto;padding:0 16px}
.card{background:#fff;border-radius:12px;padding:24px;box-shadow:0 1px 3px rgba(0,0,0,.08);margin-bottom:24px}
h1{font-size:24px;margin:0 0 16px}
h2{font-size:18px;margin:0 0 12px}
label{display:block;margin:12px 0 4px;font-weight:500}
input,textarea{width:100%;padding:10px 12px;border:1px solid #c7c7cc;border-radius:8px;font:inherit}
textarea{min-height:220px;font-family:ui-monospace,monospace}
button,.button{display:inline-block;margin-top:16px;padding:10px 18px;border:0;border-radius:8px;background:#0a66ff;color:#fff;font:inherit;font-weight:600;cursor:pointer;text-decoration:none}
.notice{padding:10px 12px;border-radius:8px;background:#e8f1ff;margin-bottom:12px}
.notice.error{background:#ffe9e8;color:#a1140b}
table{width:100%;border-collapse:collapse}
td,th{text-align:left;padding:8px 4px;border-bottom:1px solid #eee;vertical-align:top}
td.num{text-align:right;color:#6e6e73;white-space:nowrap}
.media{max-width:100%;border-radius:8px;display:block;margin:0 auto 16px}
.muted{color:#6e6e73}
a{color:#0a66ff}
)css";

} // namespace

std::string htmlEscape(std::string_view text)
{
    return escapeMarkup(text);
}

std::string htmlPage(std::string_view title, std::string_view body)
{
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                      "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\"><title>";
    out += htmlEscape(title);
    out += " · Tessly Cloud</title><style>";
    out += kStyle;
    out += "</style></head><body><header><a class=\"brand\" href=\"/\">Tessly Cloud</a></header><main>";
    out += body;
    out += "</main></body></html>\n";
    return out;
}

void sendPage(httplib::Response &res, int status, std::string_view title, std::string_view body)
{
    res.status = status;
    res.set_header("Cache-Control", "no-store");
    res.set_header("X-Frame-Options", "DENY");
    res.set_content(htmlPage(title, body), "text/html; charset=utf-8");
}

void sendMessagePage(httplib::Response &res, int status, std::string_view title, std::string_view message)
{
    sendPage(res, status, title,
        "<div class=\"card\"><h1>" + htmlEscape(title) + "</h1><p>" + htmlEscape(message) + "</p></div>");
}

std::string htmlField(
    std::string_view label, std::string_view name, std::string_view type, std::string_view value, bool autofocus)
{
    std::string id = "f-" + std::string(name);
    std::string out = "<label for=\"" + id + "\">" + htmlEscape(label) + "</label><input id=\"" + id + "\" name=\""
        + std::string(name) + "\" type=\"" + std::string(type) + "\" value=\"" + htmlEscape(value) + "\" required";
    if (autofocus)
        out += " autofocus";
    return out + ">";
}

std::string htmlNotice(std::string_view text, bool error)
{
    return std::string("<div class=\"notice") + (error ? " error" : "") + "\" role=\"status\">" + htmlEscape(text)
        + "</div>";
}

std::string humanSize(std::int64_t bytes)
{
    if (bytes < 1000)
        return countOf(bytes, "byte");
    static constexpr const char *kUnits[] = { "KB", "MB", "GB", "TB", "PB", "EB" };
    double value = static_cast<double>(bytes) / 1000;
    std::size_t unit = 0;
    // Step up while the shown number would read 1000 or more once rounded.
    while (unit + 1 < std::size(kUnits) && value >= 999.5) {
        value /= 1000;
        ++unit;
    }
    char text[32];
    if (value < 9.95)
        std::snprintf(text, sizeof text, "%.1f %s", value, kUnits[unit]);
    else
        std::snprintf(text, sizeof text, "%.0f %s", value, kUnits[unit]);
    return text;
}

std::string countOf(std::int64_t count, std::string_view singular)
{
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

} // namespace tessly::server
