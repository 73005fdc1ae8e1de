// The markup window in the states scripts/gallery shows: every tool in use
// with an arrow selected ("editor"), the colour popover open ("colors"), and
// a text being typed ("text"). The screenshot is a made-up page drawn at the
// screen's ratio, as a capture of that screen would be.
#include "colorpickerviewcontroller.h"
#include "drawwindow.h"
#include "drawwindowcontroller.h"
#include "shapecanvas.h"
#include "shapetexteditorview.h"
#include "shapeview.h"

#include <QApplication>
#include <QPainter>
#include <QTimer>

namespace {

QImage page(qreal ratio)
{
    QImage image(QSize(720, 440) * ratio, QImage::Format_RGB32);
    image.setDevicePixelRatio(ratio);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, 720, 440);
    sky.setColorAt(0, QColor(74, 114, 196));
    sky.setColorAt(1, QColor(142, 84, 168));
    p.fillRect(QRect(0, 0, 720, 440), sky);
    p.setBrush(QColor(250, 250, 252));
    p.setPen(Qt::NoPen);
    p.drawRoundedRect(QRectF(40, 36, 640, 368), 10, 10);
    p.setBrush(QColor(233, 235, 240));
    p.drawRoundedRect(QRectF(40, 36, 640, 38), 10, 10);
    p.drawRect(QRectF(40, 60, 640, 14));
    const QColor dots[] = { QColor(255, 95, 87), QColor(254, 188, 46), QColor(40, 200, 64) };
    for (int i = 0; i < 3; ++i) {
        p.setBrush(dots[i]);
        p.drawEllipse(QPointF(62 + i * 20, 55), 6, 6);
    }
    QFont f = p.font();
    f.setPixelSize(22);
    f.setBold(true);
    p.setFont(f);
    p.setPen(QColor(30, 30, 36));
    p.drawText(QPointF(72, 118), QStringLiteral("Quarterly report"));
    f.setPixelSize(14);
    f.setBold(false);
    p.setFont(f);
    p.setPen(QColor(90, 94, 104));
    const char *lines[] = { "Signed in as alex.morgan@example.com", "Account number 4929 1234 5678 9012",
        "Revenue grew in every region this quarter.", "The new pricing landed well with teams." };
    for (int i = 0; i < 4; ++i)
        p.drawText(QPointF(72, 156 + i * 26), QString::fromLatin1(lines[i]));
    for (int i = 0; i < 6; ++i) {
        p.setBrush(QColor(0, 122, 255, 60 + i * 30));
        p.setPen(Qt::NoPen);
        p.drawRoundedRect(QRectF(400 + i * 42, 360 - i * 28 - 40, 30, 40 + i * 28), 4, 4);
    }
    return image;
}

void stroke(ShapeView *view, uint mode, QPointF a, QPointF b)
{
    view->setCurrentMode(mode);
    view->mouseDown(a);
    view->mouseDragged((a + b) / 2);
    view->mouseDragged(b);
    view->mouseUp();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    const QString state = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("editor");
    const qreal ratio = app.devicePixelRatio();
    DrawWindowController controller;
    controller.setUploadHandler([](const QUrl &) {});
    controller.showWithImage(page(ratio), ratio);
    ShapeView *view = controller.drawView();
    // From the picture's top-left, in its points, to the canvas (y up): the
    // picture is scaled down to fit a canvas smaller than it.
    const QRectF shown = view->imageLayer().contentRect();
    auto at = [shown](qreal x, qreal y) {
        return QPointF(shown.left() + x * shown.width() / 720, shown.bottom() - y * shown.height() / 440);
    };

    stroke(view, ShapeView::BlurMode, at(64, 140), at(330, 196));
    stroke(view, ShapeView::RectangleMode, at(60, 92), at(290, 128));
    stroke(view, ShapeView::ArrowMode, at(560, 110), at(420, 210));
    view->mouseDown(at(490, 160));
    view->mouseUp();
    view->mouseDown(at(490, 160));
    view->mouseDragged(at(520, 180));
    view->mouseUp();
    view->setCurrentMode(ShapeView::TextMode);
    view->mouseDown(at(430, 280));
    view->mouseUp();
    view->setEditorString(QStringLiteral("Up 24%"));
    if (state != QLatin1String("text"))
        view->commitTextEditing();
    if (state == QLatin1String("editor")) {
        view->mouseDown(at(477.5, 200)); // on the arrow (t = 0.75): its handles and glow show
        view->mouseUp();
    }
    controller.setArrowMode();
    if (state == QLatin1String("colors"))
        QTimer::singleShot(300, &controller, &DrawWindowController::setLineColor);
    return app.exec();
}
