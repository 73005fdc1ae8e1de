#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QString>

// QR codes of share links (libqrencode), drawn black on white with the
// four-module quiet zone scanners need, whatever the theme.
namespace QrCode {

// The code of `text` with each module `moduleSize` pixels square; a null
// image when the text cannot be encoded (too long).
QImage imageForText(const QString &text, int moduleSize);

// A small QR-code glyph in `color` for buttons, for themes without one.
QIcon glyph(const QColor &color);

} // namespace QrCode
