#pragma once

#include "fileuploadtask.h"

#include <QObject>
#include <QString>

#include <functional>

// What the upload progress row shows and what its buttons do, without the
// widgets: the row (UploadProgressMenuItem, in the status menu and the
// dashboard) only draws this model and forwards its button clicks.
//
// uploadState: 0 nothing running, 1 uploading, 2 paused, 3 failed. Pause
// and resume act on the multipart tasks of FileUploadQueue (single-request
// uploads keep running); retry resumes them, or when none is queued, the
// multipart uploads persisted on disk; cancel asks first, then cancels the
// queue and forgets every persisted record.
//
// It observes "MultipartUploadFailedNotification" itself for as long as it
// lives. Everything runs on the GUI thread.
class UploadProgressModel : public QObject
{
    Q_OBJECT
public:
    // The confirmation asked before cancelling.
    struct CancelPrompt
    {
        int count = 0;
        QString message; // "Cancel 2 Uploads?"
        QString informativeText;
        QString cancelButton; // "Cancel 2 Uploads"
        QString continueButton; // "Continue Uploading"
    };
    // Shows the prompt; calls `accept` only when the user chose to cancel.
    using ConfirmCancel = std::function<void(const CancelPrompt &prompt, std::function<void()> accept)>;

    explicit UploadProgressModel(QObject *parent = nullptr);
    ~UploadProgressModel() override;

    int uploadState() const { return m_uploadState; }
    bool hasMultipartUploads() const { return m_hasMultipartUploads; }
    QString statusText() const { return m_statusText; }
    int progressValue() const { return m_progressValue; } // 0 to 100
    bool isPauseVisible() const { return m_pauseVisible; }
    bool isResumeVisible() const { return m_resumeVisible; }
    bool isRetryVisible() const { return m_retryVisible; }
    bool isCancelVisible() const { return m_cancelVisible; }

    // progress 0 to 1, speed in bytes per second.
    void updateWithProgress(float progress, double speed, int uploadState, bool hasMultipartUploads);
    void updateButtonVisibility();

    // "1.5 MB/s", "2 KB/s", "1024 B/s".
    static QString formattedSpeed(double bytesPerSecond);
    static CancelPrompt cancelPromptForCount(int count);

    // Running tasks plus the persisted records of files no task is uploading.
    int cancelCount();

    void setConfirmCancel(ConfirmCancel confirm) { m_confirmCancel = std::move(confirm); }

    void pauseButtonClicked();
    void resumeButtonClicked();
    void retryButtonClicked();
    void cancelButtonClicked();
    void performAbortAllUploads();

    void multipartUploadFailed(const QVariantMap &object);
    // Progress reaches the row through updateWithProgress() only.
    void multipartUploadProgress(const QVariantMap &) { }

Q_SIGNALS:
    // Something the row shows changed.
    void changed();

private:
    // Sets the state and its status line, then the buttons.
    void setState(int state, const QString &statusText);

    int m_uploadState = 0;
    bool m_hasMultipartUploads = false;
    QString m_statusText;
    int m_progressValue = 0;
    bool m_pauseVisible = false;
    bool m_resumeVisible = false;
    bool m_retryVisible = false;
    bool m_cancelVisible = false;
    ConfirmCancel m_confirmCancel;
};
