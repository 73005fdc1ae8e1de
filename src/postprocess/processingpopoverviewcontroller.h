#pragma once

#include <QString>
#include <QWidget>

// The small panel with a spinner and a message that shows under the tray icon
// while a recording is turned into a movie or a GIF.
class ProcessingPopoverViewController : public QWidget
{
    Q_OBJECT
public:
    explicit ProcessingPopoverViewController(const QString &message, QWidget *parent = nullptr);

    QString message() const { return m_message; }

    // Shows the panel next to `anchor` (the tray icon's geometry, in global
    // coordinates), kept inside the available area of the anchor's screen.
    void showAnchoredTo(const QRect &anchor);

private:
    QString m_message;
};
