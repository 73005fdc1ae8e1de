#include "clipboardwatcher.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

Q_LOGGING_CATEGORY(lcClipboardWatcher, "tessly.popover.clipboardwatcher")

namespace {

// What the last look found, for the whole program: there is one clipboard,
// and reading another application's offer costs a few milliseconds of
// round trips through the display server, at the moment the panel opens.
// The display server says when the clipboard gets a new owner (the
// changed signal), so the next look reads only after such a change.
struct LastLook
{
    bool done = false;
    bool usable = false;
    quint64 changeCount = 0; // the changes counted when it was taken
};

LastLook s_lastLook;
quint64 s_changeCount = 0;

void countChanges()
{
    static const QMetaObject::Connection counting
        = QObject::connect(QGuiApplication::clipboard(), &QClipboard::changed, [](QClipboard::Mode mode) {
              if (mode == QClipboard::Clipboard)
                  ++s_changeCount;
          });
    Q_UNUSED(counting);
}

} // namespace

ClipboardWatcher::ClipboardWatcher(QObject *parent)
    : QObject(parent)
{
    countChanges();
}

bool ClipboardWatcher::isRunning() const
{
    return m_timer && m_timer->isActive();
}

void ClipboardWatcher::start()
{
    update();
    delete m_timer;
    m_timer = new QTimer(this);
    m_timer->setInterval(1000);
    connect(m_timer, &QTimer::timeout, this, &ClipboardWatcher::update);
    m_timer->start();
}

void ClipboardWatcher::stop()
{
    delete m_timer;
    m_timer = nullptr;
}

void ClipboardWatcher::update()
{
    if (!s_lastLook.done || s_lastLook.changeCount != s_changeCount) {
        s_lastLook = { true, false, s_changeCount };
        if (const QMimeData *data = QGuiApplication::clipboard()->mimeData()) {
            for (const QUrl &url : data->urls())
                s_lastLook.usable = s_lastLook.usable || url.isLocalFile();
            s_lastLook.usable = s_lastLook.usable || data->hasImage();
        }
    }
    const bool usable = s_lastLook.usable;
    if (usable == m_usable)
        return;
    m_usable = usable;
    qCDebug(lcClipboardWatcher) << "the clipboard" << (usable ? "holds" : "no longer holds") << "something to upload";
    Q_EMIT usableChanged(usable);
}
