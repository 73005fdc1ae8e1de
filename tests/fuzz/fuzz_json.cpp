// libFuzzer target: every answer of the service is read through the JSON
// reader, hostile or broken ones too. Whatever it accepts must write out
// and read back as the same value.
#include "jsonserialization.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    Error error;
    const QVariant value = JSONSerialization::JSONObjectWithData(bytes, &error);
    if (!value.isValid())
        return 0;
    const QByteArray written = JSONSerialization::dataWithJSONObject(value, &error);
    if (written.isNull())
        std::abort(); // read, yet not writable
    if (JSONSerialization::JSONObjectWithData(written) != value)
        std::abort();
    return 0;
}
