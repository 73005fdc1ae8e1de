// Runs the real tessly-server for a test: a fresh data folder, a free port on
// 127.0.0.1 (chosen by the server at every start), and helpers for the admin
// endpoint, which is switched on with the token the server keeps in its data
// folder. The binary comes from TESSLY_SERVER_BIN.
#pragma once

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QNetworkReply>
#include <QObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

#include <memory>

class QNetworkAccessManager;

class ReferenceServer : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        qint64 partSize = 0; // 0: the server's default (5 MiB)
        QString faults; // fault list, see the server's /admin/faults
        QString webDomain; // empty: "localhost:PORT"
        QString urlScheme; // empty: "tessly"
        bool tls = false; // HTTPS with a self-signed certificate
        int presignExpirySeconds = 0;
        QString s3Endpoint; // external S3 store when set
        QString s3Bucket = QStringLiteral("tessly");
        QString s3Region = QStringLiteral("us-east-1");
        QString s3AccessKey;
        QString s3SecretKey;
        bool admin = true; // --admin: the helpers below need it
        QStringList extraArguments;
    };

    struct Reply
    {
        int status = 0;
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        QByteArray body;
        QMap<QByteArray, QByteArray> headers; // names in lower case
        QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    };

    explicit ReferenceServer(QObject *parent = nullptr);
    ~ReferenceServer() override;

    bool start();
    bool start(const Options &options);
    bool restart(); // same data folder and options, a new port
    void stop();
    bool isRunning() const;
    QString errorString() const { return m_error; }

    QUrl baseUrl() const { return m_baseUrl; } // "http://127.0.0.1:PORT"
    QString apiUrl() const; // baseUrl + "/v1/"
    QString webDomain() const;
    int port() const { return m_baseUrl.port(); }
    QString dataDir() const;
    QString caCertificatePath() const; // with tls: the server's self-signed certificate
    QString serverLog() const; // the server's stderr so far
    QString adminToken() const { return m_adminToken; }

    // Creates an account with one profile; returns its bearer token (empty on failure).
    QString addUser(
        const QString &email, const QString &password, const QString &profile, const QString &customDomain = {});
    // Adds PROFILE@example.com with that profile and signs this process in to
    // it: the client's service URL, the stored token and profile. The token.
    QString signIn(const QString &profile);
    bool setFaults(const QString &faults);
    QJsonObject faultCounters();
    int injected(const QString &fault); // how often `fault` struck since the start
    // Moves the clock the service judges expiry by (presigned URLs, uploads, sessions).
    bool setClockOffset(qint64 seconds);
    QMap<int, int> partPutCounts(const QString &uploadId); // every PUT that reached the store
    QMap<int, int> partStoredCounts(const QString &uploadId); // those that were stored

    // A blocking request for tests. `url` may be a path on baseUrl(). Redirects are not followed.
    Reply request(const QByteArray &method, const QString &url, const QByteArray &body = {},
        const QMap<QByteArray, QByteArray> &headers = {});
    Reply api(const QByteArray &method, const QString &path, const QString &token, const QJsonObject &body = {});
    // An admin request with the admin token.
    Reply admin(const QByteArray &method, const QString &path, const QJsonObject &body = {});
    // Presigns a single-request upload for the profile; the service's answer (url, code, item...).
    QJsonObject presign(const QString &token, const QString &profile, const QString &name,
        const QString &mimeType = QStringLiteral("text/plain"), const QJsonObject &extra = {});
    // Presigns and PUTs `bytes`: the presign answer once the bytes are stored, else empty.
    QJsonObject upload(const QString &token, const QString &profile, const QString &name, const QString &mimeType,
        const QByteArray &bytes, const QJsonObject &extra = {});
    // A multipart upload made by hand, each call as a client makes it.
    struct Multipart
    {
        QString token, profile, uploadId, key, code;
        qint64 partSize = 0;
        QByteArray bytes; // the whole file
        QMap<int, QByteArray> etags; // each part's, as the store answered its PUT
        QJsonArray partList() const; // the completion's list, from etags
    };
    // Initiates "movie.mov" (video/quicktime, order "2") of bytes.size().
    Multipart initiateMultipart(const QString &token, const QString &profile, const QByteArray &bytes);
    Reply partUrls(const Multipart &upload, const QJsonArray &numbers);
    QString partUrl(const Multipart &upload, int number);
    Reply putPart(Multipart &upload, int number, const QByteArray &bytes);
    bool putAllParts(Multipart &upload); // every part of upload.bytes, each answered 200
    Reply complete(const Multipart &upload, const QJsonArray &parts);
    Reply abort(const Multipart &upload);
    // A share link's download as a visitor of the profile's host fetches it (redirects not followed).
    Reply shareDownload(const QString &profile, const QString &code);
    // The SHA-256 of that download, or "status N" when it failed.
    QByteArray shareDownloadSha256(const QString &profile, const QString &code);

private:
    QStringList serveArguments() const;
    QJsonObject partCounts(const QString &uploadId);

    Options m_options;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QProcess> m_process;
    std::unique_ptr<QNetworkAccessManager> m_network;
    QUrl m_baseUrl;
    QString m_adminToken;
    QString m_error;
};
