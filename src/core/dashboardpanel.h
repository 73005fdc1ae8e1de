#pragma once

#include <QLabel>
#include <QPointer>
#include <QWidget>

// The panel under the tray icon. Until the dashboard with the recent items
// takes its place it is a small card that says what the tray offers; it
// keeps the calls the application controller makes on the dashboard (toggle
// under the icon, the "Link copied" toast, segment switches, file reloads).
class DashboardPanel : public QWidget
{
    Q_OBJECT
public:
    explicit DashboardPanel(QWidget *parent = nullptr);

    // Shows the panel under (or above) `anchor`, or hides it when shown.
    void toggleAnchoredTo(const QRect &anchor);
    void showAnchoredTo(const QRect &anchor);

    // A short message over the panel for two seconds.
    void showToast(const QString &text);
    QString toastText() const;

    // The list shown: 0 files, 1 documents, 2 folders, 3 links (stored).
    void switchToSegment(int segment);
    void loadFiles();

private:
    QLabel *m_toast;
};
