// Driver for bench/markup/run: the markup editor's export and its pointer
// latency over a 3840x2160 photo-like capture, timed in process.
//
//   tessly-bench-markup flatten RUNS
//     20 annotations (rectangles, arrows, texts) and 5 blur boxes. Each run
//     times, one after the other: the flatten (ShapeView::imageRepresentation),
//     the export (flatten + PNG into a file, exportLayerAsPNGToFile) and the
//     comparator, QImage::save of the bare capture as PNG. Prints the medians:
//       flatten MS / export MS / bare MS
//
//   tessly-bench-markup drag MOVES
//     The real canvas widget (ShapeCanvas), shown on the platform in use
//     (offscreen in the run script) at the screen's ratio and 3840x2160 device
//     pixels, 5 blur boxes and the 20 annotations on it. A press on a shape,
//     MOVES mouse moves, a release; each move is timed from the event to the
//     end of the repaint it causes (the widget painted into its backing
//     store). Once for an arrow, once for a blur box. Comparator: painting
//     the bare capture once into a 4K image. Prints per shape:
//       drag SHAPE p50 MS p99 MS max MS paints N
//       bare MS
#include "blurlayer.h"
#include "shapecanvas.h"
#include "shapeview.h"
#include "textlayer.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMouseEvent>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr QSize kCapture(3840, 2160);

// Gradients, soft shapes and noise: compresses like a photo or a busy desktop.
QImage photoLike()
{
    QImage image(kCapture, QImage::Format_RGB32);
    QRandomGenerator random(11);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int noise = int(random.bounded(24));
            line[x] = qRgb((x * 200 / image.width() + noise) % 256, (y * 180 / image.height() + noise / 2) % 256,
                (120 + ((x / 64 + y / 48) % 3) * 40 + noise) % 256);
        }
    }
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < 40; ++i) {
        p.setBrush(QColor::fromHsv(i * 37 % 360, 120, 230, 140));
        p.setPen(Qt::NoPen);
        p.drawEllipse(
            QPointF(random.bounded(3840), random.bounded(2160)), 60 + random.bounded(200), 40 + random.bounded(160));
    }
    QFont f = p.font();
    f.setPixelSize(28);
    p.setFont(f);
    p.setPen(QColor(20, 20, 24));
    for (int row = 0; row < 40; ++row)
        p.drawText(
            QPointF(80, 60 + row * 52), QStringLiteral("Account 4929 1234 5678 9012 signed in as alex@example.com"));
    return image;
}

void gesture(ShapeView &view, uint mode, QPointF a, QPointF b)
{
    view.setCurrentMode(mode);
    view.mouseDown(a);
    view.mouseDragged((a + b) / 2);
    view.mouseDragged(b);
    view.mouseUp();
}

// 20 annotations and 5 blur boxes spread over a canvas of `size` points.
void buildScene(ShapeView &view, QSizeF size)
{
    const qreal w = size.width(), h = size.height();
    auto at = [w, h](qreal fx, qreal fy) { return QPointF(fx * w, fy * h); };
    for (int i = 0; i < 5; ++i) // the blur boxes first: annotations lie above them
        gesture(view, ShapeView::BlurMode, at(0.05 + i * 0.18, 0.55), at(0.15 + i * 0.18, 0.75));
    for (int i = 0; i < 8; ++i)
        gesture(view, ShapeView::RectangleMode, at(0.03 + i * 0.12, 0.08), at(0.11 + i * 0.12, 0.2));
    for (int i = 0; i < 8; ++i) {
        gesture(view, ShapeView::ArrowMode, at(0.04 + i * 0.12, 0.3), at(0.12 + i * 0.12, 0.45));
        if (i % 2) { // bent through its middle handle
            const QPointF middle = at(0.08 + i * 0.12, 0.375);
            view.mouseDown(middle);
            view.mouseUp();
            view.mouseDown(middle);
            view.mouseDragged(middle + QPointF(0, 0.04 * h));
            view.mouseUp();
        }
    }
    for (int i = 0; i < 4; ++i) {
        view.setCurrentMode(ShapeView::TextMode);
        if (view.selectedShapeLayer()) { // a click away from a selected text only deselects it
            view.mouseDown(at(0.1 + i * 0.22, 0.9));
            view.mouseUp();
        }
        view.mouseDown(at(0.1 + i * 0.22, 0.9));
        view.mouseUp();
        view.setEditorString(QStringLiteral("Look here %1").arg(i + 1));
        view.commitTextEditing();
    }
    view.setCurrentMode(ShapeView::ArrowMode);
    view.mouseDown(QPointF(2, 2)); // nothing selected
    view.mouseUp();
    view.undoStack()->undo(); // the stray arrow that press started
}

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

double percentile(std::vector<double> v, double p)
{
    std::sort(v.begin(), v.end());
    const size_t i = std::min(v.size() - 1, size_t(std::ceil(p * double(v.size())) - 1));
    return v[i];
}

double msSince(const QElapsedTimer &clock)
{
    return double(clock.nsecsElapsed()) / 1e6;
}

