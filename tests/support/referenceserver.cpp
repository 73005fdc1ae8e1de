#include "referenceserver.h"

#include "settingsstore.h"

#include <csignal>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QTimer>
#include <sys/prctl.h>

namespace {

constexpr int kStartTimeoutMs = 30000;
constexpr int kRequestTimeoutMs = 30000;

QString serverBinary()
{
    return qEnvironmentVariable("TESSLY_SERVER_BIN");
}

} // namespace

ReferenceServer::ReferenceServer(QObject *parent)
    : QObject(parent)
    , m_network(std::make_unique<QNetworkAccessManager>())
{
}

ReferenceServer::~ReferenceServer()
{
    stop();
}

QString ReferenceServer::dataDir() const
{
    return m_dir ? m_dir->filePath(QStringLiteral("data")) : QString();
}

QString ReferenceServer::caCertificatePath() const
{
    return dataDir() + QStringLiteral("/tls/cert.pem");
}

QString ReferenceServer::apiUrl() const
{
    return m_baseUrl.toString() + QStringLiteral("/v1/");
}

QString ReferenceServer::webDomain() const
{
    if (!m_options.webDomain.isEmpty())
        return m_options.webDomain;
    return QStringLiteral("localhost:%1").arg(m_baseUrl.port());
}

QString ReferenceServer::serverLog() const
{
    QFile file(m_dir ? m_dir->filePath(QStringLiteral("server.log")) : QString());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

bool ReferenceServer::isRunning() const
{
    return m_process && m_process->state() == QProcess::Running;
}

QStringList ReferenceServer::serveArguments() const
{
    QStringList args { QStringLiteral("serve"), QStringLiteral("--data"), dataDir(), QStringLiteral("--listen"),
        QStringLiteral("127.0.0.1:0") };
    if (m_options.admin)
        args << QStringLiteral("--admin");
    if (m_options.partSize > 0)
        args << QStringLiteral("--part-size") << QString::number(m_options.partSize);
    if (!m_options.faults.isEmpty())
        args << QStringLiteral("--faults") << m_options.faults;
    if (!m_options.webDomain.isEmpty())
        args << QStringLiteral("--web-domain") << m_options.webDomain;
    if (!m_options.urlScheme.isEmpty())
        args << QStringLiteral("--url-scheme") << m_options.urlScheme;
    if (m_options.tls)
        args << QStringLiteral("--tls");
    if (m_options.presignExpirySeconds > 0)
        args << QStringLiteral("--presign-expiry") << QString::number(m_options.presignExpirySeconds);
    if (!m_options.s3Endpoint.isEmpty())
        args << QStringLiteral("--s3-endpoint") << m_options.s3Endpoint << QStringLiteral("--s3-bucket")
             << m_options.s3Bucket << QStringLiteral("--s3-region") << m_options.s3Region
             << QStringLiteral("--s3-access-key") << m_options.s3AccessKey << QStringLiteral("--s3-secret-key")
             << m_options.s3SecretKey;
    return args + m_options.extraArguments;
}

bool ReferenceServer::start()
{
    return start(Options());
}

bool ReferenceServer::start(const Options &options)
{
    stop();
    m_options = options;
    m_baseUrl = QUrl();
    const QString home = qEnvironmentVariable("TESSLY_TEST_HOME");
    if (!home.isEmpty())
        QDir().mkpath(home);
    m_dir = std::make_unique<QTemporaryDir>(home.isEmpty() ? QString() : home + QStringLiteral("/server-XXXXXX"));
    if (!m_dir->isValid()) {
        m_error = QStringLiteral("cannot create a temporary folder");
        return false;
    }
    return restart();
}

bool ReferenceServer::restart()
{
    if (!m_dir) {
        m_error = QStringLiteral("start() was not called");
        return false;
    }
    stop();
    if (serverBinary().isEmpty()) {
        m_error = QStringLiteral("TESSLY_SERVER_BIN is not set");
        return false;
    }
    m_process = std::make_unique<QProcess>();
    m_process->setStandardErrorFile(m_dir->filePath(QStringLiteral("server.log")), QIODevice::Append);
    // A test that crashes or is killed takes its service with it.
    m_process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    m_process->start(serverBinary(), serveArguments());
    if (!m_process->waitForStarted(kStartTimeoutMs)) {
        m_error = QStringLiteral("tessly-server did not start: ") + m_process->errorString();
        return false;
    }
    QByteArray firstLine;
    QElapsedTimer clock;
    clock.start();
    while (!m_process->canReadLine() && clock.elapsed() < kStartTimeoutMs && isRunning())
        m_process->waitForReadyRead(200);
    firstLine = m_process->readLine().trimmed();
    const QByteArray prefix = "listening on ";
    if (!firstLine.startsWith(prefix)) {
        m_error = QStringLiteral("tessly-server did not report its address: ") + serverLog();
        stop();
        return false;
    }
    m_baseUrl = QUrl(QString::fromUtf8(firstLine.mid(prefix.size())));
    m_adminToken.clear();
    QFile token(dataDir() + QStringLiteral("/admin-token"));
    if (m_options.admin && token.open(QIODevice::ReadOnly))
        m_adminToken = QString::fromUtf8(token.readAll().trimmed());
    return true;
}

void ReferenceServer::stop()
{
    if (!m_process)
        return;
    if (m_process->state() == QProcess::NotRunning && m_baseUrl.isValid()) {
        // It ended by itself: show why, the test's own failure follows.
        qWarning().noquote() << "tessly-server ended unexpectedly, exit code" << m_process->exitCode() << "\n"
                             << serverLog().right(6000);
    }
    if (m_process->state() != QProcess::NotRunning) {
        m_network->clearConnectionCache(); // idle connections would delay the server's exit
        m_process->terminate();
        if (!m_process->waitForFinished(10000)) {
            m_process->kill();
            m_process->waitForFinished(5000);
        }
    }
    m_process.reset();
}

ReferenceServer::Reply ReferenceServer::request(
    const QByteArray &method, const QString &url, const QByteArray &body, const QMap<QByteArray, QByteArray> &headers)
{
    QUrl target = url.startsWith(QLatin1Char('/')) ? QUrl(m_baseUrl.toString() + url) : QUrl(url);
    QNetworkRequest request(target);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    // Each request stands alone: cookies go only where a test sets them.
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    for (auto it = headers.begin(); it != headers.end(); ++it)
        request.setRawHeader(it.key(), it.value());
    if (m_options.tls) {
        QSslConfiguration ssl = QSslConfiguration::defaultConfiguration();
        ssl.addCaCertificates(QSslCertificate::fromPath(caCertificatePath()));
        request.setSslConfiguration(ssl);
    }
    QNetworkReply *reply = m_network->sendCustomRequest(request, method, body);
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    connect(&timeout, &QTimer::timeout, reply, &QNetworkReply::abort);
    connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    timeout.start(kRequestTimeoutMs);
    if (!reply->isFinished())
        loop.exec();
    Reply out;
    out.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    out.error = reply->error();
    out.body = reply->readAll();
    for (const auto &pair : reply->rawHeaderPairs())
        out.headers.insert(pair.first.toLower(), pair.second);
    reply->deleteLater();
    return out;
}

ReferenceServer::Reply ReferenceServer::api(
    const QByteArray &method, const QString &path, const QString &token, const QJsonObject &body)
{
    QMap<QByteArray, QByteArray> headers { { "Content-Type", "application/json" } };
    if (!token.isEmpty())
        headers.insert("Authorization", "Bearer " + token.toUtf8());
    const QByteArray payload = body.isEmpty() ? QByteArray() : QJsonDocument(body).toJson(QJsonDocument::Compact);
    return request(method, path, payload, headers);
}

ReferenceServer::Reply ReferenceServer::admin(const QByteArray &method, const QString &path, const QJsonObject &body)
{
    return api(method, path, m_adminToken, body);
}

QJsonObject ReferenceServer::presign(const QString &token, const QString &profile, const QString &name,
    const QString &mimeType, const QJsonObject &extra)
{
    QJsonObject body = extra;
    body.insert(QStringLiteral("name"), name);
    body.insert(QStringLiteral("mimeType"), mimeType);
    return api("POST", QStringLiteral("/v1/files/") + profile, token, body).json();
}

QJsonObject ReferenceServer::upload(const QString &token, const QString &profile, const QString &name,
    const QString &mimeType, const QByteArray &bytes, const QJsonObject &extra)
{
    const QJsonObject file = presign(token, profile, name, mimeType, extra);
    const Reply put = request(
        "PUT", file.value(QStringLiteral("url")).toString(), bytes, { { "Content-Type", mimeType.toUtf8() } });
    if (put.status != 200)
        m_error = QStringLiteral("PUT of %1: status %2 %3").arg(name).arg(put.status).arg(QString::fromUtf8(put.body));
    return put.status == 200 ? file : QJsonObject();
}

ReferenceServer::Reply ReferenceServer::shareDownload(const QString &profile, const QString &code)
{
    return request("GET", QStringLiteral("/%1/download").arg(code), {},
        { { "Host", QStringLiteral("%1.%2").arg(profile, webDomain()).toUtf8() } });
}

QByteArray ReferenceServer::shareDownloadSha256(const QString &profile, const QString &code)
{
    const Reply reply = shareDownload(profile, code);
    return reply.status == 200 ? QCryptographicHash::hash(reply.body, QCryptographicHash::Sha256)
                               : "status " + QByteArray::number(reply.status);
}

ReferenceServer::Multipart ReferenceServer::initiateMultipart(
    const QString &token, const QString &profile, const QByteArray &bytes)
{
    const QJsonObject answer = api("POST", QStringLiteral("/v1/files/") + profile, token,
        { { QStringLiteral("name"), QStringLiteral("movie.mov") },
            { QStringLiteral("mimeType"), QStringLiteral("video/quicktime") },
            { QStringLiteral("size"), double(bytes.size()) }, { QStringLiteral("type"), QStringLiteral("multipart") },
            { QStringLiteral("order"), QStringLiteral("2") } })
                                   .json();
    return { token, profile, answer.value(QStringLiteral("uploadId")).toString(),
        answer.value(QStringLiteral("key")).toString(), answer.value(QStringLiteral("code")).toString(),
        answer.value(QStringLiteral("partSize")).toInteger(), bytes, {} };
}

ReferenceServer::Reply ReferenceServer::partUrls(const Multipart &upload, const QJsonArray &numbers)
{
    return api("POST", QStringLiteral("/v1/files/%1/parts").arg(upload.profile), upload.token,
        { { QStringLiteral("key"), upload.key }, { QStringLiteral("uploadId"), upload.uploadId },
            { QStringLiteral("partNumbers"), numbers } });
}

QString ReferenceServer::partUrl(const Multipart &upload, int number)
{
    return partUrls(upload, { number }).json()[QStringLiteral("parts")][0][QStringLiteral("url")].toString();
}

ReferenceServer::Reply ReferenceServer::putPart(Multipart &upload, int number, const QByteArray &bytes)
{
    const Reply reply
        = request("PUT", partUrl(upload, number), bytes, { { "Content-Type", "application/octet-stream" } });
    upload.etags[number] = reply.headers.value("etag");
    return reply;
}

bool ReferenceServer::putAllParts(Multipart &upload)
{
    bool allStored = upload.partSize > 0;
    for (int n = 1; allStored && (n - 1) * upload.partSize < upload.bytes.size(); ++n)
        allStored = putPart(upload, n, upload.bytes.mid((n - 1) * upload.partSize, upload.partSize)).status == 200;
    return allStored;
}

ReferenceServer::Reply ReferenceServer::complete(const Multipart &upload, const QJsonArray &parts)
{
    return api("POST", QStringLiteral("/v1/files/%1/complete").arg(upload.profile), upload.token,
        { { QStringLiteral("key"), upload.key }, { QStringLiteral("uploadId"), upload.uploadId },
            { QStringLiteral("parts"), parts } });
}

ReferenceServer::Reply ReferenceServer::abort(const Multipart &upload)
{
    return api("POST", QStringLiteral("/v1/files/%1/abort").arg(upload.profile), upload.token,
        { { QStringLiteral("key"), upload.key }, { QStringLiteral("uploadId"), upload.uploadId } });
}

QJsonArray ReferenceServer::Multipart::partList() const
{
    QJsonArray parts;
    for (auto it = etags.begin(); it != etags.end(); ++it)
        parts.append(QJsonObject {
            { QStringLiteral("partNumber"), it.key() }, { QStringLiteral("etag"), QString::fromUtf8(it.value()) } });
    return parts;
}

QString ReferenceServer::addUser(
    const QString &email, const QString &password, const QString &profile, const QString &customDomain)
{
    QJsonObject body { { QStringLiteral("email"), email }, { QStringLiteral("password"), password },
        { QStringLiteral("profile"), profile } };
    if (!customDomain.isEmpty())
        body.insert(QStringLiteral("customDomain"), customDomain);
    const Reply reply = admin("POST", QStringLiteral("/admin/users"), body);
    if (reply.status != 200) {
        m_error = QString::fromUtf8(reply.body);
        return {};
    }
    return reply.json().value(QStringLiteral("token")).toString();
}

QString ReferenceServer::signIn(const QString &profile)
{
    const QString token = addUser(profile + QStringLiteral("@example.com"), QStringLiteral("secret-pass"), profile);
    if (token.isEmpty())
        return {};
    qputenv("TESSLY_API_URL", apiUrl().toUtf8());
    SettingsStore::instance().setToken(token);
    SettingsStore::instance().setDomain(profile);
    return token;
}

bool ReferenceServer::setFaults(const QString &faults)
{
    const Reply reply = admin("PUT", QStringLiteral("/admin/faults"), { { QStringLiteral("faults"), faults } });
    if (reply.status != 200)
        m_error = QString::fromUtf8(reply.body);
    return reply.status == 200;
}

bool ReferenceServer::setClockOffset(qint64 seconds)
{
    return admin("PUT", QStringLiteral("/admin/clock"), { { QStringLiteral("offsetSeconds"), seconds } }).status == 200;
}

QJsonObject ReferenceServer::faultCounters()
{
    return admin("GET", QStringLiteral("/admin/faults")).json();
}

int ReferenceServer::injected(const QString &fault)
{
    return faultCounters().value(QStringLiteral("injected")).toObject().value(fault).toInt();
}

QJsonObject ReferenceServer::partCounts(const QString &uploadId)
{
    return admin("GET", QStringLiteral("/admin/uploads/%1/parts").arg(uploadId)).json();
}

namespace {

QMap<int, int> countsOf(const QJsonObject &table)
{
    QMap<int, int> out;
    for (auto it = table.begin(); it != table.end(); ++it)
        out.insert(it.key().toInt(), it.value().toInt());
    return out;
}

} // namespace

QMap<int, int> ReferenceServer::partPutCounts(const QString &uploadId)
{
    return countsOf(partCounts(uploadId).value(QStringLiteral("attempts")).toObject());
}

QMap<int, int> ReferenceServer::partStoredCounts(const QString &uploadId)
{
    return countsOf(partCounts(uploadId).value(QStringLiteral("stored")).toObject());
}
