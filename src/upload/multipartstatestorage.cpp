// Where multipart records live on disk, and how they are written, found and
// removed. Every failure is logged and swallowed: a broken record must never
// stop an upload, only its resumption.
#include "multipartuploadstate.h"

#include "serviceconfig.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QStandardPaths>

#include <algorithm>

Q_LOGGING_CATEGORY(lcMultipartState, "tessly.upload.multipartstate")

namespace {

// Letters and digits stay; every other byte of the UTF-8 form is %XX, so any
// upload id makes exactly one flat, portable file name.
QString encodeFileName(const QString &uploadId)
{
    QString name;
    for (const char c : uploadId.toUtf8()) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9'))
            name += QLatin1Char(char(byte));
        else
            name += QStringLiteral("%%1").arg(uint(byte), 2, 16, QLatin1Char('0')).toUpper();
    }
    return name + QStringLiteral(".plist");
}

TLMultipartUploadStatePtr readRecord(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return nullptr;
    }
    return TLMultipartUploadState::decode(file.readAll(), error);
}

} // namespace

QString TLMultipartUploadState::storageDirectory()
{
    const QString path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1Char('/')
        + Config::applicationId() + QStringLiteral("/MultipartUploads");
    if (!QDir().mkpath(path))
        qCWarning(lcMultipartState).noquote()
            << QStringLiteral("Failed to create multipart storage directory: %1").arg(path);
    return path;
}

QString TLMultipartUploadState::fileURLForUploadId(const QString &uploadId)
{
    return storageDirectory() + QLatin1Char('/') + encodeFileName(uploadId);
}

void TLMultipartUploadState::saveState(TLMultipartUploadState &state)
{
    if (state.uploadId().isEmpty()) {
        qCWarning(lcMultipartState).noquote() << "Cannot save state without uploadId";
        return;
    }
    state.updateLastAttempt();
    QString error;
    const QByteArray data = state.encode(&error);
    if (data.isEmpty()) {
        qCWarning(lcMultipartState).noquote() << QStringLiteral("Failed to archive multipart state: %1").arg(error);
        return;
    }

    QSaveFile file(fileURLForUploadId(state.uploadId()));
    const bool written = file.open(QIODevice::WriteOnly)
        && file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) && file.write(data) == data.size()
        && file.commit();
    if (!written) {
        qCWarning(lcMultipartState).noquote()
            << QStringLiteral("Failed to write multipart state: %1").arg(file.errorString());
        return;
    }
    qCInfo(lcMultipartState).noquote()
        << QStringLiteral("Saved multipart state for uploadId: %1").arg(state.uploadId());
}

void TLMultipartUploadState::removeStateForUploadId(const QString &uploadId)
{
    if (uploadId.isNull())
        return;
    QFile file(fileURLForUploadId(uploadId));
    if (file.exists() && !file.remove()) {
        qCWarning(lcMultipartState).noquote()
            << QStringLiteral("Failed to remove multipart state: %1").arg(file.errorString());
        return;
    }
    qCInfo(lcMultipartState).noquote() << QStringLiteral("Removed multipart state for uploadId: %1").arg(uploadId);
}

TLMultipartUploadStatePtr TLMultipartUploadState::stateForUploadId(const QString &uploadId)
{
    if (uploadId.isNull())
        return nullptr;
    const QString path = fileURLForUploadId(uploadId);
    if (!QFile::exists(path))
        return nullptr;
    QString error;
    TLMultipartUploadStatePtr state = readRecord(path, &error);
    if (!state)
        qCWarning(lcMultipartState).noquote() << QStringLiteral("Failed to unarchive multipart state: %1").arg(error);
    return state;
}

QList<TLMultipartUploadStatePtr> TLMultipartUploadState::loadAllPendingUploads()
{
    const QDir dir(storageDirectory());
    if (!dir.exists() || !dir.isReadable()) {
        qCWarning(lcMultipartState).noquote() << QStringLiteral("Failed to list multipart states: %1").arg(dir.path());
        return {};
    }
    QList<TLMultipartUploadStatePtr> states;
    for (const QFileInfo &entry : dir.entryInfoList(QDir::Files | QDir::NoDotAndDotDot)) {
        if (entry.suffix() != QLatin1String("plist"))
            continue;
        if (TLMultipartUploadStatePtr state = readRecord(entry.filePath(), nullptr))
            states.append(state);
    }
    std::stable_sort(states.begin(), states.end(),
        [](const auto &a, const auto &b) { return a->lastAttemptAt() > b->lastAttemptAt(); });
    return states;
}

TLMultipartUploadStatePtr TLMultipartUploadState::stateForFilePath(const QString &filePath)
{
    const QList<TLMultipartUploadStatePtr> states = loadAllPendingUploads();
    const auto it
        = std::find_if(states.begin(), states.end(), [&](const auto &s) { return s->filePath() == filePath; });
    return it == states.end() ? nullptr : *it;
}
