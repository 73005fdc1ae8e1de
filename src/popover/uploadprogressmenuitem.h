#pragma once

#include "uploadprogressmodel.h"

#include <QPointer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QToolButton;

// The upload row of the status menu and the dashboard: a status line, a
// progress bar and the pause, resume, retry and cancel buttons. It only shows
// its UploadProgressModel and forwards the buttons to it; the cancel prompt
// is a warning dialog (closing the menu it sits in first).
class UploadProgressMenuItem : public QWidget
{
    Q_OBJECT
public:
    explicit UploadProgressMenuItem(QWidget *parent = nullptr);

    UploadProgressModel *model() const { return m_model; }

    // The owners' feed; see UploadProgressModel.
    void updateWithProgress(float progress, double speed, int uploadState, bool hasMultipartUploads)
    {
        m_model->updateWithProgress(progress, speed, uploadState, hasMultipartUploads);
    }

    QLabel *statusText() const { return m_statusText; }
    QProgressBar *progress() const { return m_progress; }
    QToolButton *pauseButton() const { return m_pauseButton; }
    QToolButton *resumeButton() const { return m_resumeButton; }
    QToolButton *retryButton() const { return m_retryButton; }
    QToolButton *cancelButton() const { return m_cancelButton; }

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void refresh();
    void updateIcons();
    QToolButton *addButton(const QString &toolTip);
    void confirmCancel(const UploadProgressModel::CancelPrompt &prompt, std::function<void()> accept);

    UploadProgressModel *m_model;
    QLabel *m_statusText;
    QProgressBar *m_progress;
    QToolButton *m_pauseButton;
    QToolButton *m_resumeButton;
    QToolButton *m_retryButton;
    QToolButton *m_cancelButton;
};
