// TLGIFConverter with the real ffmpeg, on movies ffmpeg makes here from its
// test sources, looked at afterwards with ffprobe and ffmpeg's ssim filter:
// both GIF paths, the faststart copy, how ffmpeg is found, run, timed out and
// how its failures read, bad movies, and the command line.
#include "capturenaming.h"
#include "e2e.h"
#include "gifencoder.h"
#include "logcapture.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "processingpopoverviewcontroller.h"
#include "processingspinner.h"
#include "tesslycommand.h"
#include "testfiles.h"
#include "tlgifconverter.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QScreen>
#include <QTemporaryDir>
#include <QtEndian>
#include <QTest>

#include <gif_lib.h>
#include <sys/stat.h>

namespace {

const QString kCapture = QStringLiteral("Screen Capture");

// A command line's fixed words, written as one string.
QStringList words(const char *line)
{
    return QString::fromLatin1(line).split(QLatin1Char(' '));
}

// ffmpeg's lavfi source `graph` (with its own options first) into `path`.
bool makeMovie(
    const QString &path, const QString &graph, const QStringList &encode = words("-c:v libx264 -pix_fmt yuv420p"))
{
    int status = -1;
    E2E::runTool("ffmpeg", words("-v error -y -f lavfi -i") + QStringList { graph } + encode + QStringList { path },
        &status, 120000);
    return status == 0;
}

struct Probe
{
    QString codec;
    int width = 0;
    int height = 0;
    QList<int> durations; // of each packet, in the stream's time base
};

Probe probe(const QString &path)
{
    const QByteArray json = E2E::runTool("ffprobe",
        words("-v error -select_streams v:0 -show_entries stream=codec_name,width,height:packet=duration -of json")
            << path);
    const QJsonObject root = QJsonDocument::fromJson(json).object();
    const QJsonObject stream = root.value("streams").toArray().first().toObject();
    Probe p { stream.value("codec_name").toString(), stream.value("width").toInt(), stream.value("height").toInt(),
        {} };
    for (const QJsonValue packet : root.value("packets").toArray())
        p.durations << packet.toObject().value("duration").toInt();
    return p;
}

// SSIM of the GIF against its source, frame against frame, of the frame
// that is least alike (so that one frame drawn in wrong colours is not
// averaged away): the GIF's clock runs `slowdown` times slower than the
// movie's, and both are sampled at `rate` frames a second of the movie's time.
double ssim(const QString &gif, const QString &source, double slowdown, int rate)
{
    const QString graph = QStringLiteral("[0:v]setpts=(PTS-STARTPTS)/%1,fps=%2,format=yuv444p[a];"
                                         "[1:v]setpts=PTS-STARTPTS,fps=%2,format=yuv444p[b];[a][b]ssim=stats_file=-")
                              .arg(slowdown)
                              .arg(rate);
    const QByteArray frames = E2E::runTool("ffmpeg",
        QStringList { "-v", "error", "-i", gif, "-i", source, "-lavfi", graph } + words("-f null -"), nullptr, 120000);
    double worst = 1.0;
    int seen = 0;
    auto each = QRegularExpression("^n:\\d+ .*All:([0-9.]+)", QRegularExpression::MultilineOption)
                    .globalMatch(QString::fromUtf8(frames));
    for (; each.hasNext(); ++seen)
        worst = std::min(worst, each.next().captured(1).toDouble());
    return seen ? worst : 0.0;
}

// Top-level MP4 boxes in file order.
QStringList boxes(const QString &path)
{
    QFile file(path);
    QStringList names;
    if (!file.open(QIODevice::ReadOnly))
        return names;
    for (qint64 at = 0; at + 8 <= file.size();) {
        file.seek(at);
        const QByteArray header = file.read(16);
        qint64 size = qFromBigEndian<quint32>(header.constData());
        if (size == 1)
            size = qint64(qFromBigEndian<quint64>(header.constData() + 8));
        else if (size == 0)
            size = file.size() - at;
        names << QString::fromLatin1(header.mid(4, 4));
        if (size < 8)
            break;
        at += size;
    }
    return names;
}

// Whether the movie's index comes before its data, ready for streaming.
bool indexFirst(const QString &path)
{
    const QStringList order = boxes(path);
    return order.contains("mdat") && order.indexOf("moov") >= 0 && order.indexOf("moov") < order.indexOf("mdat");
}

// Each packet of each stream, with its times, size and checksum, as a stream
// copy reads them.
QByteArrayList packets(const QString &path)
{
    const QByteArray listed = E2E::runTool(
        "ffmpeg", words("-v error -i") << path << words("-map 0 -c copy -f framemd5 -"), nullptr, 120000);
    QByteArrayList lines = listed.split('\n');
    lines.removeIf([](const QByteArray &line) { return line.startsWith('#'); });
    return lines;
}

// Processes whose command line holds `marker`.
int processesWith(const QString &marker)
{
    int found = 0;
    for (const QString &pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile cmdline("/proc/" + pid + "/cmdline");
        if (cmdline.open(QIODevice::ReadOnly) && cmdline.readAll().contains(marker.toUtf8()))
            ++found;
    }
    return found;
}

// The pixels giflib decodes from LZW data compressed for a table of
// 2^codeSize colours, in a file around it made with giflib.
QByteArray decodedByGiflib(int codeSize, int width, int height, const QByteArray &data)
{
    QByteArray file;
    const auto write = [](GifFileType *gif, const GifByteType *bytes, int length) {
        static_cast<QByteArray *>(gif->UserData)->append(reinterpret_cast<const char *>(bytes), length);
        return length;
    };
    int error = 0;
    GifFileType *out = EGifOpen(&file, write, &error);
    ColorMapObject *map = GifMakeMapObject(1 << codeSize, nullptr);
    EGifPutScreenDesc(out, width, height, 8, 0, map);
    EGifPutImageDesc(out, 0, 0, width, height, false, nullptr);
    const auto *blocks = reinterpret_cast<const GifByteType *>(data.constData());
    for (qsizetype at = 0; at < data.size(); at += blocks[at] + 1)
        EGifPutCodeNext(out, blocks + at);
    EGifPutCodeNext(out, nullptr);
    EGifCloseFile(out, &error);
    GifFreeMapObject(map);

    struct Source
    {
        QByteArray bytes;
        qsizetype at = 0;
    } source { file };
    const auto read = [](GifFileType *gif, GifByteType *bytes, int length) {
        auto *from = static_cast<Source *>(gif->UserData);
        const int n = int(std::min<qsizetype>(length, from->bytes.size() - from->at));
        std::memcpy(bytes, from->bytes.constData() + from->at, size_t(n));
        from->at += n;
        return n;
    };
    GifFileType *in = DGifOpen(&source, read, &error);
    QByteArray pixels;
    if (in && DGifSlurp(in) == GIF_OK && in->ImageCount == 1)
        pixels = QByteArray(reinterpret_cast<const char *>(in->SavedImages[0].RasterBits), qsizetype(width) * height);
    if (in)
        DGifCloseFile(in, &error);
    return pixels;
}

} // namespace

