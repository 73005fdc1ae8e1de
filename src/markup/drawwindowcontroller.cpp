#include "drawwindowcontroller.h"

#include "api.h"
#include "capturenaming.h"
#include "colorbutton.h"
#include "colorpickerviewcontroller.h"
#include "drawwindow.h"
#include "notificationcenter.h"
#include "notifications.h"
#include "settingsstore.h"
#include "shapecanvas.h"
#include "shapeview.h"
#include "sidebarbutton.h"
#include "textlayer.h"

#include <QApplication>
#include <QClipboard>
#include <QCursor>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QLoggingCategory>
#include <QMimeData>
#include <QPropertyAnimation>
#include <QScreen>
#include <QShortcut>

Q_LOGGING_CATEGORY(lcDrawWindowController, "tessly.markup.drawwindowcontroller")

namespace {

constexpr qreal kSidebar = DrawWindow::kSidebarWidth;
// A title bar's height before the window manager has told us the real one.
constexpr qreal kDefaultChrome = 37;

QScreen *screenUnderPointer()
{
    QScreen *screen = QGuiApplication::screenAt(QCursor::pos());
    return screen ? screen : QGuiApplication::primaryScreen();
}

} // namespace

DrawWindowController::DrawWindowController(QObject *parent)
    : QObject(parent)
    , m_drawView(new ShapeView(this))
    , m_window(new DrawWindow(m_drawView))
    , m_colorPopover(new ColorPickerViewController(m_window))
    , m_fade(new QPropertyAnimation(m_window, "windowOpacity", this))
{
    m_window->setMinimumSize(int(kMinimumSize.width() + kSidebar), int(kMinimumSize.height()));
    m_fade->setDuration(200);

    struct Tool
    {
        SideBarButton *button;
        QString tip;
        QString key;
        void (DrawWindowController::*action)();
    };
    const Tool tools[] = {
        { m_window->arrowButton(), tr("Arrow"), QStringLiteral("A"), &DrawWindowController::setArrowMode },
        { m_window->squareButton(), tr("Rectangle"), QStringLiteral("R"), &DrawWindowController::setSquareMode },
        { m_window->textButton(), tr("Text"), QStringLiteral("T"), &DrawWindowController::setTextMode },
        { m_window->blurButton(), tr("Blur"), QStringLiteral("B"), &DrawWindowController::setBlurMode },
        { m_window->copyButton(), tr("Copy"), QStringLiteral("Ctrl+C"), &DrawWindowController::copyAction },
        { m_window->uploadButton(), tr("Upload"), QStringLiteral("Ctrl+U"), &DrawWindowController::uploadAction },
    };
    for (const Tool &tool : tools) {
        tool.button->setToolTip(
            QStringLiteral("%1 (%2)").arg(tool.tip, QKeySequence(tool.key).toString(QKeySequence::NativeText)));
        tool.button->setAccessibleName(tool.tip);
        const auto action = tool.action;
        connect(tool.button, &QToolButton::clicked, this, [this, action] { (this->*action)(); });
        // Letters go to the text while it is being typed (the editor takes
        // Ctrl+C itself then).
        connect(new QShortcut(QKeySequence(tool.key), m_window), &QShortcut::activated, this, [this, action] {
            if (!m_drawView->isEditorVisible())
                (this->*action)();
        });
    }

    // Undo and redo of add, move, resize, delete and text edits.
    auto *undo = new QShortcut(QKeySequence::Undo, m_window);
    connect(undo, &QShortcut::activated, m_drawView->undoStack(), &QUndoStack::undo);
    QList<QKeySequence> redoKeys = QKeySequence::keyBindings(QKeySequence::Redo);
    if (!redoKeys.contains(QKeySequence(QStringLiteral("Ctrl+Shift+Z"))))
        redoKeys << QKeySequence(QStringLiteral("Ctrl+Shift+Z"));
    auto *redo = new QShortcut(m_window);
    redo->setKeys(redoKeys);
    connect(redo, &QShortcut::activated, m_drawView->undoStack(), &QUndoStack::redo);

    m_window->colorPicker()->setToolTip(tr("Colour"));
    m_window->colorPicker()->setAccessibleName(tr("Colour"));
    m_window->colorPicker()->setBackgroundColor(SettingsStore::instance().lineColor());
    connect(m_window->colorPicker(), &QToolButton::clicked, this, &DrawWindowController::setLineColor);
    NotificationCenter::defaultCenter().addObserver(this,
        QString::fromLatin1(Notifications::ColorPickerColorDidChangeNotification),
        [this](const Notification &note) { colorDidChangeNotification(note); });
    connect(m_window, &DrawWindow::closing, this, &DrawWindowController::closed);
    setArrowMode();
}

