// Plain HTML pages: one layout, escaping, small form helpers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace httplib {
struct Response;
}

namespace tessly::server {

std::string htmlEscape(std::string_view text);
// A whole page around `body`, with the service's one stylesheet.
std::string htmlPage(std::string_view title, std::string_view body);
void sendPage(httplib::Response &res, int status, std::string_view title, std::string_view body);
void sendMessagePage(httplib::Response &res, int status, std::string_view title, std::string_view message);
// A labelled input; `type` is text, email, password, url.
std::string htmlField(std::string_view label, std::string_view name, std::string_view type, std::string_view value = {},
    bool autofocus = false);
std::string htmlNotice(std::string_view text, bool error);

// "1 byte", "999 bytes", "1.5 KB", "12 MB": decimal units, one decimal below 10.
std::string humanSize(std::int64_t bytes);
// "1 view", "3 views".
std::string countOf(std::int64_t count, std::string_view singular);

} // namespace tessly::server
