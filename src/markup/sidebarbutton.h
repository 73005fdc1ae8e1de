#pragma once

#include <QToolButton>

// A tool button of the markup window's sidebar: a rounded square outlined in
// the desktop's border colour, in its accent colour while the tool is chosen,
// with a second outline under the pointer. The tool's glyph is drawn here, in
// the accent colour when chosen and the text colour otherwise.
class SideBarButton : public QToolButton
{
    Q_OBJECT
public:
    enum class Glyph { Rectangle, Arrow, Text, Blur, Upload, Copy };

    SideBarButton(Glyph glyph, QWidget *parent = nullptr);

    bool mouseInside() const { return m_mouseInside; }
    QSize sizeHint() const override { return QSize(40, 40); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    void paintGlyph(QPainter &painter, const QRectF &box, const QColor &colour) const;

    Glyph m_glyph;
    bool m_mouseInside = false;
};
