// What a request body may be, decided from its headers before any of it is
// read. httplib buffers the whole body of an ordinary route in memory, and a
// chunked body has no length to check, so:
//   - no route takes a chunked body, nor a POST or PUT without a length
//     (411): every client of this service knows its sizes, and S3 asks for
//     Content-Length on PUT too;
//   - forms of the web pages take at most kMaxFormBody (the new-document
//     form kMaxDocumentForm), JSON at most kMaxJsonBody (413);
//   - object and part PUTs stream to disk; their routes check the declared
//     length against the object's and part's limits themselves.
#pragma once

#include <cstddef>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

namespace tessly::server {

constexpr std::size_t kMaxJsonBody = 1 << 20;
constexpr std::size_t kMaxFormBody = 8 << 10; // httplib's own limit for urlencoded forms
constexpr std::size_t kMaxDocumentForm = 4 << 20; // a 1 MiB document, percent-encoded

// Answers the request and returns true when its body is not acceptable.
bool refuseUnacceptableBody(const httplib::Request &req, httplib::Response &res);

} // namespace tessly::server
