#include "capturepanelbackgroundview.h"
#include "capturepanelmodel.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>

CapturePanelBackgroundView::CapturePanelBackgroundView(CapturePanelModel *model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
{
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(m_model, &CapturePanelModel::cropRectChanged, this, qOverload<>(&QWidget::update));
    connect(m_model, &CapturePanelModel::highlightChanged, this, qOverload<>(&QWidget::update));
    connect(m_model, &CapturePanelModel::windowSelectModeChanged, this, [this](bool on) {
        setCursor(on ? Qt::PointingHandCursor : Qt::ArrowCursor);
        update();
    });
    m_spinner = new QTimer(this);
    m_spinner->setInterval(80);
    connect(m_spinner, &QTimer::timeout, this, [this] {
        m_spin = (m_spin + 1) % 12;
        update();
    });
}

void CapturePanelBackgroundView::setBackdrop(const QPixmap &picture)
{
    m_backdrop = picture;
    update();
}

void CapturePanelBackgroundView::setPreparing(bool preparing)
{
    m_preparing = preparing;
    if (preparing)
        m_spinner->start();
    else
        m_spinner->stop();
    update();
}

void CapturePanelBackgroundView::setRecording(bool recording)
{
    m_recording = recording;
    update();
}

QPointF CapturePanelBackgroundView::toModel(const QPointF &p) const
{
    return { p.x(), height() - p.y() };
}

QRectF CapturePanelBackgroundView::toWidget(const QRectF &r) const
{
    const QRectF n = r.normalized();
    return { n.x(), height() - n.y() - n.height(), n.width(), n.height() };
}

QPointF CapturePanelBackgroundView::globalModelPoint(const QPointF &widget) const
{
    return toModel(widget) + m_model->currentScreenFrame().topLeft();
}

Qt::CursorShape CapturePanelBackgroundView::cursorShape(const QString &name)
{
    if (name == QLatin1String("resizenorthsouth"))
        return Qt::SizeVerCursor;
    if (name == QLatin1String("resizeeastwest"))
        return Qt::SizeHorCursor;
    if (name == QLatin1String("resizenorthwestsoutheast"))
        return Qt::SizeFDiagCursor;
    if (name == QLatin1String("resizenortheastsouthwest"))
        return Qt::SizeBDiagCursor;
    if (name == QLatin1String("openhand"))
        return Qt::OpenHandCursor;
    if (name == QLatin1String("pointinghand"))
        return Qt::PointingHandCursor;
    if (name == QLatin1String("crosshair"))
        return Qt::CrossCursor;
    return Qt::ArrowCursor;
}

void CapturePanelBackgroundView::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    if (m_backdrop.isNull())
        p.fillRect(rect(), QColor(0x40, 0x40, 0x40));
    else
        p.drawPixmap(rect(), m_backdrop);

    const bool selecting = m_model->windowSelectMode();
    const QRectF crop = toWidget(m_model->cropRect());
    QPainterPath dim;
    dim.setFillRule(Qt::OddEvenFill);
    dim.addRect(rect());
    if (!selecting && !crop.isEmpty())
        dim.addRect(crop);
    p.fillPath(dim, QColor(0, 0, 0, 128));

    p.setRenderHint(QPainter::Antialiasing);
    if (selecting) {
        const QRectF highlight = m_model->highlightedWindowRect();
        if (!highlight.isEmpty()) {
            const QRectF local = toWidget(highlight.translated(-m_model->currentScreenFrame().topLeft()));
            const QColor blue = QColor::fromRgbF(0.2f, 0.5f, 1.0f);
            p.fillRect(local, QColor::fromRgbF(0.2f, 0.5f, 1.0f, 0.3f));
            p.setPen(QPen(QColor::fromRgbF(blue.redF(), blue.greenF(), blue.blueF(), 0.6f), 2));
            p.drawRect(local.adjusted(1, 1, -1, -1));
        }
        return;
    }
    if (crop.isEmpty())
        return;
    // The outline lies a point outside the rectangle, so a recording never
    // shows it.
    QPen dash(Qt::white, 1);
    dash.setDashPattern({ 4, 4 });
    dash.setJoinStyle(Qt::RoundJoin);
    p.setPen(dash);
    p.setBrush(Qt::NoBrush);
    p.drawRect(crop.adjusted(-0.5, -0.5, 0.5, 0.5));

    for (int location = 0; location < CapturePanelModel::kHandleCount && !m_recording; ++location) {
        const QPointF c = toModel(CapturePanelModel::handlePoint(location, m_model->cropRect()));
        const QRectF oval(c.x() - 4, c.y() - 4, 8, 8);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0, 0, 0, 64));
        p.drawEllipse(oval.adjusted(-1.5, -1.5, 1.5, 1.5));
        p.setBrush(QColor(0x8e, 0x8e, 0x93));
        p.setPen(QPen(Qt::white, 1.5));
        p.drawEllipse(oval);
    }

    if (m_preparing) {
        const QPointF c = crop.center();
        p.setPen(Qt::NoPen);
        for (int i = 0; i < 12; ++i) {
            p.save();
            p.translate(c);
            p.rotate(i * 30);
            p.setBrush(QColor(255, 255, 255, 40 + ((i - m_spin + 12) % 12) * 18));
            p.drawRoundedRect(QRectF(-1, -8, 2, 4.5), 1, 1);
            p.restore();
        }
    }
}

void CapturePanelBackgroundView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    if (m_model->windowSelectMode()) {
        m_model->updateWindowHighlight(globalModelPoint(event->position()));
        m_model->handleWindowSelectClick();
        return;
    }
    m_model->mouseDown(toModel(event->position()));
    if (m_model->mode() == CapturePanelModel::Mode::Moving)
        setCursor(Qt::ClosedHandCursor);
}

void CapturePanelBackgroundView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_model->windowSelectMode()) {
        m_model->updateWindowHighlight(globalModelPoint(event->position()));
        return;
    }
    if (event->buttons() & Qt::LeftButton) {
        m_model->mouseDragged(toModel(event->position()));
        return;
    }
    setCursor(cursorShape(m_model->cursorAt(toModel(event->position()))));
}

void CapturePanelBackgroundView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_model->mouseUp();
    setCursor(cursorShape(m_model->cursorAt(toModel(event->position()))));
}
