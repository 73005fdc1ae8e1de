#include "objects/s3objectstore.h"

#include "common/crypto.h"
#include "common/serviceerror.h"
#include "common/text.h"

#include <httplib.h>

#include <iostream>

namespace tessly::server {

std::string xmlElement(const std::string &xml, const std::string &name)
{
    const std::string open = "<" + name + ">", close = "</" + name + ">";
    auto start = xml.find(open);
    if (start == std::string::npos)
        return {};
    start += open.size();
    auto end = xml.find(close, start);
    if (end == std::string::npos)
        return {};
    std::string value = xml.substr(start, end - start);
    // Undo the entities S3 uses in ETags and messages.
    for (auto [entity, plain] : { std::pair { "&quot;", "\"" }, { "&#34;", "\"" }, { "&lt;", "<" }, { "&gt;", ">" },
             { "&apos;", "'" }, { "&amp;", "&" } }) {
        for (std::size_t pos; (pos = value.find(entity)) != std::string::npos;)
            value.replace(pos, std::string_view(entity).size(), plain);
    }
    return value;
}

std::string xmlEscape(const std::string &text)
{
    return escapeMarkup(text);
}

S3ObjectStore::S3ObjectStore(S3Config config)
    : m_config(std::move(config))
    , m_signer(SigningCredentials { m_config.accessKey, m_config.secretKey, m_config.region, "s3" })
{
    while (endsWith(m_config.endpoint, "/"))
        m_config.endpoint.pop_back();
}

std::string S3ObjectStore::objectPath(const std::string &key) const
{
    return "/" + m_config.bucket + "/" + key;
}

S3ObjectStore::Reply S3ObjectStore::send(const std::string &method, const std::string &path, const QueryList &query,
    const std::string &body, const std::string &contentType)
{
    httplib::Client client(m_config.endpoint);
    client.set_connection_timeout(10);
    client.set_read_timeout(120);
    client.set_write_timeout(120);

    std::map<std::string, std::string> signedHeaders { { "host", SigV4::hostOf(m_config.endpoint) } };
    const auto auth = m_signer.signHeaders(method, path, query, signedHeaders, toHex(sha256(body)), nowSeconds());
    httplib::Headers headers;
    for (const auto &[name, value] : auth)
        headers.emplace(name, value);

    std::string target = uriEncode(path, true);
    if (!query.empty())
        target += "?" + SigV4::canonicalQuery(query);

    httplib::Result result = [&] {
        const std::string type = contentType.empty() ? "application/octet-stream" : contentType;
        if (method == "PUT")
            return client.Put(target.c_str(), headers, body, type.c_str());
        if (method == "POST")
            return client.Post(target.c_str(), headers, body, type.c_str());
        if (method == "DELETE")
            return client.Delete(target.c_str(), headers);
        if (method == "HEAD")
            return client.Head(target.c_str(), headers);
        return client.Get(target.c_str(), headers);
    }();
    if (!result)
        throw ServiceError(
            502, "StoreUnavailable", "The object store did not answer: " + httplib::to_string(result.error()));
    Reply reply { result->status, result->body, {} };
    for (const auto &[name, value] : result->headers)
        reply.headers[toLower(name)] = value;
    return reply;
}

void S3ObjectStore::fail(const std::string &what, const Reply &reply)
{
    std::string code = xmlElement(reply.body, "Code");
    std::string message = xmlElement(reply.body, "Message");
    if (code.empty())
        code = reply.status == 404 ? "NoSuchUpload" : "StoreError";
    int status = reply.status >= 400 && reply.status < 500 ? reply.status : 502;
    throw ServiceError(status, code, what + ": " + (message.empty() ? code : message));
}

void S3ObjectStore::ensureBucket()
{
    Reply head = send("HEAD", "/" + m_config.bucket, {}, "", "");
    if (head.status == 200)
        return;
    Reply created = send("PUT", "/" + m_config.bucket, {}, "", "");
    if (created.status != 200 && xmlElement(created.body, "Code") != "BucketAlreadyOwnedByYou")
        fail("Could not create the bucket", created);
}

std::string S3ObjectStore::presignPut(const std::string &key)
{
    return m_signer.presign("PUT", m_config.endpoint, objectPath(key), {}, m_config.expirySeconds, nowSeconds());
}

std::string S3ObjectStore::presignPart(const std::string &key, const std::string &backendUploadId, int partNumber)
{
    return m_signer.presign("PUT", m_config.endpoint, objectPath(key),
        { { "partNumber", std::to_string(partNumber) }, { "uploadId", backendUploadId } }, m_config.expirySeconds,
        nowSeconds());
}

std::string S3ObjectStore::presignGet(const std::string &key)
{
    return m_signer.presign("GET", m_config.endpoint, objectPath(key), {}, m_config.expirySeconds, nowSeconds());
}

std::string S3ObjectStore::createMultipart(const std::string &key, const std::string &contentType)
{
    Reply reply = send("POST", objectPath(key), { { "uploads", "" } }, "", contentType);
    std::string id = xmlElement(reply.body, "UploadId");
    if (reply.status != 200 || id.empty())
        fail("Could not start the multipart upload", reply);
    return id;
}

ObjectInfo S3ObjectStore::completeMultipart(const std::string &key, const std::string &backendUploadId,
    const std::vector<PartRef> &parts, std::int64_t, std::int64_t declaredSize)
{
    std::string xml = "<CompleteMultipartUpload>";
    for (const PartRef &part : parts)
        xml += "<Part><PartNumber>" + std::to_string(part.partNumber) + "</PartNumber><ETag>\""
            + xmlEscape(normaliseEtag(part.etag)) + "\"</ETag></Part>";
    xml += "</CompleteMultipartUpload>";
    Reply reply = send("POST", objectPath(key), { { "uploadId", backendUploadId } }, xml, "application/xml");
    // S3 may answer 200 and still report an error in the body.
    if (reply.status != 200 || reply.body.find("<Error>") != std::string::npos)
        fail("The store refused to complete the upload", reply);
    auto info = stat(key);
    if (!info)
        throw ServiceError(502, "StoreError", "The completed object is not in the store");
    // Parts go to the store directly, so their sizes are known only now.
    if (info->size != declaredSize)
        throw ServiceError(400, "InvalidPart", sizeMismatch(info->size, declaredSize));
    std::string etag = xmlElement(reply.body, "ETag");
    if (!etag.empty())
        info->etag = etag.front() == '"' ? etag : "\"" + etag + "\"";
    return *info;
}

void S3ObjectStore::abortMultipart(const std::string &key, const std::string &backendUploadId)
{
    Reply reply = send("DELETE", objectPath(key), { { "uploadId", backendUploadId } }, "", "");
    if (reply.status == 405 || reply.status == 501) {
        // Some small S3 look-alikes cannot abort; the service forgets the upload all the same.
        std::cerr << "object store cannot abort multipart uploads (HTTP " << reply.status << "); the parts of "
                  << backendUploadId << " stay there" << std::endl;
        return;
    }
    if (reply.status != 204 && reply.status != 200 && reply.status != 404)
        fail("The store refused to abort the upload", reply);
}

std::optional<ObjectInfo> S3ObjectStore::stat(const std::string &key)
{
    Reply reply = send("HEAD", objectPath(key), {}, "", "");
    if (reply.status == 404)
        return std::nullopt;
    if (reply.status != 200)
        fail("Could not look up the object", reply);
    ObjectInfo info;
    if (auto length = parseUnsigned(reply.headers["content-length"]))
        info.size = static_cast<std::int64_t>(*length);
    info.etag = reply.headers["etag"];
    return info;
}

void S3ObjectStore::putObject(const std::string &key, const std::string &data, const std::string &contentType)
{
    Reply reply = send("PUT", objectPath(key), {}, data, contentType);
    if (reply.status != 200)
        fail("Could not store the object", reply);
}

} // namespace tessly::server
