#pragma once

#include <QGuiApplication>
#include <QList>
#include <QPointer>
#include <QScreen>
#include <QWidget>

class CapturePanelBackgroundView;
class CapturePanelModel;

class TLVideoControlsViewController;

// The full-screen panel on which the user frames a recording: it covers one
// screen (the current one) with the background view and the controls strip
// centred 15 points above its bottom edge, and moves to another screen when
// the rectangle is dragged or a window is picked there.
//
// Space toggles window-select mode; Escape leaves it, or else closes the
// capture ("TLVideoControllerEndCaptureNotification"). While recording the
// panel lets every click through and shrinks to the rectangle's outline
// (just outside the recorded area, so the recording never shows it).
class TLCapturePanel : public QWidget
{
    Q_OBJECT
public:
    TLCapturePanel();
    ~TLCapturePanel() override;

    CapturePanelModel *model() const { return m_model; }
    CapturePanelBackgroundView *bgView() const { return m_bgView; }
    TLVideoControlsViewController *controls() const { return m_controls; }

    QRectF cropRect() const;
    void setCropRect(const QRectF &rect);

    // The screen the panel covers; the primary screen when none is set.
    QScreen *currentScreen() const;
    void setCurrentScreen(QScreen *screen);
    void transitionToScreen(QScreen *screen);
    // The screens' frames in the model's coordinates (bottom-left origin at
    // the first screen's bottom-left corner).
    static QList<QRectF> screenFrames(const QList<QScreen *> &screens = QGuiApplication::screens());

    void positionControls();
    void enterWindowSelectMode();
    void exitWindowSelectMode();
    bool isRecording() const { return m_isRecording; }
    void setIsRecording(bool recording);
    void showPreparingIndicator();
    void hidePreparingIndicator();
    void orderOut();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void coverScreen(QScreen *screen);
    void updateRecordingMask();
    // A screen was unplugged (`gone`) or added (null): the model gets the
    // screens as they are now, and a panel whose screen went moves.
    void followScreens(QScreen *gone);

    CapturePanelModel *m_model;
    CapturePanelBackgroundView *m_bgView;
    TLVideoControlsViewController *m_controls;
    QPointer<QScreen> m_currentScreen;
    // The screens in the model's order: its indexes point into this list.
    QList<QPointer<QScreen>> m_screens;
    bool m_isRecording = false;
};
