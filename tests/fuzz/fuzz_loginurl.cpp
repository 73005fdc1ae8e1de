// libFuzzer target: the login callback comes from a browser, and anything
// on the machine can open a URL of our scheme.
#include "loginurl.h"

#include <QByteArray>
#include <QUrl>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QUrl url = QUrl::fromEncoded(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    const QString token = LoginURL::getQueryStringParameter(url, QStringLiteral("token"));
    const QString domain = LoginURL::getQueryStringParameter(url, QStringLiteral("domain"));
    // A value is part of the bytes it came from, never more.
    if (token.size() > qsizetype(size) || domain.size() > qsizetype(size))
        std::abort();
    (void)LoginURL::isShareClipboard(url);
    (void)LoginURL::isFileURL(url);
    return 0;
}