class TestGifConverter : public QObject
{
    Q_OBJECT
    QTemporaryDir m_dir;
    // Memory, not disk: a file system the kernel does not copy from into ours.
    QTemporaryDir m_elsewhere { QStringLiteral("/dev/shm/tst_gifconverter-XXXXXX") };
    QString m_testsrc, m_recording;

    QString file(const QString &name) const { return m_dir.filePath(name); }

    // Where the converter looks for ffmpeg: the build's folder with the link
    // to Debian's (empty `dir`), or a folder of the test's.
    void useLibexec(const QString &dir)
    {
        if (dir.isEmpty())
            qunsetenv("TESSLY_LIBEXEC");
        else
            qputenv("TESSLY_LIBEXEC", dir.toLocal8Bit());
    }

    QString folderWithFfmpeg(const QString &name, const QByteArray &content = {}, QFile::Permissions permissions = {})
    {
        const QString dir = file(name);
        QDir().mkpath(dir);
        if (!content.isNull())
            QFile::setPermissions(TestFiles::write(dir + "/ffmpeg", content), permissions);
        return dir;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QString tmp = file("tmp");
        QVERIFY(QDir().mkpath(tmp));
        qputenv("TMPDIR", tmp.toLocal8Bit());
        m_testsrc = file("testsrc.mp4");
        QVERIFY(makeMovie(m_testsrc, "testsrc=size=320x240:rate=30:duration=1"));
        // A still screen for a second, then a window sliding across it.
        m_recording = file("recording.mp4");
        QVERIFY(makeMovie(m_recording,
            "color=c=0xe8e8e8:s=320x240:r=10:d=2,drawgrid=w=32:h=32:c=0xa0a0a0[bg];color=c=0x3060c0:s=64x48:r=10[fg];"
            "[bg][fg]overlay=x='16+max(0,t-1)*120':y=80:shortest=1[out0]"));
        QVERIFY(QFileInfo(TLGIFConverter::executablePathNamed("ffmpeg")).isExecutable());
    }

