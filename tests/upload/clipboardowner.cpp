// Owns the X11 clipboard the way another application would, offering several
// types at once (xclip offers one): clipboardowner TYPE=FILE ...
// Prints "ready" once it owns the clipboard and exits when it loses it.
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QTextStream>

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    auto *mime = new QMimeData;
    for (const QString &argument : app.arguments().mid(1)) {
        const qsizetype equals = argument.indexOf('=');
        QFile file(argument.mid(equals + 1));
        if (equals <= 0 || !file.open(QIODevice::ReadOnly)) {
            QTextStream(stderr) << "cannot offer " << argument << "\n";
            return 2;
        }
        mime->setData(argument.left(equals), file.readAll());
    }
    QClipboard *clipboard = QGuiApplication::clipboard();
    clipboard->setMimeData(mime);
    QObject::connect(clipboard, &QClipboard::dataChanged, &app, [clipboard] {
        if (!clipboard->ownsClipboard())
            QCoreApplication::quit();
    });
    QTextStream(stdout) << "ready\n" << Qt::flush;
    return app.exec();
}
