#pragma once

#include <functional>
#include <QDateTime>
#include <QRectF>
#include <QStringList>
#include <QWidget>

class QLabel;
class QScreen;
class QTimer;
class QToolButton;

// The small floating panel beside the recorded area while a recording runs:
// the elapsed time and the stop, restart and discard buttons. Restart and
// discard ask first. It is placed outside the recorded area wherever the
// screen has room (below, above, right, left), so the recording does not
// show it; only an area that fills the screen gets it inside.
class TLRecordingControlsPanel : public QWidget
{
    Q_OBJECT
public:
    static constexpr QSizeF kSize { 210, 45 };
    static constexpr qreal kGap = 12;

    TLRecordingControlsPanel();
    ~TLRecordingControlsPanel() override;

    // How questions are put to the user: the index of the chosen button.
    // A modal message box unless replaced.
    using AlertRunner = std::function<int(const QString &title, const QString &text, const QStringList &buttons)>;
    void setAlertRunner(AlertRunner runner) { m_runAlert = std::move(runner); }

    void startTimer();
    void resetTimer();
    void updateTimer();
    QString elapsedText() const;
    // "m:ss" below an hour, "h:mm:ss" from then on.
    static QString elapsedText(qint64 seconds);

    // The panel's origin (global points, bottom-left origin) for the
    // recorded rectangle `rect` in the same coordinates on a screen `screen`.
    static QPointF position(const QRectF &rect, const QRectF &screen);
    // `cropRect` is local to `screen`, bottom-left origin.
    void positionRelativeToCropRect(const QRectF &cropRect, QScreen *screen);

    void stopClicked();
    void restartClicked();
    void trashClicked();
    // Hides the panel and stops its clock.
    void orderOut();

    QToolButton *stopButton() const { return m_stopButton; }
    QToolButton *restartButton() const { return m_restartButton; }
    QToolButton *trashButton() const { return m_trashButton; }

Q_SIGNALS:
    void stopRequested();
    void restartRequested();
    void trashRequested();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QToolButton *makeButtonWithSymbol(
        const QString &symbol, const QString &tooltip, void (TLRecordingControlsPanel::*action)());
    int ask(const QString &title, const QString &text, const QStringList &buttons);

    QLabel *m_timerLabel = nullptr;
    QToolButton *m_stopButton = nullptr;
    QToolButton *m_restartButton = nullptr;
    QToolButton *m_trashButton = nullptr;
    QTimer *m_timer = nullptr;
    QDateTime m_recordingStartDate;
    AlertRunner m_runAlert;
};