    void cleanup() { useLibexec({}); }

    void gifPaths_data()
    {
        QTest::addColumn<QString>("movie");
        QTest::addColumn<bool>("withFfmpeg");
        QTest::addColumn<int>("frames"); // frames the movie has: 1 s at 30, 2 s at 10
        QTest::addColumn<int>("rate");
        QTest::addColumn<bool>("still"); // some frames repeat the one before
        // The least SSIM a frame may have: a test pattern's sharp colour
        // edges lose to the movie's chroma subsampling in both paths; a
        // screen's flat colours are drawn all but exactly (above 0.9975),
        // while a flat shade dithered between two palette entries falls to
        // about 0.996 and a frame drawn from the wrong entries to about 0.98.
        QTest::addColumn<double>("alike");
        QTest::newRow("testsrc, ffmpeg") << m_testsrc << true << 30 << 30 << false << 0.9;
        QTest::newRow("testsrc, frame by frame") << m_testsrc << false << 30 << 30 << false << 0.9;
        QTest::newRow("recording, ffmpeg") << m_recording << true << 20 << 10 << true << 0.997;
        QTest::newRow("recording, frame by frame") << m_recording << false << 20 << 10 << true << 0.997;
    }

    void gifPaths()
    {
        QFETCH(QString, movie);
        QFETCH(bool, withFfmpeg);
        QFETCH(int, frames);
        QFETCH(int, rate);
        QFETCH(bool, still);
        QFETCH(double, alike);
        if (!withFfmpeg)
            useLibexec(folderWithFfmpeg("none"));

        QList<Notification> posted;
        QObject observer;
        NotificationCenter::defaultCenter().addObserver(&observer, {}, [&](const Notification &n) { posted << n; });
        LogCapture log;
        Error error;
        const QUrl gif = TLGIFConverter().convertFileAtPath(QUrl::fromLocalFile(movie), kCapture, 0.5, &error);
        QVERIFY2(!error, qPrintable(error.toString()));
        // Named by the capture rule, in the user's private temporary folder.
        const QFileInfo written(gif.toLocalFile());
        QCOMPARE(written.dir().canonicalPath(), QDir(CaptureNaming::temporaryDirectory()).canonicalPath());
        QVERIFY2(QRegularExpression("^Screen Capture on \\d{4}-\\d\\d-\\d\\d at \\d\\d-\\d\\d-\\d\\d\\.gif$")
                     .match(written.fileName())
                     .hasMatch(),
            qPrintable(written.filePath()));

        const Probe p = probe(gif.toLocalFile());
        QCOMPARE(p.codec, "gif");
        QCOMPARE(QSize(p.width, p.height), QSize(320, 240));
        int total = 0;
        for (int d : p.durations)
            total += d;
        if (withFfmpeg) {
            // Sampled at 10 a second, a tenth of a second each.
            const int expected = frames * 10 / rate;
            QVERIFY2(qAbs(p.durations.size() - expected) <= 1, qPrintable(QString::number(p.durations.size())));
            QVERIFY(std::all_of(p.durations.begin(), p.durations.end(), [](int d) { return d == 10; }));
            QVERIFY(log.contains("Executing FFMPEG"));
        } else {
            // Every frame of the movie, a fifth of a second each; repeated
            // frames fold into a longer one.
            QCOMPARE(total, frames * 20);
            QVERIFY(std::all_of(p.durations.begin(), p.durations.end(), [](int d) { return d % 20 == 0; }));
            if (still)
                QVERIFY2(p.durations.size() <= frames / 2 + 1 && p.durations.first() >= 200,
                    qPrintable(QString::number(p.durations.size())));
            else
                QCOMPARE(p.durations.size(), frames);
            QVERIFY(log.contains(QStringLiteral("Frame Count: %1").arg(frames)));
            QVERIFY(log.contains("Saved GIF to: " + gif.toLocalFile()));

            QStringList names;
            for (const Notification &n : std::as_const(posted))
                names << n.name;
            QCOMPARE(names.count("TLNotificationGIFCreationProgress"), frames);
            QCOMPARE(names.first(), "TLNotificationGIFCreationBegan");
            QCOMPARE(names.last(), "TLNotificationGIFCreationComplete");
            const QVariantMap began = posted.first().userInfo;
            QCOMPARE(began.value("TLGIFCreationProgressMinValueKey"), QVariant(1));
            QCOMPARE(began.value("TLGIFCreationProgressMaxValueKey"), QVariant(qint64(frames)));
            const auto progress = [&](int i) { return posted.at(i).userInfo.value("TLGIFCreationProgressValueKey"); };
            QCOMPARE(progress(1).toDouble(), 0.0);
            QCOMPARE(progress(frames).toDouble(), double(frames - 1) / frames);
        }
        // The pictures are the movie's.
        const double similarity
            = withFfmpeg ? ssim(gif.toLocalFile(), movie, 1.0, 10) : ssim(gif.toLocalFile(), movie, 0.2 * rate, rate);
        QVERIFY2(similarity > alike, qPrintable(QString::number(similarity)));
        QFile::remove(gif.toLocalFile());
    }

