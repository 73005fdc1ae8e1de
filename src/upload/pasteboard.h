#pragma once

#include <QByteArray>
#include <QPointer>
#include <QString>
#include <QStringList>

class QMimeData;

// Turns what is on the clipboard, or in a drag, into a file the upload queue
// can send: the image as GIF, JPEG or PNG, an image from a copied web page, or
// any other decodable image converted to PNG; and a single file offered by
// reference.
//
// On the Linux desktop these are the MIME types applications really offer:
//   GIF / JPEG / PNG         image/gif, image/jpeg (image/jpg), image/png
//   other images             image/tiff, image/bmp or whatever Qt decodes (application/x-qt-image)
//   the image's URL          text/uri-list, text/x-moz-url, or the <img> of text/html
//   a copied web page        text/html: its <img> sources given as data: or file: URLs
//   a file by reference      application/x-kde4-urilist, text/uri-list, x-special/gnome-copied-files
//
// Reading never touches the network: an <img> with an http(s) source only
// lends its name.
//
// Use it on the main thread, while the mime data is alive (during the drop,
// or straight after reading the clipboard).
class Pasteboard
{
public:
    explicit Pasteboard(const QMimeData *mimeData);

    // The clipboard (QGuiApplication must exist; empty otherwise).
    static Pasteboard general();

    QStringList types() const;

    // True when imageDataPath() finds an image to write.
    bool hasImage() const;
    // True when the data offers a file by reference (see filePromisePath()).
    bool hasFilePromise() const;

    QByteArray gifData() const;
    QByteArray jpgData() const;
    QByteArray pngData() const;

    // The first GIF, JPEG or PNG image of a copied web page, and "gif", "jpg"
    // or "png" for it; empty when there is none.
    QByteArray imageDataFromWebArchive() const;
    QString extensionFromWebArchive() const;

    // Any other image on offer, encoded as PNG; empty when there is none.
    QByteArray defaultData() const;

    // The first offered URL whose path extension starts with "png", "gif" or
    // "jpg" (a query may follow: "cat.png?w=200"; "jpeg" does not match).
    QString imageURL() const;

    // The name the image is saved under: the image URL's file name without its
    // query, or "Image upload at <date> <time>.<extension>".
    QString fileNameFromClipboardOrDefaultForExtension(const QString &extension) const;

    // Writes the image to the temporary directory and returns its path. When
    // there is no image nothing is written and the path is still returned; an
    // empty string means the file could not be written.
    QString imageDataPath() const;

    // Copies a single file offered by reference into the temporary directory
    // under its own name; empty when there is none or it cannot be copied.
    QString filePromisePath() const;

private:
    struct WebImage
    {
        QByteArray data;
        QString extension;
    };
    WebImage webArchiveImage() const;
    QByteArray dataOf(const QStringList &types) const;
    QStringList offeredUrls() const;
    QStringList htmlImageSources() const;

    QPointer<const QMimeData> m_mimeData;
};
