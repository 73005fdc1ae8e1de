#pragma once

#include <memory>
#include <optional>
#include <QList>
#include <QRect>
#include <QString>

// One top-level window of the desktop as the window manager lists it.
struct WindowInfo
{
    enum class Type { Normal, Desktop, Dock, Other };

    quint32 id = 0; // the client window
    qint64 pid = 0; // 0 when the client did not say
    QString title;
    Type type = Type::Normal;
    // Native pixels of the root window (top-left origin), the window
    // manager's frame included.
    QRect frame;
};

// The desktop's top-level windows, from the top of the stack down.
//
// create() picks the backend for the build (X11: the EWMH client list of the
// window manager); TESSLY_PLATFORM_BACKEND=null, or no reachable display,
// gives the null backend, which lists nothing.
class WindowList
{
public:
    static std::unique_ptr<WindowList> create();
    static std::unique_ptr<WindowList> create(const QString &backend);

    virtual ~WindowList() = default;

    virtual QString backendName() const = 0;

    // Mapped windows, top-most first. Windows of type desktop are included
    // (last, as they sit below everything).
    virtual QList<WindowInfo> windows() const = 0;

    // One window by id, mapped or not; nothing when it does not exist.
    virtual std::optional<WindowInfo> window(quint32 id) const = 0;
};