    void faststart_data()
    {
        QTest::addColumn<QString>("movie");
        QTest::addColumn<bool>("withFfmpeg");
        // ffmpeg writes its index last, as a recorder does.
        QVERIFY(!indexFirst(m_recording));
        QTest::newRow("index last") << m_recording << false;
        // Two tracks, each with chunk offsets to move.
        const QString sound = file("with sound.mp4");
        QVERIFY(makeMovie(sound, "testsrc=size=160x120:rate=10:duration=1[out0];sine=duration=1[out1]",
            words("-c:v libx264 -pix_fmt yuv420p -c:a aac")));
        QTest::newRow("with sound") << sound << false;
        const QString first = file("first.mp4");
        QVERIFY(
            makeMovie(first, "testsrc=size=160x120:rate=10:duration=1", words("-c:v libx264 -movflags +faststart")));
        QTest::newRow("index first") << first << false;
        const QString elsewhere = m_elsewhere.filePath("recording.mp4");
        if (m_elsewhere.isValid() && QFile::copy(m_recording, elsewhere))
            QTest::newRow("another file system") << elsewhere << false;
        // Offsets in every fragment: left to ffmpeg.
        const QString fragmented = file("fragmented.mp4");
        QVERIFY(makeMovie(
            fragmented, "testsrc=size=160x120:rate=10:duration=1", words("-c:v libx264 -g 5 -movflags frag_keyframe")));
        QTest::newRow("fragmented") << fragmented << true;
    }

