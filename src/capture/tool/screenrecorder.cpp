#include "screenrecorder.h"

#include <csignal>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QStandardPaths>
#include <QTimer>
#include <sys/prctl.h>

Q_LOGGING_CATEGORY(lcScreenRecorder, "tessly.capture.screenrecorder")

QStringList ScreenRecorder::arguments(const Settings &settings)
{
    const int width = std::max(2, settings.native.width() & ~1);
    const int height = std::max(2, settings.native.height() & ~1);
    QStringList args { QStringLiteral("-hide_banner"), QStringLiteral("-nostats"), QStringLiteral("-loglevel"),
        QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-thread_queue_size"), QStringLiteral("1024"),
        QStringLiteral("-f"), QStringLiteral("x11grab"), QStringLiteral("-draw_mouse"), QStringLiteral("1"),
        QStringLiteral("-framerate"), QStringLiteral("30"), QStringLiteral("-video_size"),
        QStringLiteral("%1x%2").arg(width).arg(height), QStringLiteral("-i"),
        QStringLiteral("%1+%2,%3").arg(settings.display).arg(settings.native.x()).arg(settings.native.y()) };
    if (settings.audio) {
        // Deep input queues: while the sound server starts up, frames wait
        // instead of being dropped.
        args << QStringLiteral("-thread_queue_size") << QStringLiteral("1024") << QStringLiteral("-f")
             << QStringLiteral("pulse") << QStringLiteral("-i")
             << (settings.audioSource.isEmpty() ? QStringLiteral("default") : settings.audioSource);
    }
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
    m_ffmpeg.setStandardOutputFile(QProcess::nullDevice());
    m_ffmpeg.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGTERM); });
    // Its messages still reach our stderr; the last one explains a failure.
    connect(&m_ffmpeg, &QProcess::readyReadStandardError, this, [this] {
        const QByteArray text = m_ffmpeg.readAllStandardError();
        fwrite(text.constData(), 1, size_t(text.size()), stderr);
        const QList<QByteArray> lines = text.trimmed().split('\n');
        if (!lines.isEmpty() && !lines.last().trimmed().isEmpty())
            m_lastError = lines.last().trimmed();
        // ffmpeg names a failing input before its error, and then carries on
        // with the others.
        for (const QByteArray &line : lines) {
            if (!m_soundInput.isEmpty() && !m_soundLost && !m_stopping && line.startsWith(m_soundInput)) {
                m_soundLost = true;
                Q_EMIT soundLost(QString::fromLocal8Bit(line.trimmed()));
            }
            if (!m_screenInput.isEmpty() && !m_screenLost && !m_stopping && line.startsWith(m_screenInput)) {
                m_screenLost = true;
                Q_EMIT screenLost(QString::fromLocal8Bit(line.trimmed()));
            }
        }
    });
    connect(&m_ffmpeg, &QProcess::finished, this, [this](int code, QProcess::ExitStatus status) {
        const bool ok = status == QProcess::NormalExit && code == 0;
        QString error;
        if (status != QProcess::NormalExit)
            error = QStringLiteral("ffmpeg was stopped by a signal");
        else if (code != 0)
            error = QStringLiteral("ffmpeg ended with status %1").arg(code);
        if (!ok && !m_lastError.isEmpty())
            error += QStringLiteral(": ") + QString::fromLocal8Bit(m_lastError);
        Q_EMIT finished(ok, error);
    });
}

ScreenRecorder::~ScreenRecorder()
{
    if (m_ffmpeg.state() == QProcess::NotRunning)
        return;
    disconnect(&m_ffmpeg, nullptr, this, nullptr);
    m_ffmpeg.write("q");
    m_ffmpeg.closeWriteChannel();
    if (!m_ffmpeg.waitForFinished(5000)) {
        m_ffmpeg.terminate();
        if (!m_ffmpeg.waitForFinished(2000))
            m_ffmpeg.kill();
    }
}

bool ScreenRecorder::start(const Settings &settings, QString *error)
{
    const QString ffmpeg = settings.ffmpeg.isEmpty() ? ffmpegPath() : settings.ffmpeg;
    if (ffmpeg.isEmpty()) {
        *error = QStringLiteral("ffmpeg is not installed");
        return false;
    }
    const QStringList args = arguments(settings);
    qCInfo(lcScreenRecorder).noquote() << "recording:" << ffmpeg << args.join(QLatin1Char(' '));
    m_soundInput = settings.audio
        ? (settings.audioSource.isEmpty() ? QByteArrayLiteral("default") : settings.audioSource.toLocal8Bit()) + ": "
        : QByteArray();
    m_soundLost = false;
    // Alone, a failed screen input ends ffmpeg; beside sound it is only said.
    m_screenInput = settings.audio ? QStringLiteral("%1+%2,%3: ")
                                         .arg(settings.display)
                                         .arg(settings.native.x())
                                         .arg(settings.native.y())
                                         .toLocal8Bit()
                                   : QByteArray();
    m_screenLost = false;
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
    m_lastError.clear();
    m_ffmpeg.write("q");
    m_ffmpeg.closeWriteChannel();
    // A stuck encoder must not keep the movie from its owner for ever.
    QTimer::singleShot(15000, &m_ffmpeg, [this] {
        if (m_ffmpeg.state() == QProcess::Running) {
            qCWarning(lcScreenRecorder).noquote() << "ffmpeg did not finish; stopping it";
            m_ffmpeg.terminate();
            if (!m_ffmpeg.waitForFinished(5000))
                m_ffmpeg.kill();
        }
    });
}
