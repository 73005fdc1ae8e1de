#pragma once

#include <QColor>
#include <QList>
#include <QWidget>

class ColorButton;

// The colour popover of the markup window: a grid of swatches. Choosing one
// stores it as the line colour and posts
// "ColorPickerColorDidChangeNotification" with {"color": the colour}; the
// popover then closes.
class ColorPickerViewController : public QWidget
{
    Q_OBJECT
public:
    explicit ColorPickerViewController(QWidget *parent = nullptr);

    // The swatch colours, in order.
    static QList<QColor> swatchColors();
    const QList<ColorButton *> &buttons() const { return m_buttons; }

    // Shows the popover under `anchor`, its top edge on the anchor's bottom.
    void showRelativeTo(QWidget *anchor);
    // The action of every swatch.
    void setColor(ColorButton *sender);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QList<ColorButton *> m_buttons;
};