    void faststart()
    {
        QFETCH(QString, movie);
        QFETCH(bool, withFfmpeg);
        useLibexec(withFfmpeg ? QString() : folderWithFfmpeg("none"));
        Error error;
        const QString optimized
            = TLGIFConverter().optimizeVideoAtPath(QUrl::fromLocalFile(movie), kCapture, &error).toLocalFile();
        QVERIFY2(!error, qPrintable(error.toString()));
        QVERIFY(optimized.endsWith(".mp4") && optimized != movie);
        QVERIFY2(indexFirst(optimized), qPrintable(boxes(optimized).join(' ')));
        // Every packet of every stream where the index says, as it was.
        QCOMPARE(packets(optimized), packets(movie));
        QFile::remove(optimized);
    }

    void ffmpegFailures_data()
    {
        QTest::addColumn<QString>("libexec");
        QTest::addColumn<bool>("gifMade"); // by the frame-by-frame path
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("logLine");
        const auto exec = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        const QString notFound = QStringLiteral("ffmpeg executable not found");
        QTest::newRow("missing") << folderWithFfmpeg("missing") << true << 1 << notFound
                                 << QStringLiteral("Returning executable ffmpeg (null)");
        const QString plain = folderWithFfmpeg("plain", "#!/bin/sh\nexit 0\n", QFile::ReadOwner | QFile::WriteOwner);
        QTest::newRow("not executable") << plain << true << 1 << notFound
                                        << QStringLiteral("File %1/ffmpeg for ffmpeg is not executable").arg(plain);
        QTest::newRow("cannot start") << folderWithFfmpeg("broken", "#!/nonexistent/interpreter\n", exec) << false << 2
                                      << QString() << QString();
        QTest::newRow("fails") << QString() << false << 1 << QStringLiteral("ffmpeg failed")
                               << QStringLiteral("ffmpeg failed with status 1. stderr: ");
    }

    void ffmpegFailures()
    {
        QFETCH(QString, libexec);
        QFETCH(bool, gifMade);
        QFETCH(int, code);
        QFETCH(QString, text);
        QFETCH(QString, logLine);
        useLibexec(libexec);
        const QString notAMovie = TestFiles::write(file("notes.mp4"), "These are notes, not a movie.\n");
        const QString movie = libexec.isEmpty() ? notAMovie : m_testsrc;

        LogCapture log;
        const QStringList args = QStringList { "-i", movie } + words("-f null -");
        Error error;
        QString standardError = QStringLiteral("untouched");
        QVERIFY(!TLGIFConverter().runFFMPEGTaskWithArgs(args, 30, &error, &standardError));
        QCOMPARE(error.domain, QStringLiteral("TLGIFConverter"));
        QCOMPARE(error.code, code);
        if (!text.isEmpty())
            QCOMPARE(error.localizedDescription, text);
        else
            QVERIFY(!error.localizedDescription.isEmpty());
        if (!logLine.isEmpty())
            QVERIFY2(log.containsText(logLine), qPrintable(log.lines().join('\n')));
        if (text == "ffmpeg failed") {
            QCOMPARE(error.userInfo.value("args").toStringList(), args);
            QVERIFY(error.userInfo.value("stderr").toString().contains("Invalid data"));
            QCOMPARE(standardError, error.userInfo.value("stderr").toString());
        }

        // The GIF's URL comes back all the same: a real GIF when the
        // frame-by-frame path could make one, else no file at all.
        Error convertError;
        const QString gif = TLGIFConverter()
                                .convertFileAtPath(QUrl::fromLocalFile(movie), kCapture, 1.0, &convertError)
                                .toLocalFile();
        QVERIFY(gif.endsWith(".gif"));
        if (gifMade) {
            QVERIFY2(!convertError, qPrintable(convertError.toString()));
            QCOMPARE(probe(gif).codec, "gif");
        } else {
            QCOMPARE(convertError.code, code);
            QVERIFY(!QFile::exists(gif));
        }
        QFile::remove(gif);

        // What only ffmpeg could have made stream-ready stays as it was.
        Error optimizeError;
        QCOMPARE(TLGIFConverter().optimizeVideoAtPath(QUrl::fromLocalFile(notAMovie), kCapture, &optimizeError),
            QUrl::fromLocalFile(notAMovie));
        QCOMPARE(optimizeError.code, code);
        QCOMPARE(QDir(file("tmp")).entryList({ "*.mp4" }), QStringList());
    }

