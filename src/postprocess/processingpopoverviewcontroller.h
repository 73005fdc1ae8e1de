#pragma once

#include <QLabel>
#include <QString>
#include <QWidget>

class ProcessingSpinner;

// The small panel with a spinner and a message that shows under the tray icon
// while a recording is turned into a movie or a GIF: 220x60, the spinner at
// the left, the message (tail-truncated) beside it, in the theme's colours.
// Used on the GUI thread only.
class ProcessingPopoverViewController : public QWidget
{
    Q_OBJECT
public:
    // A null message shows "Processing...".
    explicit ProcessingPopoverViewController(const QString &message, QWidget *parent = nullptr);

    QString message() const { return m_message; }
    void setMessage(const QString &message);

    ProcessingSpinner *spinner() const { return m_spinner; }
    QLabel *messageLabel() const { return m_messageLabel; }

    // Shows the panel next to `anchor` (the tray icon's geometry, in global
    // coordinates): below it when there is room, else above, kept inside the
    // available area of the anchor's screen.
    void showAnchoredTo(const QRect &anchor);

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void showMessage();

    QString m_message;
    ProcessingSpinner *m_spinner;
    QLabel *m_messageLabel;
};
