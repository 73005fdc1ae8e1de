// The embedded object store's S3-style endpoint: presigned PUTs of whole
// objects and of multipart parts, streamed to disk while they are hashed.
#include "common/crypto.h"
#include "common/text.h"
#include "http/connectiondrop.h"
#include "http/routes.h"
#include "http/servicecontext.h"
#include "objects/partsize.h"
#include "objects/s3objectstore.h"

#include <httplib.h>

#include <chrono>
#include <thread>

namespace tessly::server {

namespace {

constexpr std::uint64_t kMaxSinglePut = 5ULL * 1024 * 1024 * 1024; // S3's limit for one PUT, 5 GiB
constexpr std::uint64_t kDrainLimit = 1 << 20;

struct StoreError
{
    int status;
    std::string code;
    std::string message;
};

void sendXmlError(const httplib::Request &req, httplib::Response &res, const StoreError &error)
{
    res.status = error.status;
    res.set_content("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>" + xmlEscape(error.code)
            + "</Code><Message>" + xmlEscape(error.message) + "</Message><Resource>" + xmlEscape(req.path)
            + "</Resource><RequestId>" + toHex(randomBytes(8)) + "</RequestId></Error>\n",
        "application/xml");
}

void drain(const httplib::ContentReader &reader)
{
    reader([](const char *, std::size_t) { return true; });
}

QueryList queryOf(const httplib::Request &req)
{
    QueryList query;
    for (const auto &[name, value] : req.params)
        query.emplace_back(name, value);
    return query;
}

StoreError signatureError(SignatureVerdict verdict)
{
    switch (verdict) {
    case SignatureVerdict::Missing:
    case SignatureVerdict::Malformed:
    case SignatureVerdict::Expired:
    case SignatureVerdict::NotYetValid:
        return { 403, "AccessDenied", describe(verdict) };
    case SignatureVerdict::WrongCredential:
        return { 403, "InvalidAccessKeyId", describe(verdict) };
    default:
        return { 403, "SignatureDoesNotMatch", describe(verdict) };
    }
}

class PutHandler
{
public:
    PutHandler(
        ServiceContext &ctx, const httplib::Request &req, httplib::Response &res, const httplib::ContentReader &reader)
        : m_ctx(ctx)
        , m_req(req)
        , m_res(res)
        , m_reader(reader)
        , m_key(req.matches[1])
    {
    }

    void run()
    {
        const auto verdict = m_ctx.localStore->signer().verify(
            "PUT", m_req.path, m_req.get_header_value("Host"), queryOf(m_req), m_ctx.now());
        if (verdict != SignatureVerdict::Valid)
            return refuse(signatureError(verdict));
        if (!m_req.has_header("Content-Length"))
            return refuse({ 411, "MissingContentLength", "You must provide the Content-Length HTTP header." });
        const bool hasPart = m_req.has_param("partNumber"), hasUpload = m_req.has_param("uploadId");
        if (hasPart != hasUpload)
            return refuse({ 400, "InvalidRequest", "partNumber and uploadId go together" });
        hasPart ? putPart() : putObject();
    }

private:
    void refuse(const StoreError &error)
    {
        // A small body is read and dropped so that the client sees the answer;
        // a large one is not worth the time: the connection ends instead.
        if (declaredLength() <= kDrainLimit)
            drain(m_reader);
        else
            m_res.set_header("Connection", "close");
        sendXmlError(m_req, m_res, error);
    }

    // Bodies past the declared size are refused before a byte is stored.
    bool refuseLongerThan(std::uint64_t limit, const std::string &what)
    {
        if (declaredLength() <= limit)
            return false;
        refuse({ 400, "EntityTooLarge",
            "Your proposed upload exceeds the maximum allowed size: " + what + " may have at most "
                + std::to_string(limit) + " bytes" });
        return true;
    }

    std::uint64_t declaredLength() const { return parseUnsigned(m_req.get_header_value("Content-Length")).value_or(0); }

    void putObject()
    {
        auto item = m_ctx.items->findByObjectKey(m_key);
        if (!item)
            return refuse({ 404, "NoSuchKey", "No file is waiting for this key" });
        if (refuseLongerThan(kMaxSinglePut, "an object sent in one request"))
            return;
        const PutFault fault = m_ctx.faults.nextPutFault(false);
        IngestResult result;
        if (!ingest(fault, [&](const BodySource &body) { result = m_ctx.localStore->ingestObject(m_key, body); }))
            return;
        m_ctx.items->markStored(item->item, result.size, result.etag);
        answer(fault, result.etag);
    }

