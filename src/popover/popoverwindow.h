#pragma once

#include <QList>
#include <QUrl>
#include <QWidget>

#include <functional>

class PopoverActionGridView;
class PopoverFileRowView;
class PopoverUploadStripView;
class PopoverWindowController;
class QLabel;
class QPushButton;
class QScrollArea;
class QStackedWidget;
class QTabBar;
class QToolButton;
class QVBoxLayout;

// The dashboard panel as drawn: header (profile and account), action grid,
// the phone-app card, tabs, the list of rows or its empty state, the upload
// strip in the header's place while uploads run, the footer, and the toast.
// It shows its PopoverWindowController's state and hands every click, key
// and drop back to it.
class PopoverWindow : public QWidget
{
    Q_OBJECT
public:
    explicit PopoverWindow(PopoverWindowController *controller);

    void placeAt(const QPoint &topLeft);
    bool showsInTaskbar() const { return windowType() == Qt::Window; }
    void setShowsInTaskbar(bool shows);
    // A file or folder dialog over the panel.
    void chooseFile(bool directories, std::function<void(const QString &path)> chosen);

    QList<PopoverFileRowView *> rows() const { return m_rows; }
    int selectedRow() const { return m_selected; }
    PopoverActionGridView *actionGrid() const { return m_actionGrid; }
    PopoverUploadStripView *uploadStrip() const { return m_strip; }
    QTabBar *tabBar() const { return m_tabBar; }
    QWidget *emptyStateView() const { return m_emptyState; }
    QWidget *loggedOutView() const { return m_loggedOut; }
    QLabel *toastView() const { return m_toast; }
    QString emptyHeading() const;

Q_SIGNALS:
    // The first paint after the panel is shown is on screen.
    void paintedAfterShow();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragLeaveEvent(QDragLeaveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    QWidget *buildHeader();
    QWidget *buildPromoCard();
    QWidget *buildEmptyState();
    QWidget *buildLoggedOut();
    QWidget *buildFooter();
    void rebuildRows();
    void appendRows(int count);
    void updateLoginState();
    void updateMeData();
    void updateUploadStrip();
    void updateEmptyState();
    void updateToast(const QString &text);
    void updateIcons();
    void selectRow(int index);
    void showQrCode(const QUrl &link, QWidget *anchor);

    PopoverWindowController *m_controller;
    QStackedWidget *m_pages; // signed in, signed out
    QStackedWidget *m_topSlot; // header, upload strip
    QWidget *m_header = nullptr;
    QLabel *m_avatar = nullptr;
    QToolButton *m_profileButton = nullptr;
    QLabel *m_email = nullptr;
    QList<QToolButton *> m_iconButtons;
    PopoverActionGridView *m_actionGrid;
    PopoverUploadStripView *m_strip;
    QWidget *m_promoCard = nullptr;
    QTabBar *m_tabBar;
    QStackedWidget *m_listPages; // rows, empty state
    QScrollArea *m_scrollArea;
    QVBoxLayout *m_fileListStack;
    QWidget *m_emptyState = nullptr;
    QLabel *m_emptyIcon = nullptr;
    QLabel *m_emptyHeading = nullptr;
    QLabel *m_emptyText = nullptr;
    QPushButton *m_emptyChoose = nullptr;
    QWidget *m_loggedOut = nullptr;
    QWidget *m_footer = nullptr;
    QList<QWidget *> m_signedInFooter;
    QLabel *m_toast;
    QList<PopoverFileRowView *> m_rows;
    int m_selected = -1;
    quint64 m_rowsGeneration = 0;
    bool m_settingTab = false;
    bool m_paintAfterShowPending = false;
    // What the header and the empty state were last drawn from: the panel
    // redraws them at every opening only when something changed.
    QVariantList m_headerDrawnFrom;
    QVariantList m_emptyIconDrawnFrom;
};