    // A run past its time is ended, also one stuck where signals do not
    // reach (opening a FIFO nobody writes), and nothing of it stays behind.
    void timeout_data()
    {
        QTest::addColumn<QStringList>("input");
        QTest::newRow("slow source") << words("-re -f lavfi -i testsrc=size=32x32:duration=600");
        const QString fifo = file("stuck.fifo");
        QVERIFY(mkfifo(fifo.toLocal8Bit().constData(), 0600) == 0);
        QTest::newRow("blocked input") << QStringList { "-i", fifo };
    }

    void timeout()
    {
        QFETCH(QStringList, input);
        const QString marker = QStringLiteral("tessly-timeout-%1").arg(QTest::currentDataTag()).replace(' ', '-');
        LogCapture log;
        Error error;
        QVERIFY(!TLGIFConverter().runFFMPEGTaskWithArgs(
            input + QStringList { "-metadata", "comment=" + marker } + words("-f null -"), 0.3, &error));
        QVERIFY(error.code != 0);
        QVERIFY(log.contains("Error: terminating ffmpeg task, timeout was reached."));
        QCOMPARE(processesWith(marker), 0);
    }

    void chattyStandardError()
    {
        // ffmpeg's showinfo writes a line per frame: some megabytes in all,
        // far more than a pipe holds.
        QString standardError;
        Error error;
        QVERIFY2(TLGIFConverter().runFFMPEGTaskWithArgs(
                     words("-f lavfi -i testsrc=size=16x16:rate=1000:duration=8 -vf showinfo -f null -"), 120, &error,
                     &standardError),
            qPrintable(error.toString()));
        QVERIFY2(standardError.size() > 2'000'000, qPrintable(QString::number(standardError.size())));
        QVERIFY(standardError.contains(" n:7999 "));
    }

    void badInput_data()
    {
        QTest::addColumn<QString>("movie");
        QTest::addColumn<QSize>("size"); // of a good movie; empty for a bad one
        auto made
            = [this](const QString &name, const QString &graph, const char *encode = "-c:v libx264 -pix_fmt yuv420p") {
                  const QString path = file(name);
                  return makeMovie(path, graph, words(encode)) ? path : QString();
              };
        QTest::newRow("zero bytes") << TestFiles::write(file("empty.mov"), "") << QSize();
        const QByteArray movie = TestFiles::read(m_testsrc);
        QTest::newRow("truncated") << TestFiles::write(file("truncated.mp4"), movie.left(movie.size() / 2)) << QSize();
        QTest::newRow("not a movie") << TestFiles::write(file("letter.mov"), QByteArray(4096, 'x')) << QSize();
        QTest::newRow("no video") << made("sound.m4a", "sine=duration=1", "-c:a aac") << QSize();
        QTest::newRow("odd size") << made(
            "odd.mp4", "testsrc=size=1281x721:rate=10:duration=0.3", "-c:v libx264 -pix_fmt yuv444p")
                                  << QSize(1281, 721);
        QTest::newRow("4K") << made("uhd.mp4", "testsrc=size=3840x2160:rate=10:duration=0.2") << QSize(3840, 2160);
        QTest::newRow("quotes and newlines")
            << made("it's a \"movie\"\nwith lines.mp4", "testsrc=size=160x120:rate=10:duration=0.5") << QSize(160, 120);
    }

