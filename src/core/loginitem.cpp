#include "loginitem.h"

#include "serviceconfig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

// Exec= quoting of the desktop entry specification: a literal "%" is "%%"
// (a field code otherwise), quoted or not.
QString quoted(const QString &argument)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    bool plain = true;
    for (const QChar c : argument)
        plain = plain && !reserved.contains(c);
    QString escaped = argument;
    escaped.replace(QLatin1Char('%'), QLatin1String("%%"));
    if (plain)
        return escaped;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\\\\\"))
        .replace(QLatin1Char('"'), QLatin1String("\\\\\""))
        .replace(QLatin1Char('`'), QLatin1String("\\\\`"))
        .replace(QLatin1Char('$'), QLatin1String("\\\\$"));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

} // namespace

QString LoginItem::program()
{
    const QString self = QCoreApplication::applicationFilePath();
    if (QFileInfo(self).fileName() == QLatin1String("tessly"))
        return self;
    return QStringLiteral("tessly");
}

QString LoginItem::filePath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/autostart/%1.desktop").arg(Config::applicationId());
}

bool LoginItem::isEnabled()
{
    if (!QFileInfo::exists(filePath()))
        return false;
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly))
        return false;
    // Desktop settings tools switch an entry off in its main group, with
    // Hidden=true or GNOME's X-GNOME-Autostart-enabled=false.
    bool mainGroup = false;
    for (const QByteArray &raw : file.readAll().split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith('[')) {
            mainGroup = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype equals = line.indexOf('=');
        if (!mainGroup || equals < 0)
            continue;
        const QByteArray key = line.left(equals).trimmed();
        const QByteArray value = line.mid(equals + 1).trimmed();
        if ((key == "Hidden" && value == "true") || (key == "X-GNOME-Autostart-enabled" && value == "false"))
            return false;
    }
    return true;
}

bool LoginItem::registerItem(QString *error, const QString &program)
{
    const QString path = filePath();
    if (!QDir().mkpath(QFileInfo(path).path())) {
        *error = QStringLiteral("cannot create the folder %1").arg(QFileInfo(path).path());
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    const QString entry = QStringLiteral("[Desktop Entry]\n"
                                         "Type=Application\n"
                                         "Name=Tessly Cloud\n"
                                         "Comment=Share screenshots, recordings and files as links\n"
                                         "Exec=%1\n"
                                         "Icon=%2\n"
                                         "Terminal=false\n"
                                         "NoDisplay=true\n"
                                         "X-GNOME-Autostart-enabled=true\n")
                              .arg(quoted(program.isEmpty() ? LoginItem::program() : program), Config::applicationId());
    file.write(entry.toUtf8());
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

bool LoginItem::unregisterItem(QString *error)
{
    QFile file(filePath());
    if (!file.exists() || file.remove())
        return true;
    *error = file.errorString();
    return false;
}
