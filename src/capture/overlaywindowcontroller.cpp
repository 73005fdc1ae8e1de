#include "overlaywindowcontroller.h"
#include "desktopshell.h"

#include <QLabel>
#include <QPixmap>
#include <QVBoxLayout>
#include <QWidget>

OverlayWindowController::OverlayWindowController()
    : m_window(std::make_unique<QWidget>(nullptr,
        Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint | Qt::WindowTransparentForInput
            | Qt::WindowDoesNotAcceptFocus))
{
    m_window->setWindowTitle(QStringLiteral("Tessly Cloud desktop cover"));
    m_window->setAttribute(Qt::WA_ShowWithoutActivating);
    m_window->setAttribute(Qt::WA_OpaquePaintEvent);
    auto *layout = new QVBoxLayout(m_window.get());
    layout->setContentsMargins(0, 0, 0, 0);
    m_overlayImage = new QLabel(m_window.get());
    m_overlayImage->setScaledContents(true);
    layout->addWidget(m_overlayImage);
}

OverlayWindowController::OverlayWindowController(DesktopShell *shell, quint32 nativeCover)
    : m_shell(shell)
    , m_nativeCover(nativeCover)
{
}

OverlayWindowController::~OverlayWindowController()
{
    if (m_shell)
        m_shell->removeCover(m_nativeCover);
}

void OverlayWindowController::setPicture(const QImage &picture, qreal devicePixelRatio)
{
    QPixmap pixmap = QPixmap::fromImage(picture);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    m_overlayImage->setPixmap(pixmap);
}
