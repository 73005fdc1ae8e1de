// One line per request on stderr. Secrets never appear: query signatures and
// tokens are replaced, and no header (Authorization, Cookie) is printed.
#pragma once

#include <string>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace tessly::server {

std::string redactTarget(const std::string &target);
std::string requestLogLine(const httplib::Request &req, const httplib::Response &res);

} // namespace tessly::server