DrawWindowController::~DrawWindowController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    delete m_window;
}

qreal DrawWindowController::scaleOfScreenUnderPointer()
{
    QScreen *screen = screenUnderPointer();
    return screen ? screen->devicePixelRatio() : 1.0;
}

QSizeF DrawWindowController::canvasSizeFor(const QSizeF &picture, const QRectF &visible, qreal chrome)
{
    const QSizeF wanted = picture.expandedTo(kMinimumSize);
    return QSizeF(
        std::min(wanted.width(), visible.width() - kSidebar), std::min(wanted.height(), visible.height() - chrome));
}

bool DrawWindowController::showImageFile(const QString &path, qreal scale, QString *error)
{
    auto refuse = [&](const QString &message) {
        qCWarning(lcDrawWindowController).noquote() << message;
        if (error)
            *error = message;
        return false;
    };
    const QFileInfo info(path);
    if (!info.isFile())
        return refuse(tr("The screenshot \"%1\" no longer exists.").arg(info.fileName()));
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    if (image.isNull())
        return refuse(tr("The screenshot \"%1\" could not be opened: %2.").arg(info.fileName(), reader.errorString()));
    showWithImage(image, scale);
    return true;
}

void DrawWindowController::showWithImage(const QImage &image, qreal scale)
{
    QScreen *screen = screenUnderPointer();
    const QRectF visible = screen ? QRectF(screen->availableGeometry()) : QRectF(0, 0, 1280, 800);
    if (screen)
        TextLayer::setLayoutWidth(screen->geometry().width());
    const qreal s = scale > 0 ? scale : 1.0;
    const QSizeF picture(image.width() / s, image.height() / s);
    const qreal chrome
        = m_window->isVisible() ? m_window->frameGeometry().height() - m_window->height() : kDefaultChrome;
    const QSizeF canvas = canvasSizeFor(picture, visible, chrome);
    qCInfo(lcDrawWindowController).noquote()
        << QStringLiteral("Adjusted Size {%1, %2}").arg(canvas.width()).arg(canvas.height());
    const QSize content(qRound(canvas.width() + kSidebar), qRound(canvas.height()));

    m_window->setWindowOpacity(0.0);
    if (screen && m_window->screen() != screen)
        m_window->setScreen(screen);
    // The window keeps this size. The annotations stay where they were drawn
    // in the canvas while a resized canvas fits the picture anew, so a blur
    // box would slide off what it hides: the canvas is sized once, here.
    m_window->setFixedSize(content);
    m_window->move((visible.topLeft()
        + QPointF((visible.width() - content.width()) * 0.5, (visible.height() - content.height() - chrome) * 0.5))
                       .toPoint());
    m_drawView->setCanvasSize(canvas);
    m_drawView->setDrawImage(image, s, kMinimumSize);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
    m_window->canvas()->setFocus(Qt::OtherFocusReason);
    fadeInWindow();
}

void DrawWindowController::fadeInWindow()
{
    m_fade->stop();
    m_fade->setStartValue(m_window->windowOpacity());
    m_fade->setEndValue(1.0);
    m_fade->start();
}

