#pragma once

#include <QLibrary>
#include <QLoggingCategory>
#include <QString>
#include <QStringList>

#include <type_traits>

// A library of the system that is opened on first use, by its name and ABI
// version (libNAME.so.VERSION), rather than linked: what it pulls in stays
// out of the application's start-up. The loaders of the individual
// libraries fill a table of its functions once (resolveOnce()) and keep it
// for the life of the process; the library is never unloaded.
class SystemLibrary
{
public:
    // A table of a library's functions, and why it cannot be used (empty
    // when it can).
    template<typename Table> struct Resolved
    {
        Table table;
        QString error;

        const Table *usable() const { return error.isEmpty() ? &table : nullptr; }
    };

    // Opens the library and has `fill(SystemLibrary &, Table &)` resolve the
    // table's functions, on the first call for this Table; later calls
    // return the same result. `fill` returns an error of its own (an
    // initialisation that failed) or an empty string. A library that cannot
    // be used is logged once in `category`.
    template<typename Table, typename Fill>
    static const Resolved<Table> &resolveOnce(
        const QLoggingCategory &category, const QString &name, int version, Fill fill)
    {
        static const Resolved<Table> resolved = [&] {
            Resolved<Table> result;
            SystemLibrary library(name, version);
            const QString fillError = fill(library, result.table);
            result.error = library.error().isEmpty() ? fillError : library.error();
            if (result.error.isEmpty())
                qCDebug(category).noquote() << library.m_soname << "loaded";
            else
                qCWarning(category).noquote() << result.error;
            return result;
        }();
        return resolved;
    }

    // Points `function` at the library's symbol `symbol`; a symbol the
    // library lacks (or a library that did not load) leaves it null and is
    // named by error().
    template<typename Function> void resolve(Function *&function, const char *symbol)
    {
        static_assert(std::is_function_v<Function>);
        function = reinterpret_cast<Function *>(resolveAddress(symbol));
    }

    // Why the library cannot be used: it did not load, or symbols are
    // missing. Empty when everything resolved.
    QString error() const;

private:
    SystemLibrary(const QString &name, int version);
    QFunctionPointer resolveAddress(const char *symbol);

    QLibrary m_library;
    QString m_soname;
    bool m_loaded;
    QStringList m_missing;
};
