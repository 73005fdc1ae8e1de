#pragma once

#include <QWidget>

class PopoverWindowController;
class QLabel;
class QToolButton;

// The card that takes the header's place while uploads run or wait: the
// status text, a thin progress track, pause or resume, and cancel. A click
// on the card retries when it shows a failure.
class PopoverUploadStripView : public QWidget
{
    Q_OBJECT
public:
    explicit PopoverUploadStripView(PopoverWindowController *controller, QWidget *parent = nullptr);

    QString statusText() const;
    // "Upload failed – click to retry", "Upload paused", "Uploading... 42% · 1.5 MB/s".
    static QString textFor(int state, float progress, double speed);
    QToolButton *pauseButton() const { return m_pause; }
    QToolButton *resumeButton() const { return m_resume; }
    QToolButton *cancelButton() const { return m_cancel; }

    // progress 0..1, speed in bytes per second, state 1 uploading, 2 paused, 3 failed.
    void updateWithProgress(float progress, double speed, int uploadState, bool hasMultipartUploads);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void updateIcons();

    PopoverWindowController *m_controller;
    QLabel *m_status;
    QToolButton *m_pause;
    QToolButton *m_resume;
    QToolButton *m_cancel;
    int m_currentState = 0;
    float m_progress = 0;
};
