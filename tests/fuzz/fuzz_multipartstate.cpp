// libFuzzer target: multipart records are read back from disk after crashes,
// so the reader must survive any bytes, and whatever it accepts must write
// out and read back as the same record.
#include "multipartuploadstate.h"

#include <QByteArray>
#include <QLoggingCategory>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const TLMultipartUploadStatePtr state = TLMultipartUploadState::decode(bytes);
    if (!state)
        return 0;
    (void)state->description();
    (void)state->progress();
    const QByteArray written = state->encode();
    const TLMultipartUploadStatePtr again = TLMultipartUploadState::decode(written);
    if (!again || again->encode() != written)
        std::abort();
    return 0;
}
