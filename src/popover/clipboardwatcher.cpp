#include "clipboardwatcher.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

Q_LOGGING_CATEGORY(lcClipboardWatcher, "tessly.popover.clipboardwatcher")

ClipboardWatcher::ClipboardWatcher(QObject *parent)
    : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard)
            ++m_changeCount;
    });
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
    connect(m_timer, &QTimer::timeout, this, [this] {
        if (m_changeCount != m_lastChangeCount)
            update();
    });
    m_timer->start();
}

void ClipboardWatcher::stop()
{
    delete m_timer;
    m_timer = nullptr;
}

void ClipboardWatcher::update()
{
    m_lastChangeCount = m_changeCount;
    const QMimeData *data = QGuiApplication::clipboard()->mimeData();
    bool usable = false;
    if (data) {
        for (const QUrl &url : data->urls())
            usable = usable || url.isLocalFile();
        usable = usable || data->hasImage();
    }
    if (usable == m_usable)
        return;
    m_usable = usable;
    qCDebug(lcClipboardWatcher) << "the clipboard" << (usable ? "holds" : "no longer holds") << "something to upload";
    Q_EMIT usableChanged(usable);
}
