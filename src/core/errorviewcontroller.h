#pragma once

#include <functional>
#include <QLabel>
#include <QPushButton>
#include <QUrl>
#include <QWidget>

// The small panel under the tray icon that tells of a failure: a title, a
// text, and, unless hidden, a button that writes a report to support with
// the failure's details.
class ErrorViewController : public QWidget
{
    Q_OBJECT
public:
    explicit ErrorViewController(QWidget *parent = nullptr);

    // From a "UserVisibleErrorNotification" object: "error", "message",
    // "hideButton" and "data".
    void setError(const QVariantMap &record);

    QString errorTitle() const { return m_errorTitle->text(); }
    QString errorText() const { return m_errorText->text(); }
    QString errorData() const { return m_errorData; }
    QPushButton *errorButton() const { return m_errorButton; }

    // The mail to support: subject "Error Linux App", the data in the body.
    QUrl reportUrl() const;
    void showAnchoredTo(const QRect &anchor);

    void setUrlOpener(std::function<void(const QUrl &)> opener) { m_openUrl = std::move(opener); }

public Q_SLOTS:
    void sendError();

private:
    QLabel *m_errorTitle;
    QLabel *m_errorText;
    QPushButton *m_errorButton;
    QString m_errorData;
    std::function<void(const QUrl &)> m_openUrl;
};
