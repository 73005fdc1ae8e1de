// Pasteboard against mime data as a drop hands it over. What the real X11
// clipboard shows (PNG and JPEG giving JPEG, a bitmap becoming PNG, a page's
// data image, a copied image's URL naming the file, text giving no file) is
// covered by tst_pasteboard_e2e and not repeated here.
#include "capturenaming.h"
#include "logcapture.h"
#include "pasteboard.h"
#include "testfiles.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QMimeData>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A 1x1 GIF: Qt reads GIF but cannot write it.
const QByteArray kGif = QByteArray::fromBase64("R0lGODlhAQABAIAAAAAAAP///yH5BAEAAAAALAAAAAABAAEAAAIBRAA7");

const QRegularExpression kDefaultName(R"(^Image upload at \d{4}-\d\d-\d\d \d\d-\d\d-\d\d\.(png|jpg|gif)$)");

} // namespace

class TestPasteboard : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp; // TMPDIR while the test runs
    // Where the code under test writes: the run's private folder.
    static QString tmp() { return CaptureNaming::temporaryDirectory(); }
    QTemporaryDir m_files; // where "other applications" keep their files
    QByteArray m_savedTmpdir;

    QString writeFile(const QString &name, const QByteArray &bytes)
    {
        return TestFiles::write(m_files.filePath(name), bytes);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_tmp.isValid() && m_files.isValid());
        m_savedTmpdir = qgetenv("TMPDIR");
        qputenv("TMPDIR", m_tmp.path().toUtf8());
    }

    void cleanupTestCase() { qputenv("TMPDIR", m_savedTmpdir); }

    void cleanup()
    {
        QDir dir(tmp());
        for (const QString &name : dir.entryList(QDir::Files | QDir::Hidden))
            dir.remove(name);
    }

    void imageSourcesInOrderOfPreference_data()
    {
        QTest::addColumn<QVariantMap>("offered");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QByteArray>("written");

        const QByteArray png = TestFiles::image("PNG", Qt::red), jpg = TestFiles::image("JPEG", Qt::red);
        const QString pageWithJpeg = "<p>hi</p><img src=\"data:image/jpeg;base64," + jpg.toBase64() + "\">";
        QTest::newRow("GIF ahead of everything")
            << QVariantMap { { "image/png", png }, { "image/jpeg", jpg }, { "image/gif", kGif } } << "gif" << kGif;
        QTest::newRow("non-standard image/jpg") << QVariantMap { { "image/jpg", jpg } } << "jpg" << jpg;
        QTest::newRow("PNG ahead of the page's image")
            << QVariantMap { { "image/png", png }, { "text/html", pageWithJpeg.toUtf8() } } << "png" << png;
        QTest::newRow("page alone gives its image")
            << QVariantMap { { "text/html", pageWithJpeg.toUtf8() } } << "jpg" << jpg;
        QTest::newRow("empty JPEG falls through to PNG")
            << QVariantMap { { "image/jpeg", QByteArray() }, { "image/png", png } } << "png" << png;
    }

    void imageSourcesInOrderOfPreference()
    {
        QFETCH(QVariantMap, offered);
        QFETCH(QString, extension);
        QFETCH(QByteArray, written);

        QMimeData mime;
        for (auto it = offered.cbegin(); it != offered.cend(); ++it)
            mime.setData(it.key(), it.value().toByteArray());
        LogCapture log;
        const QString path = Pasteboard(&mime).imageDataPath();

        QCOMPARE(QFileInfo(path).absolutePath() + "/", tmp());
        QVERIFY2(kDefaultName.match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));
        QVERIFY(path.endsWith("." + extension));
        QCOMPARE(TestFiles::read(path), written);
        QVERIFY(log.contains("Got default data: " + extension));
        for (auto it = offered.cbegin(); it != offered.cend(); ++it)
            QVERIFY(log.contains(QStringLiteral("%1 %2").arg(it.key()).arg(it.value().toByteArray().size())));
    }

    void otherImagesBecomePng()
    {
        QMimeData tiff;
        tiff.setData("image/tiff", TestFiles::image("TIFF", Qt::blue));
        QMimeData decoded; // what Qt offers for any image it can decode
        QImage image(4, 3, QImage::Format_RGB32);
        image.fill(Qt::blue);
        decoded.setImageData(image);

        for (const QMimeData *mime : { &tiff, &decoded }) {
            const QString path = Pasteboard(mime).imageDataPath();
            QVERIFY(path.endsWith(".png"));
            QImage written;
            QVERIFY(written.loadFromData(TestFiles::read(path), "PNG"));
            QCOMPARE(written.size(), QSize(4, 3));
            QCOMPARE(written.pixelColor(2, 1), QColor(Qt::blue));
            QFile::remove(path);
        }
    }

    void noImageIsLogged()
    {
        QMimeData mime;
        mime.setText("just text");
        LogCapture log;
        Pasteboard(&mime).imageDataPath();
        QVERIFY(log.contains("Image data unavailable in drag operation."));
        QVERIFY(Pasteboard(nullptr).imageDataPath().endsWith(".png"));
    }

    void unwritableTargetReportsEmpty()
    {
        // A folder already holds the name the image would be written under.
        QVERIFY(QDir(tmp()).mkdir("cat.png"));
        QMimeData mime;
        mime.setData("image/png", TestFiles::image("PNG", Qt::red));
        mime.setData("text/uri-list", "https://example.com/cat.png");
        LogCapture log;
        QCOMPARE(Pasteboard(&mime).imageDataPath(), QString());
        QVERIFY(log.containsText("Could not write clipboard image to " + tmp() + "cat.png: "));
        QVERIFY(QFileInfo(tmp() + "cat.png").isDir());
        QDir(tmp()).rmdir("cat.png");
    }

    void webPageImages_data()
    {
        QTest::addColumn<QString>("html");
        QTest::addColumn<QString>("extension"); // empty: no image

        const QString jpegFile = writeFile("photo & co.jpg", TestFiles::image("JPEG", Qt::red));
        const QString jpegImg = "<img src=\"" + QUrl::fromLocalFile(jpegFile).toString() + "\">";
        const QString gif = "data:image/gif;base64," + kGif.toBase64();
        const auto row = [](const char *name, const QString &html, const QString &extension) {
            QTest::newRow(name) << html << extension;
        };
        row("remote sources are skipped, never fetched",
            "<img src=\"http://127.0.0.1:9/x.png\"><IMG alt=x SRC='" + gif + "'>", "gif");
        // A page's author chooses the file: it is never read.
        row("file URL of an existing image is not read", jpegImg, "");
        row("file URL before a data URL", jpegImg + "<img src=\"" + gif + "\">", "gif");
        row("base64 broken over lines",
            "<img src=\"data:image/gif;base64," + QString(kGif.toBase64()).insert(8, "\n  ") + "\">", "gif");
        row("other image types do not count",
            "<img src=\"data:image/svg+xml;utf8,<svg/>\"><img src=\"data:image/webp;base64,UklGRg==\">", "");
        row("corrupt base64", "<img src=\"data:image/png;base64,%%%%\">", "");
        row("no image", "<p>data:image/png;base64,AAAA</p>", "");
    }

    void webPageImages()
    {
        QFETCH(QString, html);
        QFETCH(QString, extension);
        QMimeData mime;
        mime.setHtml(html);
        const Pasteboard pasteboard(&mime);
        QCOMPARE(pasteboard.extensionFromWebArchive(), extension);
        QCOMPARE(pasteboard.imageDataFromWebArchive().isEmpty(), extension.isEmpty());
        QCOMPARE(pasteboard.hasImage(), !extension.isEmpty());
        if (!extension.isEmpty()) {
            QImage image;
            QVERIFY(image.loadFromData(pasteboard.imageDataFromWebArchive()));
        }
    }

    void fileNames_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("name"); // empty: the dated default

        const auto row
            = [](const char *name, const QByteArray &body, const QString &fileName,
                  const QString &type = "text/uri-list") { QTest::newRow(name) << type << body << fileName; };
        row("first image URL in order", "# comment\r\nhttps://e.com/readme.txt\r\nhttps://e.com/a.gif\r\n", "a.gif");
        row("jpeg does not match", "https://example.com/photo.jpeg", "");
        row("extension case matters", "https://example.com/PHOTO.JPG", "");
        row("percent-decoded", "https://e.com/my%20cat%C3%A9.png", "my caté.png");
        row("encoded slash stays encoded", "https://e.com/a%2F..%2Fb.png", "a%2F..%2Fb.png");
        row("hidden name is no name", "https://e.com/.png?x=1", "");
        row("too long for a file name", "https://e.com/" + QByteArray(300, 'a') + ".png", "");
        row("Firefox x-moz-url in UTF-16",
            QByteArray(reinterpret_cast<const char *>(u"https://e.com/dog.jpg\nA dog"), 2 * 27), "dog.jpg",
            "text/x-moz-url");
        row("Chromium img source", "<meta charset='utf-8'><img src=\"https://e.com/p/owl.gif?s=1&amp;t=2\"/>",
            "owl.gif", "text/html");
        row("data URL is not a name", "data:image/png;base64,iVBORw0KGgo/AAAA.png", "");
    }

    void fileNames()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, body);
        QFETCH(QString, name);
        QMimeData mime;
        mime.setData(type, body);
        const QString fileName = Pasteboard(&mime).fileNameFromClipboardOrDefaultForExtension("png");
        if (name.isEmpty())
            QVERIFY2(kDefaultName.match(fileName).hasMatch(), qPrintable(fileName));
        else
            QCOMPARE(fileName, name);
    }

    void fileByReference_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("body");
        QTest::addColumn<bool>("copied");

        const QString doc
            = QUrl::fromLocalFile(writeFile("Quarterly report 100%.pdf", "%PDF-1.4 body")).toString(QUrl::FullyEncoded);
        const auto row = [](const char *name, const QString &type, const QString &body, bool copied) {
            QTest::newRow(name) << type << body << copied;
        };
        row("uri list of one file", "text/uri-list", doc + "\r\n", true);
        row("KDE", "application/x-kde4-urilist", doc, true);
        row("GNOME copied files", "x-special/gnome-copied-files", "copy\n" + doc, true);
        row("remote file", "text/uri-list", "https://example.com/report.pdf", false);
        row("folder", "text/uri-list", QUrl::fromLocalFile(m_files.path()).toString(), false);
        row("missing file", "text/uri-list", "file:///nonexistent/report.pdf", false);
    }

    void fileByReference()
    {
        QFETCH(QString, type);
        QFETCH(QString, body);
        QFETCH(bool, copied);
        QMimeData mime;
        mime.setData(type, body.toUtf8());
        const Pasteboard pasteboard(&mime);
        QVERIFY(pasteboard.hasFilePromise());
        const QString path = pasteboard.filePromisePath();
        if (!copied) {
            QVERIFY(path.isEmpty());
            QVERIFY(QDir(tmp()).isEmpty());
            return;
        }
        QCOMPARE(path, tmp() + "Quarterly report 100%.pdf");
        QCOMPARE(TestFiles::read(path), QByteArray("%PDF-1.4 body"));
        // Offering the copy itself again leaves it in place.
        QMimeData again;
        again.setData("text/uri-list", QUrl::fromLocalFile(path).toEncoded());
        QCOMPARE(Pasteboard(&again).filePromisePath(), path);
        QCOMPARE(TestFiles::read(path), QByteArray("%PDF-1.4 body"));
    }
};

QTEST_MAIN(TestPasteboard)
#include "tst_pasteboard.moc"
