#pragma once

#include <QColor>
#include <QToolButton>

// A colour swatch: a disc of its colour, inset by one point, with a thin rim
// so that white and black swatches show on any theme.
class ColorButton : public QToolButton
{
    Q_OBJECT
public:
    explicit ColorButton(const QColor &color = Qt::red, QWidget *parent = nullptr);

    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor &color);
    QSize sizeHint() const override { return QSize(32, 32); }

protected:
    void paintEvent(QPaintEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    QColor m_backgroundColor;
    bool m_hover = false;
};
