#pragma once

#include <QString>
#include <QUrl>

// What a URL of the application's own scheme asks for: the login callback
// (SCHEME://login?token=T&domain=PROFILE) or an upload of the clipboard
// (SCHEME://shareClipboard).
namespace LoginURL {

// The value of the first query item named `key`; a null string when no item
// has that name, and "" when the URL has no query items at all.
QString getQueryStringParameter(const QUrl &url, const QString &key);

// The host is "shareClipboard" (hosts compare without case; URLs lower-case them).
bool isShareClipboard(const QUrl &url);

// A file:// URL (what a file manager hands over) rather than a callback.
bool isFileURL(const QUrl &url);

} // namespace LoginURL