    void putPart()
    {
        const std::string uploadId = m_req.get_param_value("uploadId");
        auto number = parseUnsigned(m_req.get_param_value("partNumber"));
        auto upload = m_ctx.uploads->find(uploadId);
        if (!upload || upload->state != UploadState::Open || upload->objectKey != m_key
            || upload->createdAt + m_ctx.config.uploadTtlSeconds < m_ctx.now()
            || !m_ctx.localStore->hasUpload(upload->backendUploadId))
            return refuse({ 404, "NoSuchUpload", "The specified upload does not exist" });
        if (!number || *number < 1 || static_cast<std::int64_t>(*number) > std::min(upload->partCount(), kMaxParts))
            return refuse({ 400, "InvalidArgument",
                "Part number must be an integer between 1 and "
                    + std::to_string(std::min(upload->partCount(), kMaxParts)) });
        const int partNumber = static_cast<int>(*number);
        if (refuseLongerThan(static_cast<std::uint64_t>(upload->partLength(partNumber)),
                "part " + std::to_string(partNumber) + " of this upload"))
            return;
        m_ctx.faults.countPartAttempt(uploadId, partNumber);
        const PutFault fault = m_ctx.faults.nextPutFault(true);
        IngestResult result;
        if (!ingest(fault, [&](const BodySource &body) {
                result = m_ctx.localStore->ingestPart(upload->backendUploadId, partNumber, body);
            }))
            return;
        m_ctx.faults.countPartStored(uploadId, partNumber);
        answer(fault, result.etag);
    }

    // Streams the body into `store` unless a fault says otherwise; false when
    // the answer has already been settled.
    template<typename Store> bool ingest(PutFault fault, Store &&store)
    {
        if (fault == PutFault::Error500) {
            refuse({ 500, "InternalError", "We encountered an internal error. Please try again. (injected)" });
            return false;
        }
        bool completed = false;
        BodySource body = [&](const std::function<bool(const char *, std::size_t)> &sink) {
            return m_reader([&](const char *data, std::size_t length) { return forward(fault, sink, data, length); });
        };
        store([&](const auto &sink) { return completed = body(sink) && !m_dropped; });
        if (m_dropped)
            return false;
        if (!completed) {
            sendXmlError(m_req, m_res, { 400, "IncompleteBody", "The request body did not arrive whole" });
            return false;
        }
        return true;
    }

    bool forward(PutFault fault, const std::function<bool(const char *, std::size_t)> &sink, const char *data,
        std::size_t length)
    {
        m_received += length;
        if (m_dropped)
            return true; // the rest of the body is read and thrown away
        if (fault == PutFault::Drop && m_received * 2 >= std::max<std::uint64_t>(declaredLength(), 2)) {
            m_dropped = true;
            dropConnection(m_req);
            return true;
        }
        return sink(data, length);
    }

    void answer(PutFault fault, const std::string &etag)
    {
        if (fault == PutFault::Stall)
            stall();
        m_res.status = 200;
        if (fault != PutFault::NoEtag)
            m_res.set_header("ETag", etag);
    }

    void stall()
    {
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(m_ctx.faults.stallMillis());
        while (std::chrono::steady_clock::now() < until && !m_ctx.stopping)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }

    ServiceContext &m_ctx;
    const httplib::Request &m_req;
    httplib::Response &m_res;
    const httplib::ContentReader &m_reader;
    std::string m_key;
    std::uint64_t m_received = 0;
    bool m_dropped = false;
};

} // namespace

void registerStoreRoutes(httplib::Server &server, ServiceContext &ctx)
{
    if (!ctx.localStore)
        return;
    server.Put(R"(/store/([A-Za-z0-9_-]+/[A-Za-z0-9_-]+))",
        [&ctx](const httplib::Request &req, httplib::Response &res, const httplib::ContentReader &reader) {
            try {
                PutHandler(ctx, req, res, reader).run();
            } catch (const std::exception &error) {
                sendXmlError(req, res, { 500, "InternalError", "The object could not be stored" });
            }
        });
}

} // namespace tessly::server
