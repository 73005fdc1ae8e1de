#pragma once

#include <QImage>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSizeF>
#include <QUrl>

#include <functional>

class ColorPickerViewController;
class DrawWindow;
class QPropertyAnimation;
class ShapeView;
struct Notification;

// The markup window's controller: opens a screenshot in the canvas at the
// size it was taken at (a 2x capture at half its pixels, in points), the
// tools and their one-key shortcuts, the colour popover and the saved
// "lineColor", undo and redo, and the two ways out:
//   - Upload: the flattened image as "Screen Shot on ... .png" in the
//     private temporary folder, handed to the upload (by default the API's
//     uploadFile(), whose completion copies the share link as for any
//     screenshot), and the window closes;
//   - Copy: the same as "Tessly Cloud Markup on ... .png", put on the
//     clipboard as image/png and as the file's URI, and the window closes.
// The clipboard stays with this process (the tray application) after the
// window has gone. An export that fails says why and keeps the window open.
class DrawWindowController : public QObject
{
    Q_OBJECT
public:
    // The smallest canvas, in points.
    static constexpr QSizeF kMinimumSize { 420, 300 };

    explicit DrawWindowController(QObject *parent = nullptr);
    ~DrawWindowController() override;

    ShapeView *drawView() const { return m_drawView; }
    DrawWindow *window() const { return m_window; }
    ColorPickerViewController *colorPopover() const { return m_colorPopover; }

    // Reads a screenshot file and opens it; false, with the reason in
    // `error`, for a missing, unreadable, corrupt or too large file.
    bool showImageFile(const QString &path, qreal scale, QString *error = nullptr);
    void showWithImage(const QImage &image, qreal scale);
    // The device-pixel ratio of the screen under the pointer.
    static qreal scaleOfScreenUnderPointer();
    // The canvas size for a picture of `picture` points on a screen whose
    // usable area is `visible`, with `chrome` points of title bar: at least
    // the minimum size, at most what fits beside the sidebar.
    static QSizeF canvasSizeFor(const QSizeF &picture, const QRectF &visible, qreal chrome);

    void fadeInWindow();

    // The tools (ShapeView modes) and their buttons.
    void setSquareMode();
    void setArrowMode();
    void setTextMode();
    void setBlurMode();
    void setLineColor();

    // The flattened image written under `baseName` (the naming rule, in the
    // private temporary folder); the path, or empty after an error.
    QString exportImage(const QString &baseName);
    // Upload and Copy; both close the window when the file was written.
    QString exportFile();
    QString copyToClipboard();

    using UploadHandler = std::function<void(const QUrl &)>;
    void setUploadHandler(UploadHandler handler) { m_upload = std::move(handler); }

    // The pixels per point the window shows at (and exports at).
    qreal backingScaleFactor() const;

Q_SIGNALS:
    void exported(const QString &path);
    void copied(const QString &path);
    void failed(const QString &message);
    void closed();

private:
    void colorDidChangeNotification(const Notification &note);
    void setMode(uint mode);
    void copyAction();
    void uploadAction();
    void fail(const QString &message);
    void closeWindow();

    ShapeView *m_drawView;
    DrawWindow *m_window;
    ColorPickerViewController *m_colorPopover;
    QPropertyAnimation *m_fade;
    UploadHandler m_upload;
};
