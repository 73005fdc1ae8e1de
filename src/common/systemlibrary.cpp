#include "systemlibrary.h"

SystemLibrary::SystemLibrary(const QString &name, int version)
    : m_library(name, version)
    , m_soname(QStringLiteral("lib%1.so.%2").arg(name).arg(version))
{
    m_loaded = m_library.load();
}

QFunctionPointer SystemLibrary::resolveAddress(const char *symbol)
{
    QFunctionPointer address = m_loaded ? m_library.resolve(symbol) : nullptr;
    if (m_loaded && !address)
        m_missing << QString::fromLatin1(symbol);
    return address;
}

QString SystemLibrary::error() const
{
    if (!m_loaded)
        return QStringLiteral("%1 could not be loaded (%2)").arg(m_soname, m_library.errorString());
    if (!m_missing.isEmpty())
        return QStringLiteral("%1 lacks %2").arg(m_library.fileName(), m_missing.join(QLatin1String(", ")));
    return {};
}
