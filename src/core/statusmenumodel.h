#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

// The status menu's decisions, free of widgets so that they can be checked
// without a display: which list a segment shows, what an empty list says,
// whether a new list differs from the rows shown, and how the upload row
// looks for the queue's and the persisted uploads' state.
namespace StatusMenuModel {

// The stored setting selectedMenuSegment: 0 files, 1 documents, 2 folders,
// 3 links. The menu's switch: 0 "Files", 1 "Folders", 2 "Links".
int storedSegmentForMenuSegment(int menuSegment);
int menuSegmentForStoredSegment(int storedSegment);

enum class List { Files, Folders, Links };
List listForStoredSegment(int storedSegment);

// "No files yet", "No documents yet", "No folders yet", "No links yet".
QString emptyTextForStoredSegment(int storedSegment);

// The files of a getFiles() answer: its "items" without folders
// ("mimeType" "tessly/folder"). Folders and links: the "items" as they are.
QVariantList filesFromAnswer(const QVariant &answer);
QVariantList itemsFromAnswer(const QVariant &answer);

// An item's identity in a list: its "code" (files, folders), or its "slug"
// (links, which have no code).
QString itemCode(const QVariantMap &item);
// True when `incoming` has the rows shown, in the same order, so nothing
// needs rebuilding.
bool sameItems(const QVariantList &shown, const QVariantList &incoming);

// Speed for the menu: above 1,048,576 "%.1f MB/s", otherwise "%.0f KB/s".
QString formattedSpeed(double bytesPerSecond);

// The dimmer second text of a list row: size and age ("2.4 MB · 5 min ago"),
// the age alone for folders and links.
QString formattedFileSize(qint64 bytes);
QString relativeTime(const QDateTime &date, const QDateTime &now);
QString detailText(const QVariantMap &item, const QDateTime &now);

// What the upload row shows.
struct UploadRow
{
    bool visible = false;
    int state = 0; // the row's uploadState
    float progress = 0;
    double speed = 0;
    bool hasMultipartUploads = false;

    bool operator==(const UploadRow &) const = default;
};

struct UploadSnapshot
{
    int queueLength = 0;
    float progress = 0;
    double speed = 0;
    bool hasMultipartUploads = false;
    // Every queued task is a multipart upload that the user paused.
    bool allPaused = false;
    int persistedCount = 0;
    float firstPersistedProgress = 0;
};

// Nothing queued or persisted: hidden. Nothing queued but records on disk:
// state 3 (retry resumes them) with the first record's progress. A queue
// whose every task is paused: state 2. Otherwise uploading, state 1.
UploadRow uploadRow(const UploadSnapshot &snapshot);

} // namespace StatusMenuModel
