#pragma once

#include <QObject>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

// Records a rectangle of the X display to a movie with ffmpeg's x11grab.
// stop() asks ffmpeg to end by writing "q" to its input, so the movie is
// finalised and plays; a signal would leave it without its index.
//
// ffmpeg never outlives its owner: destroying the recorder ends it, and the
// kernel sends it SIGTERM (on which ffmpeg still finalises the movie) when
// the process that started it dies.
class ScreenRecorder : public QObject
{
    Q_OBJECT
public:
    struct Settings
    {
        QRect native; // root-window pixels
        bool audio = false; // add a sound server's input
        QString audioSource; // its PulseAudio source name; empty: the default
        QString display; // the X display, e.g. ":1"
        QString path;
        QString ffmpeg; // the program; empty: ffmpegPath()
    };

    // ffmpeg's arguments. Width and height are made even, as H.264 in 4:2:0
    // needs.
    static QStringList arguments(const Settings &settings);

    // ffmpeg next to this program (the application's private folder), else
    // the one on PATH; empty when there is none.
    static QString ffmpegPath();

    // Whether a PulseAudio (or PipeWire's pulse) server answers, to record from.
    static bool hasSoundServer();

    explicit ScreenRecorder(QObject *parent = nullptr);
    // Ends a running ffmpeg the way stop() does and waits a little for it,
    // so the movie so far is kept.
    ~ScreenRecorder() override;

    bool start(const Settings &settings, QString *error);
    void stop();
    bool isRunning() const { return m_ffmpeg.state() != QProcess::NotRunning; }
    qint64 processId() const { return m_ffmpeg.processId(); }
    // ffmpeg's last line on stderr: why it failed, or what went wrong as it
    // ended well (a movie whose end could not be written).
    QString lastMessage() const { return QString::fromLocal8Bit(m_lastError); }

Q_SIGNALS:
    // ffmpeg has ended: after stop(), or by itself on an error.
    void finished(bool ok, const QString &error);
    // The sound input failed (the sound server went away, the microphone was
    // unplugged): ffmpeg records on without sound. Emitted once, with
    // ffmpeg's line.
    void soundLost(const QString &message);
    // The screen input failed while the sound goes on (the X screen shrank
    // or moved away from under the area): ffmpeg would record sound alone.
    // Emitted once, with ffmpeg's line.
    void screenLost(const QString &message);

private:
    QProcess m_ffmpeg;
    QByteArray m_lastError; // ffmpeg's last line on stderr
    QByteArray m_soundInput; // "<source>: " starts ffmpeg's lines about it
    bool m_soundLost = false;
    QByteArray m_screenInput; // "<display>+x,y: ", while a sound input runs beside it
    bool m_screenLost = false;
    bool m_stopping = false;
};
