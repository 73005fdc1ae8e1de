#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariant>
#include <QXmlStreamWriter>

#include <optional>

// XML property lists (the format of Apple's .plist files), for records kept
// on disk.
//
// PropertyListWriter emits one value tree in the order it is given, so
// dictionary keys keep a meaningful order in the file. PropertyList::parse()
// reads one back as QVariant: <dict> -> QVariantMap, <array> -> QVariantList,
// <string> -> QString, <integer> -> qlonglong (or qulonglong above its range),
// <real> -> double, <date> -> QDateTime (UTC), <true/>/<false/> -> bool,
// <data> -> QByteArray. Anything malformed is rejected as a whole.
//
// Strings that XML text cannot carry faithfully (control characters, "\r",
// unpaired surrogates) are written as <string encoding="base64">, UTF-8.
class PropertyListWriter
{
public:
    PropertyListWriter();

    void beginDict();
    void endDict();
    void beginArray();
    void endArray();
    void key(const QString &key);
    void string(const QString &value);
    void integer(qint64 value);
    void unsignedInteger(quint64 value);
    void real(double value);
    void date(const QDateTime &value); // millisecond precision, UTC
    void boolean(bool value);
    // A number held in a QVariant: written as <integer> when it is integral,
    // else <real>. Anything else is not written, and the document fails.
    void number(const QVariant &value);

    // The document; empty, with the reason in `error`, when a value could
    // not be written.
    QByteArray finish(QString *error = nullptr);

private:
    QByteArray m_data;
    QString m_error;
    QXmlStreamWriter m_xml;
};

namespace PropertyList {

// The value tree of a property-list document, or nothing with a reason.
std::optional<QVariant> parse(const QByteArray &document, QString *error = nullptr);

} // namespace PropertyList
