#include "imagefile.h"

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

} // namespace ImageFile
