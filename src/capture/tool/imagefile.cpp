#include "imagefile.h"

#include <QFile>
#include <QImageWriter>
#include <QSaveFile>

namespace ImageFile {

bool writePng(const QImage &image, const QString &path, QString *error)
{
    if (image.isNull()) {
        *error = QStringLiteral("nothing to write");
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        *error = file.errorString();
        return false;
    }
    QImageWriter writer(&file, "png");
    if (!writer.write(image)) {
        *error = writer.errorString();
        file.cancelWriting();
        return false;
    }
    if (!file.commit()) {
        *error = file.errorString();
        return false;
    }
    return true;
}

bool copyAsPng(const QString &source, const QString &path, QString *error)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(source, in.errorString());
        return false;
    }
    const QByteArray bytes = in.readAll();
    QImage image;
    if (!image.loadFromData(bytes)) {
        *error = QStringLiteral("%1 is not a picture").arg(source);
        return false;
    }
    if (!bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return writePng(image, path, error);
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit()) {
        *error = out.errorString();
        return false;
    }
    return true;
}

} // namespace ImageFile
