#include "captureoptions.h"

std::optional<QRect> CaptureOptions::parseRect(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return std::nullopt;
    int values[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        values[i] = parts[i].trimmed().toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    if (values[2] <= 0 || values[3] <= 0)
        return std::nullopt;
    return QRect(values[0], values[1], values[2], values[3]);
}

namespace {

std::optional<quint32> parseWindowId(const QString &text)
{
    bool ok = false;
    const qulonglong id = text.startsWith(QLatin1String("0x"), Qt::CaseInsensitive) ? text.mid(2).toULongLong(&ok, 16)
                                                                                    : text.toULongLong(&ok, 10);
    if (!ok || id == 0 || id > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(id);
}

} // namespace

QString CaptureOptions::usage()
{
    return QStringLiteral("Usage: tessly-screencapture [-iwxvgkU] [-R x,y,w,h | -l WINDOWID] [-B APPID] FILE\n");
}

std::optional<CaptureOptions> CaptureOptions::parse(const QStringList &args, QString *error)
{
    CaptureOptions options;
    QStringList files;
    auto fail = [error](const QString &message) {
        if (error)
            *error = message;
        return std::nullopt;
    };

    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args[i];
        if (!arg.startsWith(QLatin1Char('-')) || arg.size() == 1) {
            files << arg;
            continue;
        }
        for (int j = 1; j < arg.size(); ++j) {
            const QChar flag = arg[j];
            // A flag with a value takes the rest of this argument, or the next one.
            auto value = [&]() -> std::optional<QString> {
                QString v = arg.mid(j + 1);
                j = arg.size();
                if (v.isEmpty()) {
                    if (i + 1 >= args.size())
                        return std::nullopt;
                    v = args[++i];
                }
                return v;
            };
            switch (flag.unicode()) {
            case 'i':
                options.interactive = true;
                break;
            case 'w':
                options.interactive = true;
                options.windowMode = true;
                break;
            case 'x':
                options.silent = true;
                break;
            case 'v':
                options.record = true;
                break;
            case 'g':
                options.recordAudio = true;
                break;
            case 'k':
                options.showClicks = true;
                break;
            case 'U':
                options.showToolbar = true;
                break;
            case 'R': {
                const std::optional<QString> v = value();
                if (!v)
                    return fail(QStringLiteral("-R needs a rectangle: x,y,width,height"));
                options.rect = parseRect(*v);
                if (!options.rect) {
                    return fail(QStringLiteral("-R expects x,y,width,height with a positive width and height, "
                                               "got \"%1\"")
                                    .arg(*v));
                }
                break;
            }
            case 'l': {
                const std::optional<QString> v = value();
                if (!v)
                    return fail(QStringLiteral("-l needs a window id"));
                options.windowId = parseWindowId(*v);
                if (!options.windowId)
                    return fail(
                        QStringLiteral("-l expects a window id (decimal or 0x hexadecimal), got \"%1\"").arg(*v));
                break;
            }
            case 'B': {
                const std::optional<QString> v = value();
                if (!v)
                    return fail(QStringLiteral("-B needs an application id"));
                options.openWith = *v;
                break;
            }
            default:
                return fail(QStringLiteral("unknown option -%1").arg(flag));
            }
        }
    }

    if (files.isEmpty())
        return fail(QStringLiteral("no output file given"));
    if (files.size() > 1)
        return fail(QStringLiteral("one output file only, got %1").arg(files.size()));
    options.path = files.first();
    if (options.rect && options.windowId)
        return fail(QStringLiteral("-R and -l cannot be combined"));
    if ((options.rect || options.windowId) && options.interactive)
        return fail(QStringLiteral("-R and -l are not interactive; leave out -i and -w"));
    if (options.record && options.windowId)
        return fail(QStringLiteral("a window cannot be recorded; record a region with -i or -R"));
    if (!options.record && (options.recordAudio || options.showClicks || !options.openWith.isEmpty()))
        return fail(QStringLiteral("-g, -k and -B apply to recordings only (-v)"));
    if (!options.interactive && !options.rect && !options.windowId)
        return fail(QStringLiteral("nothing to capture: give -i, -w, -R or -l"));
    return options;
}
