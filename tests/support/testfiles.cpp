#include "testfiles.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>

namespace TestFiles {

QString random(const QString &dir, const QString &name, qint64 size)
{
    const QString path = QDir(dir).filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return {};
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    for (qint64 written = 0; written < size; written += block.size()) {
        QRandomGenerator::global()->fillRange(reinterpret_cast<quint32 *>(block.data()), block.size() / 4);
        if (file.write(block.constData(), qMin<qint64>(block.size(), size - written)) < 0)
            return {};
    }
    return path;
}

QByteArray sha256(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (file.open(QIODevice::ReadOnly))
        hash.addData(&file);
    return hash.result();
}

} // namespace TestFiles