void DrawWindowController::setMode(uint mode)
{
    m_drawView->setCurrentMode(mode);
    m_window->squareButton()->setChecked(mode == ShapeView::RectangleMode);
    m_window->blurButton()->setChecked(mode == ShapeView::BlurMode);
    m_window->arrowButton()->setChecked(mode == ShapeView::ArrowMode);
    m_window->textButton()->setChecked(mode == ShapeView::TextMode);
}

void DrawWindowController::setSquareMode()
{
    setMode(ShapeView::RectangleMode);
}

void DrawWindowController::setArrowMode()
{
    setMode(ShapeView::ArrowMode);
}

void DrawWindowController::setTextMode()
{
    setMode(ShapeView::TextMode);
}

void DrawWindowController::setBlurMode()
{
    setMode(ShapeView::BlurMode);
}

void DrawWindowController::setLineColor()
{
    m_colorPopover->showRelativeTo(m_window->colorPicker());
}

void DrawWindowController::colorDidChangeNotification(const Notification &note)
{
    const QColor colour = note.userInfo.value(QStringLiteral("color")).value<QColor>();
    if (colour.isValid())
        m_window->colorPicker()->setBackgroundColor(colour);
}

qreal DrawWindowController::backingScaleFactor() const
{
    return m_window->devicePixelRatioF();
}

QString DrawWindowController::exportImage(const QString &baseName)
{
    m_drawView->endEditing();
    const QString path
        = CaptureNaming::temporaryDirectory() + CaptureNaming::nameForFile(baseName, QStringLiteral("png"), true);
    qCInfo(lcDrawWindowController).noquote() << QStringLiteral("Export File %1").arg(path);
    QString error;
    if (!m_drawView->exportLayerAsPNGToFile(path, backingScaleFactor(), &error)) {
        fail(tr("The annotated screenshot could not be saved: %1").arg(error));
        return {};
    }
    return path;
}

QString DrawWindowController::exportFile()
{
    const QString path = exportImage(QStringLiteral("Screen Shot"));
    if (path.isEmpty())
        return {};
    const QUrl url = QUrl::fromLocalFile(path);
    if (m_upload)
        m_upload(url);
    else
        API::instance().uploadFile(url, [](bool, const QVariantMap &) {});
    Q_EMIT exported(path);
    closeWindow();
    return path;
}

QString DrawWindowController::copyToClipboard()
{
    const QString path = exportImage(QStringLiteral("Tessly Cloud Markup"));
    if (path.isEmpty())
        return {};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail(tr("The annotated screenshot could not be read back: %1").arg(file.errorString()));
        return {};
    }
    const QUrl url = QUrl::fromLocalFile(path);
    auto *data = new QMimeData;
    data->setData(QStringLiteral("image/png"), file.readAll());
    data->setUrls({ url });
    // What GNOME's and Xfce's file managers paste as a file.
    data->setData(QStringLiteral("x-special/gnome-copied-files"), "copy\n" + url.toEncoded());
    QGuiApplication::clipboard()->setMimeData(data);
    Q_EMIT copied(path);
    closeWindow();
    return path;
}

void DrawWindowController::copyAction()
{
    copyToClipboard();
}

void DrawWindowController::uploadAction()
{
    exportFile();
}

void DrawWindowController::fail(const QString &message)
{
    qCWarning(lcDrawWindowController).noquote() << message;
    NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::UserVisibleErrorNotification),
        QVariantMap { { QStringLiteral("error"), tr("Markup failed") }, { QStringLiteral("message"), message },
            { QStringLiteral("hideButton"), true } });
    Q_EMIT failed(message);
}

void DrawWindowController::closeWindow()
{
    m_colorPopover->hide();
    m_fade->stop();
    if (!m_window->isVisible())
        return;
    auto *fadeOut = new QPropertyAnimation(m_window, "windowOpacity", this);
    fadeOut->setDuration(200);
    fadeOut->setStartValue(m_window->windowOpacity());
    fadeOut->setEndValue(0.0);
    connect(fadeOut, &QPropertyAnimation::finished, m_window, &QWidget::close);
    fadeOut->start(QAbstractAnimation::DeleteWhenStopped);
}
