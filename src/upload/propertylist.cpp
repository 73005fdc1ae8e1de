#include "propertylist.h"

#include <QXmlStreamReader>

#include <limits>

PropertyListWriter::PropertyListWriter()
    : m_xml(&m_data)
{
    m_xml.setAutoFormatting(true);
    m_xml.setAutoFormattingIndent(1);
    m_xml.writeStartDocument();
    m_xml.writeDTD(QStringLiteral("<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                  "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">"));
    m_xml.writeStartElement(QStringLiteral("plist"));
    m_xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
}

void PropertyListWriter::beginDict()
{
    m_xml.writeStartElement(QStringLiteral("dict"));
}

void PropertyListWriter::endDict()
{
    m_xml.writeEndElement();
}

void PropertyListWriter::beginArray()
{
    m_xml.writeStartElement(QStringLiteral("array"));
}

void PropertyListWriter::endArray()
{
    m_xml.writeEndElement();
}

void PropertyListWriter::key(const QString &key)
{
    m_xml.writeTextElement(QStringLiteral("key"), key);
}
// XML 1.0 cannot carry most control characters at all, and readers turn "\r"
// into "\n". File names may hold either, so such strings are written as
// base64 of their UTF-8 bytes, marked by an attribute.
static bool survivesXmlText(const QString &value)
{
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value.at(i);
        if (c.unicode() < 0x20 && c != QLatin1Char('\t') && c != QLatin1Char('\n'))
            return false;
        if (c.unicode() == 0xFFFE || c.unicode() == 0xFFFF)
            return false;
        if (c.isHighSurrogate() && (i + 1 >= value.size() || !value.at(i + 1).isLowSurrogate()))
            return false;
        if (c.isLowSurrogate() && (i == 0 || !value.at(i - 1).isHighSurrogate()))
            return false;
    }
    return true;
}

void PropertyListWriter::string(const QString &value)
{
    if (survivesXmlText(value)) {
        m_xml.writeTextElement(QStringLiteral("string"), value);
        return;
    }
    m_xml.writeStartElement(QStringLiteral("string"));
    m_xml.writeAttribute(QStringLiteral("encoding"), QStringLiteral("base64"));
    m_xml.writeCharacters(QString::fromLatin1(value.toUtf8().toBase64()));
    m_xml.writeEndElement();
}

void PropertyListWriter::integer(qint64 value)
{
    m_xml.writeTextElement(QStringLiteral("integer"), QString::number(value));
}

void PropertyListWriter::unsignedInteger(quint64 value)
{
    m_xml.writeTextElement(QStringLiteral("integer"), QString::number(value));
}

void PropertyListWriter::real(double value)
{
    m_xml.writeTextElement(QStringLiteral("real"), QString::number(value, 'g', 17));
}

void PropertyListWriter::date(const QDateTime &value)
{
    m_xml.writeTextElement(QStringLiteral("date"), value.toUTC().toString(Qt::ISODateWithMs));
}

void PropertyListWriter::boolean(bool value)
{
    m_xml.writeEmptyElement(value ? QStringLiteral("true") : QStringLiteral("false"));
}

void PropertyListWriter::number(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
        real(value.toDouble());
        break;
    case QMetaType::ULongLong:
    case QMetaType::UInt:
    case QMetaType::ULong:
    case QMetaType::UShort:
    case QMetaType::UChar:
        unsignedInteger(value.toULongLong());
        break;
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::Long:
    case QMetaType::Short:
    case QMetaType::SChar:
    case QMetaType::Char:
        integer(value.toLongLong());
        break;
    default:
        // "3" or a date would come back as some other number: refuse it.
        if (m_error.isEmpty())
            m_error = QStringLiteral("a %1 is not a number").arg(QLatin1String(value.typeName()));
        break;
    }
}

QByteArray PropertyListWriter::finish(QString *error)
{
    m_xml.writeEndElement(); // plist
    m_xml.writeEndDocument();
    if (error)
        *error = m_error;
    return m_error.isEmpty() ? m_data : QByteArray();
}

namespace PropertyList {

namespace {

// Nesting deep enough for any record we write, shallow enough that a hostile
// file cannot exhaust the stack.
constexpr int kMaxDepth = 32;

class Parser
{
public:
    explicit Parser(const QByteArray &document)
        : m_xml(document)
    {
    }