    void badInput()
    {
        QFETCH(QString, movie);
        QFETCH(QSize, size);
        QVERIFY(QFile::exists(movie));
        for (const bool withFfmpeg : { true, false }) {
            useLibexec(withFfmpeg ? QString() : folderWithFfmpeg("none"));
            Error error;
            const QString gif
                = TLGIFConverter().convertFileAtPath(QUrl::fromLocalFile(movie), kCapture, 1.0, &error).toLocalFile();
            QVERIFY(gif.endsWith(".gif"));
            if (size.isValid()) {
                QVERIFY2(!error, qPrintable(error.toString()));
                const Probe p = probe(gif);
                QCOMPARE(p.codec, "gif");
                QCOMPARE(QSize(p.width, p.height), size);
            } else {
                QCOMPARE(error.domain, "TLGIFConverter");
                QVERIFY(!error.localizedDescription.isEmpty());
                // Nothing to take for a GIF: no file from ffmpeg, the empty
                // placeholder from the frame-by-frame path.
                if (withFfmpeg)
                    QVERIFY(!QFile::exists(gif));
                else
                    QCOMPARE(QFileInfo(gif).size(), 0);
            }
            QFile::remove(gif);

            const QString optimized
                = TLGIFConverter().optimizeVideoAtPath(QUrl::fromLocalFile(movie), kCapture, &error).toLocalFile();
            // Any movie's index can be moved, also one of sound alone, with
            // or without ffmpeg.
            const bool copyable = size.isValid() || QByteArray(QTest::currentDataTag()) == "no video";
            if (copyable)
                QVERIFY(indexFirst(optimized));
            else
                QCOMPARE(optimized, movie);
            if (optimized != movie)
                QFile::remove(optimized);
        }
    }

