#include "screenrecorder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTimer>

Q_LOGGING_CATEGORY(lcScreenRecorder, "tessly.capture.screenrecorder")

QStringList ScreenRecorder::arguments(const Settings &settings)
{
    const int width = std::max(2, settings.native.width() & ~1);
    const int height = std::max(2, settings.native.height() & ~1);
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostats"), QStringLiteral("-loglevel"),
        QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("x11grab"),
        QStringLiteral("-draw_mouse"), QStringLiteral("1"), QStringLiteral("-framerate"), QStringLiteral("30"),
        QStringLiteral("-video_size"), QStringLiteral("%1x%2").arg(width).arg(height), QStringLiteral("-i"),
        QStringLiteral("%1+%2,%3").arg(settings.display).arg(settings.native.x()).arg(settings.native.y()) };
    if (settings.audio)
        args << QStringLiteral("-f") << QStringLiteral("pulse") << QStringLiteral("-i") << QStringLiteral("default");
    args << QStringLiteral("-c:v") << QStringLiteral("libx264") << QStringLiteral("-preset")
         << QStringLiteral("ultrafast") << QStringLiteral("-pix_fmt") << QStringLiteral("yuv420p");
    if (settings.audio)
        args << QStringLiteral("-c:a") << QStringLiteral("aac");
    args << settings.path;
    return args;
}

QString ScreenRecorder::ffmpegPath()
{
    const QString beside = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("ffmpeg"));
    if (QFileInfo(beside).isExecutable())
        return beside;
    return QStandardPaths::findExecutable(QStringLiteral("ffmpeg"));
}

bool ScreenRecorder::hasSoundServer()
{
    // Where libpulse looks: PULSE_SERVER (a list, the first that answers
    // wins), else the socket in the user's runtime folder. A socket file
    // left behind by a server that has gone does not count.
    QStringList servers = qEnvironmentVariable("PULSE_SERVER").split(QLatin1Char(' '), Qt::SkipEmptyParts);
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (servers.isEmpty() && !runtime.isEmpty())
        servers << runtime + QStringLiteral("/pulse/native");
    for (QString server : std::as_const(servers)) {
        if (server.startsWith(QLatin1String("unix:")))
            server = server.mid(5);
        if (!server.startsWith(QLatin1Char('/')))
            return true; // a network server: ffmpeg finds out
        QLocalSocket socket;
        socket.connectToServer(server);
        if (socket.waitForConnected(1000))
            return true;
    }
    return false;
}

ScreenRecorder::ScreenRecorder(QObject *parent)
    : QObject(parent)
{
    m_ffmpeg.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_ffmpeg.setStandardOutputFile(QProcess::nullDevice());
    connect(&m_ffmpeg, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        const bool ok = status == QProcess::NormalExit && code == 0;
        Q_EMIT finished(ok, ok ? QString() : QStringLiteral("ffmpeg ended with status %1").arg(code));
    });
}

bool ScreenRecorder::start(const Settings &settings, QString *error)
{
    const QString ffmpeg = ffmpegPath();
    if (ffmpeg.isEmpty()) {
        *error = QStringLiteral("ffmpeg is not installed");
        return false;
    }
    const QStringList args = arguments(settings);
    qCInfo(lcScreenRecorder).noquote() << "recording:" << ffmpeg << args.join(QLatin1Char(' '));
    m_ffmpeg.start(ffmpeg, args);
    if (!m_ffmpeg.waitForStarted(5000)) {
        *error = m_ffmpeg.errorString();
        return false;
    }
    return true;
}

void ScreenRecorder::stop()
{
    if (m_stopping || m_ffmpeg.state() != QProcess::Running)
        return;
    m_stopping = true;
    m_ffmpeg.write("q");
    m_ffmpeg.closeWriteChannel();
    // A stuck encoder must not keep the movie from its owner for ever.
    QTimer::singleShot(15000, &m_ffmpeg, [this] {
        if (m_ffmpeg.state() == QProcess::Running) {
            qCWarning(lcScreenRecorder).noquote() << "ffmpeg did not finish; stopping it";
            m_ffmpeg.terminate();
        }
    });
}
