#include "drawwindow.h"

#include "colorbutton.h"
#include "shapecanvas.h"
#include "sidebarbutton.h"

#include <QCloseEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QVBoxLayout>

DrawWindow::DrawWindow(ShapeView *view, QWidget *parent)
    : QWidget(parent)
    , m_canvas(new ShapeCanvas(view, this))
    , m_squareButton(new SideBarButton(SideBarButton::Glyph::Rectangle))
    , m_arrowButton(new SideBarButton(SideBarButton::Glyph::Arrow))
    , m_textButton(new SideBarButton(SideBarButton::Glyph::Text))
    , m_blurButton(new SideBarButton(SideBarButton::Glyph::Blur))
    , m_uploadButton(new SideBarButton(SideBarButton::Glyph::Upload))
    , m_copyButton(new SideBarButton(SideBarButton::Glyph::Copy))
    , m_colorPicker(new ColorButton)
{
    setWindowTitle(tr("Markup"));
    setObjectName(QStringLiteral("DrawWindow"));

    auto *sidebar = new QWidget(this);
    sidebar->setFixedWidth(kSidebarWidth);
    auto *tools = new QVBoxLayout(sidebar);
    tools->setContentsMargins(0, 10, 0, 10);
    tools->setSpacing(8);
    // Rectangle, arrow, text, blur.
    for (QWidget *w : { static_cast<QWidget *>(m_squareButton), static_cast<QWidget *>(m_arrowButton),
             static_cast<QWidget *>(m_textButton), static_cast<QWidget *>(m_blurButton) })
        tools->addWidget(w, 0, Qt::AlignHCenter);
    auto *rule = new QFrame(sidebar);
    rule->setFrameShape(QFrame::HLine);
    rule->setFrameShadow(QFrame::Sunken);
    rule->setFixedWidth(28);
    tools->addWidget(rule, 0, Qt::AlignHCenter);
    tools->addWidget(m_colorPicker, 0, Qt::AlignHCenter);
    tools->addStretch(1);
    tools->addWidget(m_copyButton, 0, Qt::AlignHCenter);
    tools->addWidget(m_uploadButton, 0, Qt::AlignHCenter);

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(sidebar);
    row->addWidget(m_canvas, 1);
}

void DrawWindow::closeEvent(QCloseEvent *event)
{
    Q_EMIT closing();
    QWidget::closeEvent(event);
}