    std::optional<QVariant> document(QString *error)
    {
        std::optional<QVariant> result;
        if (nextElement() && m_xml.name() == QLatin1String("plist") && nextElement())
            result = value(0);
        if (result && !fail()) {
            // Nothing but the closing </plist> may follow.
            while (!m_xml.atEnd()) {
                m_xml.readNext();
                if (m_xml.isStartElement())
                    return reject(error, QStringLiteral("more than one value in the document"));
            }
        }
        if (!result || fail())
            return reject(error, m_xml.hasError() ? m_xml.errorString() : QStringLiteral("not a property list"));
        return result;
    }

private:
    QXmlStreamReader m_xml;
    bool m_bad = false;

    bool fail() const { return m_bad || m_xml.hasError(); }

    std::optional<QVariant> reject(QString *error, const QString &why)
    {
        if (error)
            *error = why;
        return std::nullopt;
    }

    // Moves to the next start element; false at an end element or the end.
    bool nextElement()
    {
        while (!m_xml.atEnd()) {
            m_xml.readNext();
            if (m_xml.isStartElement())
                return true;
            if (m_xml.isEndElement())
                return false;
        }
        return false;
    }

    // Parses the element the reader stands on.
    std::optional<QVariant> value(int depth)
    {
        if (depth > kMaxDepth)
            return bad();
        const QStringView name = m_xml.name();
        if (name == QLatin1String("dict"))
            return dict(depth);
        if (name == QLatin1String("array"))
            return array(depth);
        if (name == QLatin1String("true") || name == QLatin1String("false")) {
            const bool truth = name == QLatin1String("true");
            if (!m_xml.readElementText().isEmpty())
                return bad();
            return QVariant(truth);
        }
        const bool base64 = m_xml.attributes().value(QLatin1String("encoding")) == QLatin1String("base64");
        const QString text = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        if (m_xml.hasError())
            return bad();
        if (name == QLatin1String("string"))
            return QVariant(base64 ? QString::fromUtf8(QByteArray::fromBase64(text.toLatin1())) : text);
        if (name == QLatin1String("integer"))
            return integer(text);
        if (name == QLatin1String("real")) {
            bool ok = false;
            const double d = text.trimmed().toDouble(&ok);
            return ok ? std::optional<QVariant>(d) : bad();
        }
        if (name == QLatin1String("date")) {
            QDateTime when = QDateTime::fromString(text.trimmed(), Qt::ISODateWithMs);
            return when.isValid() ? std::optional<QVariant>(when.toUTC()) : bad();
        }
        if (name == QLatin1String("data"))
            return QVariant(QByteArray::fromBase64(text.simplified().remove(QLatin1Char(' ')).toLatin1()));
        return bad();
    }

    std::optional<QVariant> integer(const QString &text)
    {
        const QString digits = text.trimmed();
        bool ok = false;
        const qlonglong signedValue = digits.toLongLong(&ok);
        if (ok)
            return QVariant(signedValue);
        const qulonglong unsignedValue = digits.toULongLong(&ok);
        return ok ? std::optional<QVariant>(unsignedValue) : bad();
    }

    std::optional<QVariant> dict(int depth)
    {
        QVariantMap map;
        while (nextElement()) {
            if (m_xml.name() != QLatin1String("key"))
                return bad();
            const QString key = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
            if (m_xml.hasError() || !nextElement())
                return bad();
            std::optional<QVariant> v = value(depth + 1);
            if (!v)
                return bad();
            map.insert(key, *v);
        }
        return fail() ? bad() : std::optional<QVariant>(map);
    }

    std::optional<QVariant> array(int depth)
    {
        QVariantList list;
        while (nextElement()) {
            std::optional<QVariant> v = value(depth + 1);
            if (!v)
                return bad();
            list.append(*v);
        }
        return fail() ? bad() : std::optional<QVariant>(list);
    }

    std::optional<QVariant> bad()
    {
        m_bad = true;
        return std::nullopt;
    }
};

} // namespace

std::optional<QVariant> parse(const QByteArray &document, QString *error)
{
    Parser parser(document);
    return parser.document(error);
}

} // namespace PropertyList
