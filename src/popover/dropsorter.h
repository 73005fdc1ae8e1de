#pragma once

#include <QList>
#include <QStringList>
#include <QUrl>

#include <functional>

class QMimeData;

// Sorts a drop onto the panel by where each part goes: local files are the
// panel's to upload; web addresses, pictures and files offered by reference
// go to the tray application's drop rules; other addresses (ftp:, mailto:)
// name nothing that can be uploaded.
class DropSorter
{
public:
    using HandOver = std::function<void(const QMimeData &part)>;
    struct Result
    {
        QList<QUrl> files;
        QStringList unusable; // for the user, without user names or queries
    };
    // A drop without files and with at most one web address is handed over
    // whole; a mixed one part by part (each web address, then the pictures).
    static Result sort(const QMimeData *data, const HandOver &handOver);
};