int flatten(int runs, QTextStream &out)
{
    const QImage capture = photoLike();
    ShapeView view;
    view.setCanvasSize(QSizeF(kCapture));
    view.setDrawImage(capture, 1.0);
    buildScene(view, QSizeF(kCapture));
    if (view.shapes().size() != 25) {
        QTextStream(stderr) << "markup: the scene holds " << view.shapes().size() << " shapes, not 25\n";
        return 1;
    }
    QTemporaryDir dir;
    const QString ours = dir.filePath(QStringLiteral("export.png"));
    const QString bare = dir.filePath(QStringLiteral("bare.png"));
    std::vector<double> flat, exported, encoded;
    for (int run = 0; run < runs; ++run) {
        QElapsedTimer clock;
        clock.start();
        const QImage image = view.imageRepresentation(1.0);
        flat.push_back(msSince(clock));
        if (image.size() != kCapture) {
            QTextStream(stderr) << "markup: the flattened image is " << image.width() << "x" << image.height() << "\n";
            return 1;
        }
        clock.start();
        QString error;
        if (!view.exportLayerAsPNGToFile(ours, 1.0, &error)) {
            QTextStream(stderr) << "markup: export failed: " << error << "\n";
            return 1;
        }
        exported.push_back(msSince(clock));
        clock.start();
        if (!capture.save(bare, "PNG")) {
            QTextStream(stderr) << "markup: QImage::save failed\n";
            return 1;
        }
        encoded.push_back(msSince(clock));
    }
    out << "flatten " << median(flat) << "\nexport " << median(exported) << "\nbare " << median(encoded) << "\n";
    out << "bytes " << QFileInfo(ours).size() << " " << QFileInfo(bare).size() << "\n";
    return 0;
}

// Counts the canvas's paint events, so a move that repainted nothing shows.
class PaintCounter : public QObject
{
public:
    int paints = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return false;
    }
};

void send(QWidget *w, QEvent::Type type, QPointF pos, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, w->mapTo(w->window(), pos), w->mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(w, &event);
}

int drag(int moves, QTextStream &out)
{
    const qreal ratio = qApp->devicePixelRatio();
    const QSizeF points(kCapture.width() / ratio, kCapture.height() / ratio);
    QImage capture = photoLike();
    ShapeView view;
    ShapeCanvas canvas(&view);
    canvas.resize(points.toSize());
    view.setCanvasSize(points);
    view.setDrawImage(capture, ratio);
    buildScene(view, points);
    canvas.show();
    QApplication::processEvents();
    if (canvas.size() != points.toSize()) {
        QTextStream(stderr) << "markup: the canvas is " << canvas.width() << "x" << canvas.height() << "\n";
        return 1;
    }
    PaintCounter counter;
    canvas.installEventFilter(&counter);

    // y down, as the widget sees it; the shapes' model is y up.
    auto widgetPoint = [&view](QPointF canvasPoint) { return view.toView(canvasPoint); };
    struct Target
    {
        const char *name;
        QPointF grab; // canvas points
        qreal rise; // how far up the drag goes, in canvas heights
    };
    const qreal w = points.width(), h = points.height();
    // The straight arrow i = 0 (its shaft's middle), up over the blur boxes;
    // the first blur box's centre, across the other boxes.
    const Target targets[]
        = { { "arrow", QPointF(0.08 * w, 0.375 * h), 0.25 }, { "blur", QPointF(0.1 * w, 0.65 * h), 0.0 } };
    for (const Target &target : targets) {
        const QPointF start = widgetPoint(target.grab);
        send(&canvas, QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
        QApplication::processEvents();
        if (!view.selectedShapeLayer()) {
            QTextStream(stderr) << "markup: the press missed the " << target.name << "\n";
            return 1;
        }
        const int before = counter.paints;
        std::vector<double> frames;
        for (int i = 1; i <= moves; ++i) {
            // Across the canvas and back, wobbling.
            const double t = double(i) / moves;
            const QPointF pos = start
                + QPointF(0.7 * w * std::sin(t * M_PI),
                    -target.rise * h * std::sin(t * M_PI) + 0.05 * h * std::sin(t * 4 * M_PI));
            QElapsedTimer clock;
            clock.start();
            send(&canvas, QEvent::MouseMove, pos, Qt::NoButton, Qt::LeftButton);
            QApplication::processEvents();
            frames.push_back(msSince(clock));
        }
        send(&canvas, QEvent::MouseButtonRelease, start, Qt::LeftButton, Qt::NoButton);
        QApplication::processEvents();
        out << "drag " << target.name << " p50 " << percentile(frames, 0.5) << " p99 " << percentile(frames, 0.99)
            << " max " << *std::max_element(frames.begin(), frames.end()) << " paints " << counter.paints - before
            << "\n";
    }

    // The comparator: the bare capture painted once, as a canvas would.
    std::vector<double> bare;
    QImage target(kCapture, QImage::Format_ARGB32_Premultiplied);
    capture.convertTo(QImage::Format_ARGB32_Premultiplied);
    for (int i = 0; i < 21; ++i) {
        QElapsedTimer clock;
        clock.start();
        QPainter p(&target);
        p.drawImage(QPointF(0, 0), capture);
        p.end();
        bare.push_back(msSince(clock));
    }
    out << "bare " << median(bare) << "\n";
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("tessly.*.debug=false\ntessly.*.info=false"));
    const QStringList args = app.arguments().mid(1);
    QTextStream out(stdout);
    out.setRealNumberNotation(QTextStream::FixedNotation);
    out.setRealNumberPrecision(2);
    if (args.size() == 2 && args[0] == QLatin1String("flatten"))
        return flatten(std::max(1, args[1].toInt()), out);
    if (args.size() == 2 && args[0] == QLatin1String("drag"))
        return drag(std::max(1, args[1].toInt()), out);
    QTextStream(stderr) << "usage: tessly-bench-markup flatten RUNS | drag MOVES\n";
    return 2;
}
