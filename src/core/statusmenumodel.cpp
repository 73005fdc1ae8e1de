#include "statusmenumodel.h"

#include "popoverfilerowview.h"

#include <QLocale>

namespace StatusMenuModel {

namespace {

const QString kFolderMimeType = QStringLiteral("tessly/folder");
const QString kSeparator = QStringLiteral(" \u00b7 ");

} // namespace

int storedSegmentForMenuSegment(int menuSegment)
{
    switch (menuSegment) {
    case 1:
        return 2;
    case 2:
        return 3;
    default:
        return 0;
    }
}

int menuSegmentForStoredSegment(int storedSegment)
{
    switch (storedSegment) {
    case 2:
        return 1;
    case 3:
        return 2;
    default:
        return 0;
    }
}

List listForStoredSegment(int storedSegment)
{
    switch (storedSegment) {
    case 2:
        return List::Folders;
    case 3:
        return List::Links;
    default:
        return List::Files;
    }
}

QString emptyTextForStoredSegment(int storedSegment)
{
    switch (storedSegment) {
    case 1:
        return QStringLiteral("No documents yet");
    case 2:
        return QStringLiteral("No folders yet");
    case 3:
        return QStringLiteral("No links yet");
    default:
        return QStringLiteral("No files yet");
    }
}

QVariantList itemsFromAnswer(const QVariant &answer)
{
    return answer.toMap().value(QStringLiteral("items")).toList();
}

QVariantList filesFromAnswer(const QVariant &answer)
{
    QVariantList files;
    for (const QVariant &item : itemsFromAnswer(answer)) {
        if (item.toMap().value(QStringLiteral("mimeType")).toString() != kFolderMimeType)
            files << item;
    }
    return files;
}

QString itemCode(const QVariantMap &item)
{
    const QVariant code = item.value(QStringLiteral("code"));
    return code.isValid() ? code.toString() : item.value(QStringLiteral("slug")).toString();
}

bool sameItems(const QVariantList &shown, const QVariantList &incoming)
{
    if (shown.size() != incoming.size())
        return false;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        if (itemCode(shown[i].toMap()) != itemCode(incoming[i].toMap()))
            return false;
    }
    return true;
}

QString formattedSpeed(double bytesPerSecond)
{
    if (bytesPerSecond > 1048576.0)
        return QString::asprintf("%.1f MB/s", bytesPerSecond / 1048576.0);
    return QString::asprintf("%.0f KB/s", bytesPerSecond / 1024.0);
}

QString formattedFileSize(qint64 bytes)
{
    return PopoverFileRowView::formattedFileSize(bytes);
}

QString relativeTime(const QDateTime &date, const QDateTime &now)
{
    if (!date.isValid())
        return {};
    const qint64 d = now.secsTo(date); // negative for the past
    if (d > -60)
        return QStringLiteral("just now");
    if (d > -3600)
        return QStringLiteral("%1 min ago").arg(-d / 60);
    if (d > -86400)
        return QStringLiteral("%1 hr ago").arg(-d / 3600);
    if (d > -604800)
        return QStringLiteral("%1 days ago").arg(-d / 86400);
    return QLocale().toString(date.toLocalTime().date(), QLocale::ShortFormat);
}

QString detailText(const QVariantMap &item, const QDateTime &now)
{
    QStringList parts;
    const bool folder = item.value(QStringLiteral("mimeType")).toString() == kFolderMimeType
        || item.value(QStringLiteral("type")).toString() == QLatin1String("folder");
    const QVariant size = item.value(QStringLiteral("size"));
    if (size.isValid() && !folder)
        parts << formattedFileSize(size.toLongLong());
    const QVariant created = item.value(QStringLiteral("item"));
    if (created.isValid())
        parts << relativeTime(QDateTime::fromMSecsSinceEpoch(created.toLongLong(), Qt::UTC), now);
    return parts.join(kSeparator);
}

UploadRow uploadRow(const UploadSnapshot &s)
{
    if (s.queueLength == 0 && s.persistedCount == 0)
        return {};
    if (s.queueLength == 0)
        return { true, 3, s.firstPersistedProgress, 0.0, true };
    if (s.allPaused)
        return { true, 2, s.progress, 0.0, true };
    return { true, 1, s.progress, s.speed, s.hasMultipartUploads };
}

} // namespace StatusMenuModel
