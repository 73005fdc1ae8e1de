#include "fileurl.h"

#include <QTest>

class TestFileUrl : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void mimeTypeByExtension_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type");
        QTest::newRow("screenshot") << "/tmp/Screen Shot on 2026-11-23 at 10-00-00.png"
                                    << "image/png";
        QTest::newRow("upper case") << "SHOT.PNG"
                                    << "image/png";
        QTest::newRow("jpeg") << "photo.jpg"
                              << "image/jpeg";
        QTest::newRow("gif") << "clip.gif"
                             << "image/gif";
        QTest::newRow("movie") << "Screen Capture.mp4"
                               << "video/mp4";
        QTest::newRow("quicktime") << "Screen Capture.mov"
                                   << "video/quicktime";
        QTest::newRow("archive") << "Archive on 2026-11-23 at 10-00-00.zip"
                                 << "application/zip";
        QTest::newRow("markdown") << "notes.md"
                                  << "text/markdown";
        QTest::newRow("compound extension") << "backup.tar.gz"
                                            << "application/x-compressed-tar";
        QTest::newRow("unknown extension") << "data.tesslyunknown"
                                           << "application/octet-stream";
        QTest::newRow("no extension") << "Makefile-like"
                                      << "application/octet-stream";
        QTest::newRow("empty") << ""
                               << "application/octet-stream";
    }

    void mimeTypeByExtension()
    {
        QFETCH(QString, name);
        QFETCH(QString, type);
        QCOMPARE(FileUrl::mimeType(name), type);
    }
};

QTEST_GUILESS_MAIN(TestFileUrl)
#include "tst_fileurl.moc"
