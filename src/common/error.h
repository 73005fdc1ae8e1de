#pragma once

#include <QMetaType>
#include <QString>
#include <QVariantMap>

// A failure as completion callbacks hand it on: the domain it comes from (the
// class that made it, e.g. "TLMultipartAPIClient", or the transport's domain),
// a code (the HTTP status for status failures, -1 or a small number
// otherwise) and a text for people. A default-constructed Error means "none".
struct Error
{
    QString domain;
    int code = 0;
    QString localizedDescription;
    QVariantMap userInfo;

    Error() = default;
    Error(QString domain, int code, QString description, QVariantMap userInfo = {})
        : domain(std::move(domain))
        , code(code)
        , localizedDescription(std::move(description))
        , userInfo(std::move(userInfo))
    {
    }

    bool isNull() const { return domain.isEmpty() && code == 0 && localizedDescription.isEmpty(); }
    explicit operator bool() const { return !isNull(); }

    // "Error Domain=D Code=N \"text\"", the form log lines print an error in.
    QString toString() const
    {
        return QStringLiteral("Error Domain=%1 Code=%2 \"%3\"").arg(domain).arg(code).arg(localizedDescription);
    }

    friend bool operator==(const Error &, const Error &) = default;
};

Q_DECLARE_METATYPE(Error)
