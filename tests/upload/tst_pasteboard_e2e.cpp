// The clipboard as another application leaves it on a real X server: set with
// xclip or by a second process offering several types, seen offered through
// xclip, and turned into a file by Pasteboard in this process.
#include "capturenaming.h"
#include "e2e.h"
#include "pasteboard.h"
#include "testfiles.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using Offer = QList<std::pair<QString, QByteArray>>; // clipboard types and their bytes
Q_DECLARE_METATYPE(Offer)

namespace {

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
        return TestFiles::write(m_files.filePath(name), bytes);
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

    bool setWithOwner(const Offer &items)
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

    void clipboardBecomesAFile_data()
    {
        QTest::addColumn<Offer>("offer"); // one type: set with xclip, else by a second process
        QTest::addColumn<QString>("name"); // a pattern; empty: no image
        QTest::addColumn<QByteArray>("picture"); // what the written file shows
        const QByteArray png = TestFiles::image("PNG", Qt::green), jpg = TestFiles::image("JPEG", Qt::green);
        const QString stamped = QStringLiteral(R"(Image upload at \d{4}-\d\d-\d\d \d\d-\d\d-\d\d)");
        QTest::newRow("PNG and JPEG give JPEG")
            << Offer { { "image/png", png }, { "image/jpeg", jpg } } << stamped + "\\.jpg" << jpg;
        QTest::newRow("image URL with a query names the file")
            << Offer { { "image/png", png }, { "text/uri-list", "https://example.com/img/cat.png?w=200\r\n" } }
            << "cat\\.png" << png;
        QTest::newRow("page with a data image") << Offer {
            { "text/html", "<p>look</p><img alt=\"chart\" src=\"data:image/png;base64," + png.toBase64() + "\">" }
        } << stamped + "\\.png" << png;
        QTest::newRow("bitmap becomes PNG")
            << Offer { { "image/bmp", TestFiles::image("BMP", Qt::green) } } << stamped + "\\.png" << png;
        QTest::newRow("text is no image")
            << Offer { { "text/plain", "https://example.com/cat.png" } } << QString() << QByteArray();
    }

    void clipboardBecomesAFile()
    {
        QFETCH(Offer, offer);
        QFETCH(QString, name);
        QFETCH(QByteArray, picture);
        QVERIFY(offer.size() == 1 ? setWithXclip(offer[0].first, offer[0].second) : setWithOwner(offer));
        const Pasteboard pasteboard = Pasteboard::general();
        QCOMPARE(pasteboard.hasImage(), !name.isEmpty());
        const QString path = pasteboard.imageDataPath();
        if (name.isEmpty()) {
            QVERIFY(!QFileInfo::exists(path));
            QVERIFY(QDir(CaptureNaming::temporaryDirectory()).isEmpty());
            return;
        }
        QCOMPARE(QFileInfo(path).path() + "/", CaptureNaming::temporaryDirectory());
        QVERIFY2(QRegularExpression("^" + name + "$").match(QFileInfo(path).fileName()).hasMatch(), qPrintable(path));
        // The same pixels, in the format the name says (tst_pasteboard compares
        // the bytes of sources taken as they are).
        const auto pixels
            = [](const QByteArray &bytes) { return QImage::fromData(bytes).convertToFormat(QImage::Format_RGB32); };
        QCOMPARE(pixels(TestFiles::read(path)), pixels(picture));
        QCOMPARE(QImageReader(path).format(), QByteArray(name.endsWith("jpg") ? "jpeg" : "png"));
    }
};

QTEST_MAIN(TestPasteboardE2E)
#include "tst_pasteboard_e2e.moc"
