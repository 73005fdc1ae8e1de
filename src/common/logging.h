#pragma once

#include <QString>

// Each class declares its own category next to its implementation:
//
//   Q_LOGGING_CATEGORY(lcApi, "tessly.upload.api")
//   qCInfo(lcApi).noquote() << "[API] Cancelling all S3 upload tasks";
//
// Texts are the system's own and stay exactly as written, misspellings included.
// Nothing secret is logged whole: pass tokens through maskSecret() at the
// source. The handler installed by install() is the second line of defence:
// it redacts bearer tokens, token query values and presigned-URL signatures
// from every line before it is written.
namespace Logging {

// Sets the message pattern and the redacting handler. Call once from main().
void install();

// "abcd…" for "abcdefgh"; secrets of four characters or fewer become "…".
QString maskSecret(const QString &secret);

// The line as it will be written: credentials replaced by "…".
QString redact(const QString &line);

// A file name or message as it may be shown on a terminal: control
// characters (escape sequences, line breaks), direction overrides and the
// backslash itself are written as \xNN or \uNNNN, so a name cannot move the
// cursor, recolour the terminal or pose as another line. A log line keeps
// its own line breaks, tabs and backslashes (loggedLine).
QString printable(const QString &text);
QString loggedLine(const QString &line);

} // namespace Logging
