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
        const auto row
            = [](const char *tag, const QString &name, const QString &type) { QTest::newRow(tag) << name << type; };
        row("screenshot", "/tmp/Screen Shot on 2026-11-23 at 10-00-00.png", "image/png");
        row("upper case", "SHOT.PNG", "image/png");
        row("jpeg", "photo.jpg", "image/jpeg");
        row("gif", "clip.gif", "image/gif");
        row("movie", "Screen Capture.mp4", "video/mp4");
        row("quicktime", "Screen Capture.mov", "video/quicktime");
        row("archive", "Archive on 2026-11-23 at 10-00-00.zip", "application/zip");
        row("markdown", "notes.md", "text/markdown");
        row("compound extension", "backup.tar.gz", "application/x-compressed-tar");
        row("unknown extension", "data.tesslyunknown", "application/octet-stream");
        row("no extension", "Makefile-like", "application/octet-stream");
        row("empty", "", "application/octet-stream");
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
