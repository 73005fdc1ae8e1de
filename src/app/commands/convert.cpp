#include "commands.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "terminalprogress.h"
#include "tlgifconverter.h"

#include <QFileInfo>

// `tessly gif MOVIE` and `tessly optimize MOVIE` post-process a movie as a
// finished recording is: into an animated GIF, or into an MP4 with its index
// at the front for streaming. Each prints the new file's path. Exit codes: 0
// done, 1 the conversion failed, 2 usage.

namespace Commands {

namespace {

// The movie named on the command line, or empty after telling why not.
QString movieArgument(const char *command, const QStringList &args, int *status)
{
    *status = 0;
    if (args.size() != 1) {
        *status = usageError(command, QStringLiteral("expects one movie"));
        return {};
    }
    const QFileInfo movie(args.first());
    if (!movie.exists())
        *status = usageError(command, QStringLiteral("%1: no such file").arg(args.first()));
    else if (!movie.isFile() || !movie.isReadable())
        *status = usageError(command, QStringLiteral("%1: not a readable file").arg(args.first()));
    return *status == 0 ? movie.absoluteFilePath() : QString();
}

// What went wrong, with ffmpeg's own last word when it had one.
QString describe(const Error &error)
{
    QString text = error.localizedDescription;
    const QStringList lines
        = error.userInfo.value(QStringLiteral("stderr")).toString().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (!lines.isEmpty())
        text += QStringLiteral(": ") + lines.last().trimmed();
    return text.isEmpty() ? QStringLiteral("the conversion failed") : text;
}

int failed(const char *command, const QString &movie, const Error &error)
{
    err() << "tessly " << command << ": " << movie << ": " << describe(error) << "\n";
    return 1;
}

} // namespace

int gif(const QStringList &args)
{
    int status = 0;
    const QString movie = movieArgument("gif", args, &status);
    if (movie.isEmpty())
        return status;

    // Only the frame-by-frame path reports progress; with ffmpeg the bar
    // never shows.
    TerminalProgress progress(QFileInfo(movie).size());
    QObject observer;
    NotificationCenter::defaultCenter().addObserver(
        &observer, Notifications::TLNotificationGIFCreationProgress, [&](const Notification &note) {
            progress.update(note.userInfo.value(QStringLiteral("TLGIFCreationProgressValueKey")).toDouble());
        });
    Error error;
    const QString gif
        = TLGIFConverter()
              .convertFileAtPath(QUrl::fromLocalFile(movie), QStringLiteral("Screen Capture"), 1.0, &error)
              .toLocalFile();
    progress.finish();
    if (error || QFileInfo(gif).size() == 0)
        return failed("gif", movie, error);
    out() << gif << "\n";
    return 0;
}

int optimize(const QStringList &args)
{
    int status = 0;
    const QString movie = movieArgument("optimize", args, &status);
    if (movie.isEmpty())
        return status;
    Error error;
    const QString optimized
        = TLGIFConverter()
              .optimizeVideoAtPath(QUrl::fromLocalFile(movie), QStringLiteral("Screen Capture"), &error)
              .toLocalFile();
    if (optimized == movie)
        return failed("optimize", movie, error);
    out() << optimized << "\n";
    return 0;
}

} // namespace Commands
