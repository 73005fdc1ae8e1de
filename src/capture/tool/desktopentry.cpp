#include "desktopentry.h"

#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>
#include <QUrl>

namespace DesktopEntry {

namespace {

// Splits at unquoted blanks; inside double quotes a backslash escapes the next
// character. Returns false on an unterminated quote.
bool split(const QString &line, QStringList *words)
{
    QString word;
    bool inWord = false;
    bool quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line[i];
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < line.size()) {
                word += line[++i];
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                word += c;
            }
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inWord = true;
        } else if (c.isSpace()) {
            if (inWord)
                *words << word;
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted)
        return false;
    if (inWord)
        *words << word;
    return true;
}

QString execLine(const QString &entryPath)
{
    QFile file(entryPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QTextStream in(&file);
    bool inMainGroup = false;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inMainGroup = line == QLatin1String("[Desktop Entry]");
        else if (inMainGroup && line.startsWith(QLatin1String("Exec")) && line.mid(4).trimmed().startsWith('='))
            return line.mid(line.indexOf(QLatin1Char('=')) + 1).trimmed();
    }
    return {};
}

} // namespace

QStringList execArguments(const QString &exec, const QString &file)
{
    QStringList words;
    if (!split(exec, &words) || words.isEmpty())
        return {};
    QStringList result;
    bool placed = false;
    for (const QString &word : std::as_const(words)) {
        if (word == QLatin1String("%f") || word == QLatin1String("%F")) {
            result << file;
            placed = true;
        } else if (word == QLatin1String("%u") || word == QLatin1String("%U")) {
            result << QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded);
            placed = true;
        } else if (word == QLatin1String("%i") || word == QLatin1String("%c") || word == QLatin1String("%k")) {
            continue;
        } else {
            QString text = word;
            text.replace(QLatin1String("%%"), QLatin1String("%"));
            result << text;
        }
    }
    if (!placed)
        result << file;
    return result;
}

bool launch(const QString &id, const QString &file, QString *error)
{
    const QString entry = QStandardPaths::locate(QStandardPaths::ApplicationsLocation, id + QStringLiteral(".desktop"));
    if (entry.isEmpty()) {
        *error = QStringLiteral("no application with the id %1 is installed").arg(id);
        return false;
    }
    const QStringList args = execArguments(execLine(entry), file);
    if (args.isEmpty()) {
        *error = QStringLiteral("%1 has no usable Exec line").arg(entry);
        return false;
    }
    if (!QProcess::startDetached(args.first(), args.mid(1))) {
        *error = QStringLiteral("could not start %1").arg(args.first());
        return false;
    }
    return true;
}

} // namespace DesktopEntry
