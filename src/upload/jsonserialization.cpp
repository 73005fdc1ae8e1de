#include "jsonserialization.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>

#include <cmath>

namespace JSONSerialization {

namespace {

Error makeError(int code, const QString &text)
{
    return Error(QString::fromLatin1(ErrorDomain), code, text);
}

// QJsonValue::fromVariant() quietly turns what it cannot represent into
// null; a body built from such a value would be sent with data missing. Check
// first, so the caller gets an error instead.
bool representable(const QVariant &value, const QString &where, Error *error)
{
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const QVariantMap map = value.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            if (!representable(it.value(), where + QLatin1Char('.') + it.key(), error))
                return false;
        }
        return true;
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (!representable(list.at(i), QStringLiteral("%1[%2]").arg(where).arg(i), error))
                return false;
        }
        return true;
    }
    case QMetaType::QStringList:
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Nullptr:
        return true;
    case QMetaType::Double:
    case QMetaType::Float:
        if (!std::isfinite(value.toDouble())) {
            if (error)
                *error = makeError(InvalidNumber,
                    QStringLiteral("Invalid number value (%1) in JSON write at %2").arg(value.toString(), where));
            return false;
        }
        return true;
    default:
        if (!value.isValid())
            return true; // null
        if (error)
            *error = makeError(InvalidValue,
                QStringLiteral("Invalid type in JSON write (%1) at %2")
                    .arg(QString::fromLatin1(value.typeName()), where));
        return false;
    }
}

} // namespace

QVariant JSONObjectWithData(const QByteArray &data, Error *error)
{
    if (data.isEmpty()) {
        if (error)
            *error = makeError(QJsonParseError::IllegalValue, QStringLiteral("The data is empty, so it is not JSON."));
        return {};
    }
    QJsonParseError parse {};
    const QJsonDocument document = QJsonDocument::fromJson(data, &parse);
    if (parse.error != QJsonParseError::NoError || document.isNull()) {
        if (error)
            *error = makeError(
                parse.error == QJsonParseError::NoError ? int(QJsonParseError::IllegalValue) : int(parse.error),
                QStringLiteral("The data is not valid JSON: %1 at offset %2.")
                    .arg(parse.errorString())
                    .arg(parse.offset));
        return {};
    }
    if (document.isArray())
        return document.array().toVariantList();
    return document.object().toVariantMap();
}

QByteArray dataWithJSONObject(const QVariant &object, Error *error)
{
    const int type = object.typeId();
    if (type != QMetaType::QVariantMap && type != QMetaType::QVariantList && type != QMetaType::QStringList) {
        if (error)
            *error = makeError(InvalidTopLevel, QStringLiteral("Invalid top-level type in JSON write"));
        return {};
    }
    if (!representable(object, QStringLiteral("$"), error))
        return {};
    const QJsonDocument document = type == QMetaType::QVariantMap
        ? QJsonDocument(QJsonObject::fromVariantMap(object.toMap()))
        : QJsonDocument(QJsonArray::fromVariantList(object.toList()));
    return document.toJson(QJsonDocument::Compact);
}

} // namespace JSONSerialization
