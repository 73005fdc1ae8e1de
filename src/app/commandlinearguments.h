#pragma once

#include <QStringList>

// The process's arguments as text.
//
// A file name is bytes; a QString holds only what decodes in the locale's
// encoding (UTF-8 on every current desktop), and Qt opens files by the
// re-encoded text. A name from an older system, in Latin-1 say, would come
// back as other bytes and be reported as missing. Such an argument that names
// an existing file or folder is replaced by a symbolic link to it whose own
// name decodes, in a private folder of this run's, so every command reaches
// the real file; the link carries the name as well as it can be shown, with
// U+FFFD where a byte did not decode.
namespace CommandLineArguments {

QStringList decode(int argc, const char *const *argv);

} // namespace CommandLineArguments
