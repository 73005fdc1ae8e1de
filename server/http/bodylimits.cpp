#include "http/bodylimits.h"

#include "common/text.h"
#include "http/apisupport.h"
#include "web/html.h"

#include <httplib.h>

namespace tessly::server {

namespace {

bool isJsonRoute(const std::string &path)
{
    return startsWith(path, "/v1/") || startsWith(path, "/admin/");
}

void refuse(const httplib::Request &req, httplib::Response &res, int status, const std::string &message)
{
    // The body was not read, so the connection cannot carry another request.
    res.set_header("Connection", "close");
    if (isJsonRoute(req.path))
        return sendError(res, ServiceError(status, status == 411 ? "LengthRequired" : "PayloadTooLarge", message));
    if (startsWith(req.path, "/store/")) {
        res.status = status;
        return res.set_content("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>"
                + std::string(status == 411 ? "MissingContentLength" : "EntityTooLarge") + "</Code><Message>" + message
                + "</Message></Error>\n",
            "application/xml");
    }
    sendMessagePage(res, status, status == 411 ? "Length required" : "Too large", message);
}

} // namespace

bool refuseUnacceptableBody(const httplib::Request &req, httplib::Response &res)
{
    // Without either header httplib would read a body until the peer closes.
    const bool takesBody
        = req.method == "POST" || req.method == "PUT" || req.method == "PATCH" || req.method == "DELETE";
    if (req.has_header("Transfer-Encoding") || (takesBody && !req.has_header("Content-Length"))) {
        refuse(req, res, 411, "Send the request body with a Content-Length");
        return true;
    }
    if (req.method == "PUT" && startsWith(req.path, "/store/"))
        return false;
    const auto length = parseUnsigned(req.get_header_value("Content-Length"));
    const std::size_t limit
        = isJsonRoute(req.path) ? kMaxJsonBody : (req.path == "/me/documents/new" ? kMaxDocumentForm : kMaxFormBody);
    if (length && *length > limit) {
        refuse(req, res, 413, "The request body is too large");
        return true;
    }
    return false;
}

} // namespace tessly::server
