// Driver for bench/gif/run: the converter's own work, timed in process.
//   tessly-bench-gif gif MOVIE OUT     frame-by-frame GIF of MOVIE into OUT
//   tessly-bench-gif optimize MOVIE    the faststart copy (into $TMPDIR)
// Prints "time SECONDS" and the output's path on stdout.
#include "movieasset.h"
#include "tlgifconverter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTextStream>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    QTextStream out(stdout);
    QElapsedTimer clock;
    Error error;
    QString result;
    if (args.size() == 3 && args[0] == QLatin1String("gif")) {
        clock.start();
        MovieAsset asset(args[1]);
        TLGIFConverter().makeAnimatedGifFromAsset(asset, QUrl::fromLocalFile(args[2]), 1.0, &error);
        result = args[2];
    } else if (args.size() == 2 && args[0] == QLatin1String("optimize")) {
        clock.start();
        result = TLGIFConverter()
                     .optimizeVideoAtPath(QUrl::fromLocalFile(args[1]), QStringLiteral("Screen Capture"), &error)
                     .toLocalFile();
    } else {
        QTextStream(stderr) << "usage: tessly-bench-gif gif MOVIE OUT | optimize MOVIE\n";
        return 2;
    }
    const double seconds = double(clock.nsecsElapsed()) / 1e9;
    if (error) {
        QTextStream(stderr) << error.toString() << "\n";
        return 1;
    }
    out << "time " << QString::number(seconds, 'f', 3) << "\n" << result << "\n";
    return 0;
}
