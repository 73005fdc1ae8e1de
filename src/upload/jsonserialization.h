#pragma once

#include "error.h"

#include <QByteArray>
#include <QVariant>

// JSON in and out of the QVariant containers the service client hands around
// (QVariantMap, QVariantList, QString, numbers, bool; null for JSON null).
// Results are plain values, so callers are free to modify them.
//
// Errors carry the domain "JSONSerialization".
namespace JSONSerialization {

inline constexpr char ErrorDomain[] = "JSONSerialization";

// Error codes besides QJsonParseError's (used as they are for reading).
enum WriteError {
    InvalidTopLevel = 100, // not a dictionary or an array
    InvalidValue = 101, // a value JSON cannot hold (a colour, a byte array, ...)
    InvalidNumber = 102, // NaN or infinity
};

// The decoded document: a QVariantMap or QVariantList. Anything else (empty
// data, a bare scalar, malformed text) is an error and yields an invalid
// QVariant.
QVariant JSONObjectWithData(const QByteArray &data, Error *error = nullptr);

// Compact UTF-8 JSON for a dictionary or array; every nested value must be
// representable. On failure returns a null QByteArray and sets *error.
QByteArray dataWithJSONObject(const QVariant &object, Error *error = nullptr);

} // namespace JSONSerialization
