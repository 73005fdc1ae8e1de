#include "objects/sigv4.h"

#include "common/crypto.h"
#include "common/text.h"

#include <algorithm>

namespace tessly::server {

namespace {

constexpr std::string_view kAlgorithm = "AWS4-HMAC-SHA256";
constexpr std::string_view kUnsignedPayload = "UNSIGNED-PAYLOAD";

std::string canonicalRequest(std::string_view method, std::string_view path, const std::string &query,
    const std::string &headers, const std::string &signedHeaders, std::string_view payload)
{
    std::string out;
    out.append(method).append("\n");
    out.append(uriEncode(path, true)).append("\n");
    out.append(query).append("\n");
    out.append(headers).append("\n");
    out.append(signedHeaders).append("\n");
    out.append(payload);
    return out;
}

const std::string *find(const QueryList &query, std::string_view name)
{
    for (const auto &[key, value] : query)
        if (key == name)
            return &value;
    return nullptr;
}

} // namespace

const char *describe(SignatureVerdict verdict)
{
    switch (verdict) {
    case SignatureVerdict::Valid:
        return "valid";
    case SignatureVerdict::Missing:
        return "Query-string authentication is required";
    case SignatureVerdict::Malformed:
        return "Query-string authentication parameters are malformed";
    case SignatureVerdict::Expired:
        return "Request has expired";
    case SignatureVerdict::NotYetValid:
        return "Request is not yet valid";
    case SignatureVerdict::WrongCredential:
        return "The access key or credential scope is not recognised";
    case SignatureVerdict::Mismatch:
        return "The request signature we calculated does not match the signature you provided";
    }
    return "unknown";
}

SigV4::SigV4(SigningCredentials credentials)
    : m_credentials(std::move(credentials))
{
}

std::string SigV4::scope(std::string_view day) const
{
    return std::string(day) + "/" + m_credentials.region + "/" + m_credentials.service + "/aws4_request";
}

std::string SigV4::signature(std::string_view day, std::string_view toSign) const
{
    std::string key = hmacSha256("AWS4" + m_credentials.secretKey, day);
    key = hmacSha256(key, m_credentials.region);
    key = hmacSha256(key, m_credentials.service);
    key = hmacSha256(key, "aws4_request");
    return toHex(hmacSha256(key, toSign));
}

std::string SigV4::stringToSign(std::string_view timestamp, std::string_view day, std::string_view canonical) const
{
    std::string out(kAlgorithm);
    out.append("\n").append(timestamp).append("\n").append(scope(day)).append("\n");
    out.append(toHex(sha256(canonical)));
    return out;
}

std::string SigV4::canonicalQuery(const QueryList &query)
{
    std::vector<std::pair<std::string, std::string>> encoded;
    encoded.reserve(query.size());
    for (const auto &[key, value] : query)
        encoded.emplace_back(uriEncode(key), uriEncode(value));
    std::sort(encoded.begin(), encoded.end());
    std::string out;
    for (const auto &[key, value] : encoded) {
        if (!out.empty())
            out += '&';
        out += key + "=" + value;
    }
    return out;
}

std::string SigV4::hostOf(std::string_view origin)
{
    auto scheme = origin.find("://");
    std::string_view rest = scheme == std::string_view::npos ? origin : origin.substr(scheme + 3);
    auto slash = rest.find('/');
    std::string host(rest.substr(0, slash));
    // Default ports are left out of the Host header by HTTP clients.
    if (startsWith(origin, "http://") && endsWith(host, ":80"))
        host.resize(host.size() - 3);
    if (startsWith(origin, "https://") && endsWith(host, ":443"))
        host.resize(host.size() - 4);
    return host;
}

std::string SigV4::presign(std::string_view method, std::string_view origin, std::string_view path,
    const QueryList &extraQuery, std::int64_t expiresSeconds, std::int64_t now) const
{
    const std::string timestamp = amzDate(now);
    const std::string day = amzDay(now);
    QueryList query = extraQuery;
    query.emplace_back("X-Amz-Algorithm", std::string(kAlgorithm));
    query.emplace_back("X-Amz-Credential", m_credentials.accessKey + "/" + scope(day));
    query.emplace_back("X-Amz-Date", timestamp);
    query.emplace_back("X-Amz-Expires", std::to_string(expiresSeconds));
    query.emplace_back("X-Amz-SignedHeaders", "host");
    const std::string canonicalQueryText = canonicalQuery(query);
    const std::string canonical
        = canonicalRequest(method, path, canonicalQueryText, "host:" + hostOf(origin) + "\n", "host", kUnsignedPayload);
    const std::string sig = signature(day, stringToSign(timestamp, day, canonical));
    return std::string(origin) + uriEncode(path, true) + "?" + canonicalQueryText + "&X-Amz-Signature=" + sig;
}

SignatureVerdict SigV4::verify(std::string_view method, std::string_view decodedPath, std::string_view host,
    const QueryList &query, std::int64_t now) const
{
    const std::string *algorithm = find(query, "X-Amz-Algorithm");
    const std::string *credential = find(query, "X-Amz-Credential");
    const std::string *date = find(query, "X-Amz-Date");
    const std::string *expires = find(query, "X-Amz-Expires");
    const std::string *signedHeaders = find(query, "X-Amz-SignedHeaders");
    const std::string *given = find(query, "X-Amz-Signature");
    if (!algorithm && !credential && !given)
        return SignatureVerdict::Missing;
    if (!algorithm || !credential || !date || !expires || !signedHeaders || !given || *algorithm != kAlgorithm)
        return SignatureVerdict::Malformed;

    auto signedAt = parseAmzDate(*date);
    auto lifetime = parseUnsigned(*expires);
    if (!signedAt || !lifetime || *lifetime < 1 || static_cast<std::int64_t>(*lifetime) > kMaxExpirySeconds)
        return SignatureVerdict::Malformed;
    const std::string day = date->substr(0, 8);
    if (*credential != m_credentials.accessKey + "/" + scope(day))
        return SignatureVerdict::WrongCredential;
    if (*signedHeaders != "host")
        return SignatureVerdict::Malformed;
    if (now + kClockSkewSeconds < *signedAt)
        return SignatureVerdict::NotYetValid;
    if (now > *signedAt + static_cast<std::int64_t>(*lifetime))
        return SignatureVerdict::Expired;

    QueryList unsignedQuery;
    for (const auto &entry : query)
        if (entry.first != "X-Amz-Signature")
            unsignedQuery.push_back(entry);
    const std::string canonical = canonicalRequest(method, decodedPath, canonicalQuery(unsignedQuery),
        "host:" + std::string(host) + "\n", "host", kUnsignedPayload);
    const std::string expected = signature(day, stringToSign(*date, day, canonical));
    return secureEquals(expected, toLower(*given)) ? SignatureVerdict::Valid : SignatureVerdict::Mismatch;
}

std::map<std::string, std::string> SigV4::signHeaders(std::string_view method, std::string_view path,
    const QueryList &query, const std::map<std::string, std::string> &headers, std::string_view payloadSha256Hex,
    std::int64_t now) const
{
    const std::string timestamp = amzDate(now);
    const std::string day = amzDay(now);
    std::map<std::string, std::string> all;
    for (const auto &[name, value] : headers)
        all[toLower(name)] = value;
    all["x-amz-date"] = timestamp;
    all["x-amz-content-sha256"] = std::string(payloadSha256Hex);

    std::string canonicalHeaders, signedNames;
    for (const auto &[name, value] : all) {
        canonicalHeaders += name + ":" + value + "\n";
        if (!signedNames.empty())
            signedNames += ';';
        signedNames += name;
    }
    const std::string canonical
        = canonicalRequest(method, path, canonicalQuery(query), canonicalHeaders, signedNames, payloadSha256Hex);
    const std::string sig = signature(day, stringToSign(timestamp, day, canonical));
    return {
        { "Authorization",
            std::string(kAlgorithm) + " Credential=" + m_credentials.accessKey + "/" + scope(day)
                + ", SignedHeaders=" + signedNames + ", Signature=" + sig },
        { "x-amz-date", timestamp },
        { "x-amz-content-sha256", std::string(payloadSha256Hex) },
    };
}

} // namespace tessly::server
