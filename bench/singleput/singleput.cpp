// Uploads one file through the client's single-request path (presign, then
// the streamed PUT) several times and prints the wall time of each PUT:
//
//   tessly-bench-singleput FILE RUNS
//
// The service is the one TESSLY_API_URL names; the account comes from
// TESSLY_BENCH_TOKEN and TESSLY_BENCH_PROFILE. Prints "put SECONDS" per run
// on stdout; exits non-zero when an upload fails.
#include "api.h"
#include "settingsstore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QUrl>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: tessly-bench-singleput FILE RUNS\n");
        return 2;
    }
    const QUrl file = QUrl::fromLocalFile(QFileInfo(QString::fromLocal8Bit(argv[1])).absoluteFilePath());
    const int runs = QString::fromLatin1(argv[2]).toInt();
    SettingsStore::instance().setToken(qEnvironmentVariable("TESSLY_BENCH_TOKEN"));
    SettingsStore::instance().setDomain(qEnvironmentVariable("TESSLY_BENCH_PROFILE"));
    API &api = API::instance();

    for (int run = 0; run < runs; ++run) {
        QEventLoop loop;
        QVariantMap record;
        bool ok = false;
        api.requestUploadURLForFile(
            file, QString(), QVariant(), [&](bool success, const QVariantMap &r, const Error &) {
                ok = success, record = r;
                loop.quit();
            });
        loop.exec();
        if (!ok) {
            std::fprintf(stderr, "presign failed\n");
            return 1;
        }
        QElapsedTimer timer;
        timer.start();
        qint64 elapsedNs = 0;
        api.uploadFileToS3(QUrl(record.value(QStringLiteral("url")).toString()), file, record, QString::number(run),
            [&](bool success, const QVariantMap &) {
                elapsedNs = timer.nsecsElapsed();
                ok = success;
                loop.quit();
            });
        loop.exec();
        if (!ok) {
            std::fprintf(stderr, "upload failed\n");
            return 1;
        }
        std::printf("put %.4f\n", double(elapsedNs) / 1e9);
        std::fflush(stdout);
    }
    return 0;
}
