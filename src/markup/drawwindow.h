#pragma once

#include <QWidget>

class ColorButton;
class ShapeCanvas;
class ShapeView;
class SideBarButton;

// The markup window: the tool sidebar (rectangle, arrow, text, blur, the
// colour swatch, then Upload and Copy at the bottom) beside the canvas. Only
// layout lives here; DrawWindowController gives the controls their meaning.
class DrawWindow : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kSidebarWidth = 55;

    explicit DrawWindow(ShapeView *view, QWidget *parent = nullptr);

    ShapeCanvas *canvas() const { return m_canvas; }
    SideBarButton *squareButton() const { return m_squareButton; }
    SideBarButton *arrowButton() const { return m_arrowButton; }
    SideBarButton *textButton() const { return m_textButton; }
    SideBarButton *blurButton() const { return m_blurButton; }
    SideBarButton *uploadButton() const { return m_uploadButton; }
    SideBarButton *copyButton() const { return m_copyButton; }
    ColorButton *colorPicker() const { return m_colorPicker; }

Q_SIGNALS:
    void closing();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    ShapeCanvas *m_canvas;
    SideBarButton *m_squareButton;
    SideBarButton *m_arrowButton;
    SideBarButton *m_textButton;
    SideBarButton *m_blurButton;
    SideBarButton *m_uploadButton;
    SideBarButton *m_copyButton;
    ColorButton *m_colorPicker;
};
