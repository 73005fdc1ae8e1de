// The clipboard as another application leaves it on a real X server: set with
// xclip or by a second process offering several types, read back with xclip,
// and turned into a file by Pasteboard in this process.
#include "capturenaming.h"
#include "e2e.h"
#include "logcapture.h"
#include "pasteboard.h"

#include <QBuffer>
#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray encoded(const char *format, QColor color)
{
    QImage image(8, 6, QImage::Format_RGB32);
    image.fill(color);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray clipboardAs(const QString &type)
{
    return E2E::runTool("xclip", { "-o", "-selection", "clipboard", "-t", type });
}

} // namespace

class TestPasteboardE2E : public QObject
{
    Q_OBJECT

    QTemporaryDir m_tmp;
    QTemporaryDir m_files;
    QProcess m_owner;

    QString fixture(const QString &name, const QByteArray &bytes)
    {
        const QString path = m_files.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
        return path;
    }

    // True once the X server reports every type as offered and this process
    // has seen the change.
    bool offered(const QStringList &types)
    {
        auto everyType = [&] {
            const QByteArray targets = clipboardAs("TARGETS");
            for (const QString &type : types) {
                if (!targets.split('\n').contains(type.toUtf8()))
                    return false;
            }
            const QStringList seen = Pasteboard::general().types();
            return std::all_of(types.cbegin(), types.cend(), [&](const QString &t) { return seen.contains(t); });
        };
        return QTest::qWaitFor(everyType, 10000);
    }

    bool setWithXclip(const QString &type, const QByteArray &bytes)
    {
        int status = -1;
        E2E::runTool("xclip", { "-selection", "clipboard", "-t", type, "-i", fixture("xclip.in", bytes) }, &status);
        return status == 0 && offered({ type });
    }

    bool setWithOwner(const QList<std::pair<QString, QByteArray>> &items)
    {
        QStringList arguments;
        QStringList types;
        for (const auto &[type, bytes] : items) {
            arguments << type + "=" + fixture(QString::number(arguments.size()), bytes);
            types << type;
        }
        m_owner.start(QCoreApplication::applicationDirPath() + "/clipboardowner", arguments);
        return m_owner.waitForReadyRead(10000) && m_owner.readLine() == "ready\n" && offered(types);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(E2E::underHarness());
        QCOMPARE(QGuiApplication::platformName(), QStringLiteral("xcb"));
        QVERIFY(m_tmp.isValid() && m_files.isValid());
        qputenv("TMPDIR", m_tmp.path().toUtf8());
    }

    void cleanup()
    {
        QGuiApplication::clipboard()->clear(); // xclip and the owner let go and exit
        if (m_owner.state() != QProcess::NotRunning && !m_owner.waitForFinished(5000)) {
            m_owner.kill();
            m_owner.waitForFinished();
        }
        QDir dir(CaptureNaming::temporaryDirectory());
        for (const QString &name : dir.entryList(QDir::Files))
            dir.remove(name);
    }

    void pngAndJpegGiveJpeg()
    {
        const QByteArray png = encoded("PNG", Qt::green), jpg = encoded("JPEG", Qt::green);
        QVERIFY(setWithOwner({ { "image/png", png }, { "image/jpeg", jpg } }));
        QCOMPARE(clipboardAs("image/jpeg"), jpg);
        QCOMPARE(clipboardAs("image/png"), png);

        LogCapture log;
        const QString path = Pasteboard::general().imageDataPath();
        QVERIFY2(QRegularExpression(R"(/Image upload at \d{4}-\d\d-\d\d \d\d-\d\d-\d\d\.jpg$)").match(path).hasMatch(),
            qPrintable(path));
        QCOMPARE(readFile(path), jpg);
        QVERIFY(log.contains(QStringLiteral("image/jpeg %1").arg(jpg.size())));
        QVERIFY(log.contains(QStringLiteral("image/png %1").arg(png.size())));
        QVERIFY(log.contains("Got default data: jpg"));
    }

    void imageUrlWithQueryNamesTheFile()
    {
        const QByteArray png = encoded("PNG", Qt::yellow);
        QVERIFY(
            setWithOwner({ { "image/png", png }, { "text/uri-list", "https://example.com/img/cat.png?w=200\r\n" } }));
        QCOMPARE(clipboardAs("text/uri-list"), QByteArray("https://example.com/img/cat.png?w=200\r\n"));
        const QString path = Pasteboard::general().imageDataPath();
        QCOMPARE(path, CaptureNaming::temporaryDirectory() + "cat.png");
        QCOMPARE(readFile(path), png);
    }

    void htmlWithDataImage()
    {
        const QByteArray png = encoded("PNG", Qt::magenta);
        const QByteArray html = "<html><body><p>look</p><img alt=\"chart\" src=\"data:image/png;base64,"
            + png.toBase64() + "\"></body></html>";
        QVERIFY(setWithXclip("text/html", html));
        QCOMPARE(clipboardAs("text/html"), html);

        const Pasteboard pasteboard = Pasteboard::general();
        QVERIFY(pasteboard.hasImage());
        const QString path = pasteboard.imageDataPath();
        QVERIFY2(path.contains("/Image upload at ") && path.endsWith(".png"), qPrintable(path));
        QCOMPARE(readFile(path), png);
    }

    void bitmapBecomesPng()
    {
        QVERIFY(setWithXclip("image/bmp", encoded("BMP", Qt::cyan)));
        const QString path = Pasteboard::general().imageDataPath();
        QImage written;
        QVERIFY(written.loadFromData(readFile(path), "PNG"));
        QCOMPARE(written.size(), QSize(8, 6));
        QCOMPARE(written.pixelColor(4, 3), QColor(Qt::cyan));
    }

    void textIsNoImage()
    {
        QVERIFY(setWithXclip("text/plain", "https://example.com/cat.png"));
        const Pasteboard pasteboard = Pasteboard::general();
        QVERIFY(!pasteboard.hasImage());
        QVERIFY(!QFileInfo::exists(pasteboard.imageDataPath()));
        QVERIFY(QDir(CaptureNaming::temporaryDirectory()).isEmpty());
    }
};

QTEST_MAIN(TestPasteboardE2E)
#include "tst_pasteboard_e2e.moc"
