// libFuzzer target: HTML on the clipboard is written by whatever page the
// user copied from. Its images are taken from data: URLs only.
#include "pasteboard.h"

#include <QByteArray>
#include <QLoggingCategory>
#include <QMimeData>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    QMimeData mime;
    mime.setHtml(QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));
    const Pasteboard pasteboard(&mime);
    const QByteArray image = pasteboard.imageDataFromWebArchive();
    // Only what the HTML itself carries: at most its text as UTF-8, where a
    // byte that did not decode became U+FFFD, three bytes.
    if (image.size() > 3 * qsizetype(size))
        std::abort();
    return 0;
}