    void commandLine_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<bool>("withFfmpeg");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("printed"); // the output's extension, or the start of the error
        QTest::newRow("gif") << QStringList { "gif", m_recording } << true << 0 << QStringLiteral(".gif");
        QTest::newRow("gif of no movie") << QStringList { "gif", file("letter.mov") } << true << 1
                                         << QStringLiteral("tessly gif: ");
        QTest::newRow("gif of nothing") << QStringList { "gif", file("absent.mov") } << true << 2
                                        << QStringLiteral("tessly gif: ");
        QTest::newRow("optimize") << QStringList { "optimize", m_recording } << false << 0 << QStringLiteral(".mp4");
        QTest::newRow("optimize no movie")
            << QStringList { "optimize", file("letter.mov") } << true << 1 << QStringLiteral("tessly optimize: ");
    }

    void commandLine()
    {
        QFETCH(QStringList, args);
        QFETCH(bool, withFfmpeg);
        QFETCH(int, exitCode);
        QFETCH(QString, printed);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        if (!withFfmpeg)
            env.insert("TESSLY_LIBEXEC", folderWithFfmpeg("none"));
        const TesslyCommand::Run tessly = TesslyCommand::run(args, env);
        QCOMPARE(tessly.exitCode, exitCode);
        const QString out = tessly.out.trimmed(), &err = tessly.err;
        if (exitCode == 0) {
            QVERIFY2(out.endsWith(printed) && QFileInfo(out).size() > 0, qPrintable(out + err));
            QFile::remove(out);
        } else {
            QCOMPARE(out, QString());
            // The command's own line, whatever the log said before it.
            QVERIFY2(QRegularExpression("(^|\n)" + QRegularExpression::escape(printed)).match(err).hasMatch(),
                qPrintable(err));
        }
    }

    // The GIF writer's LZW coder against giflib's decoder: every index comes
    // back as the coder says it wrote it, across code sizes, runs (where a
    // code is used in the very step that defines it), noise that fills the
    // dictionary again and again, and slack, where what it wrote stays
    // within the slack of each pixel's colour.
    void encoderRoundTrip_data()
    {
        QTest::addColumn<int>("codeSize");
        QTest::addColumn<int>("longestRun");
        QTest::addColumn<int>("slack");
        QTest::newRow("2-bit runs") << 2 << 300 << 0;
        QTest::newRow("8-bit noise") << 8 << 1 << 0;
        QTest::newRow("5-bit runs, slack") << 5 << 40 << 3;
    }

    void encoderRoundTrip()
    {
        QFETCH(int, codeSize);
        QFETCH(int, longestRun);
        QFETCH(int, slack);
        const int width = 331, height = 241, colours = 1 << codeSize;
        const int step = colours <= 128 ? 2 : 1; // between the palette's greys
        QVector<uint32_t> palette(colours);
        for (int i = 0; i < colours; ++i)
            palette[i] = qToLittleEndian(0xff000000u | 0x010101u * uint32_t(step * i));
        QRandomGenerator random { quint32(codeSize) };
        QByteArray meant(qsizetype(width) * height, Qt::Uninitialized);
        for (qsizetype at = 0; at < meant.size();) {
            const char index = char(random.bounded(colours));
            for (int n = random.bounded(1, longestRun + 1); n > 0 && at < meant.size(); --n)
                meant[at++] = index;
        }
        QImage targets(width, height, QImage::Format_RGBA8888);
        for (qsizetype at = 0; at < meant.size(); ++at)
            reinterpret_cast<uint32_t *>(targets.scanLine(int(at / width)))[at % width] = palette[uchar(meant[at])];
        const std::vector<uchar> slacks(size_t(meant.size()), uchar(slack));

        QByteArray written = meant;
        GifEncoder::Pixels pixels;
        pixels.indices = reinterpret_cast<uchar *>(written.data());
        pixels.count = written.size();
        pixels.slack = slack ? slacks.data() : nullptr;
        pixels.targets = targets.constBits();
        pixels.stride = targets.bytesPerLine();
        pixels.width = width;
        pixels.palette = palette.constData();
        pixels.colours = colours;
        GifEncoder encoder;
        const QByteArray data = encoder.encode(codeSize, pixels);
        QCOMPARE(decodedByGiflib(codeSize, width, height, data), written);
        if (!slack) {
            QCOMPARE(written, meant);
            return;
        }
        QVERIFY(written != meant);
        for (qsizetype at = 0; at < meant.size(); ++at)
            QVERIFY(std::abs(uchar(written[at]) - uchar(meant[at])) * step <= slack);
    }

    void processingPanel()
    {
        ProcessingPopoverViewController panel({});
        QCOMPARE(panel.size(), QSize(220, 60));
        QCOMPARE(panel.messageLabel()->text(), "Processing...");
        QVERIFY(panel.spinner()->isAnimating());
        panel.setMessage("Converting to GIF...");
        QCOMPARE(panel.message(), "Converting to GIF...");
        QCOMPARE(panel.messageLabel()->text(), "Converting to GIF...");
        panel.setMessage(QString("Optimizing video... ").repeated(6));
        QVERIFY(panel.messageLabel()->text().endsWith(QChar(0x2026)));

        // Below the icon when there is room, above it at the screen's foot,
        // never past the screen's edge.
        const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
        panel.showAnchoredTo(QRect(area.right() - 10, area.top(), 22, 22));
        QCOMPARE(panel.geometry().top(), area.top() + 22 + 4);
        QCOMPARE(panel.geometry().right(), area.right());
        panel.showAnchoredTo(QRect(area.left() + 300, area.bottom() - 21, 22, 22));
        QCOMPARE(panel.geometry().bottom(), area.bottom() - 22 - 4);
        QVERIFY(qAbs(panel.geometry().center().x() - (area.left() + 300 + 10)) <= 1);
    }
};

QTEST_MAIN(TestGifConverter)
#include "tst_gifconverter.moc"
