#include "http/requestlog.h"

#include "common/text.h"

#include <httplib.h>

namespace tessly::server {

namespace {

bool isSecretParameter(const std::string &name)
{
    const std::string lower = toLower(uriDecode(name));
    return lower == "x-amz-signature" || lower == "signature" || lower == "token" || lower == "access_token"
        || lower == "x-amz-security-token";
}

} // namespace

std::string redactTarget(const std::string &target)
{
    auto question = target.find('?');
    if (question == std::string::npos)
        return target;
    std::string out = target.substr(0, question + 1);
    bool first = true;
    for (const std::string &pair : split(target.substr(question + 1), '&')) {
        if (!first)
            out += '&';
        first = false;
        auto eq = pair.find('=');
        const std::string name = pair.substr(0, eq);
        out += eq != std::string::npos && isSecretParameter(name) ? name + "=REDACTED" : pair;
    }
    return out;
}

std::string requestLogLine(const httplib::Request &req, const httplib::Response &res)
{
    std::string line = isoTime(nowMillis()) + " " + req.remote_addr + " " + req.method + " " + redactTarget(req.target)
        + " " + std::to_string(res.status);
    if (!res.body.empty())
        line += " " + std::to_string(res.body.size()) + "B";
    return line;
}

} // namespace tessly::server
