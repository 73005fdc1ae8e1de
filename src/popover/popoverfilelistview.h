#pragma once

#include <QListView>
#include <QUrl>

class PopoverFileListModel;
class PopoverFileRowView;
class QToolButton;

// The dashboard's list: PopoverFileListModel's rows drawn by
// PopoverFileRowView, only those on screen. A click on a row opens its link;
// the hovered row and the selected one (chosen from the keyboard) show their
// copy-link and QR-code buttons, two real buttons each moved onto the row
// that shows them. It takes no focus: the panel's keys move the selection.
class PopoverFileListView : public QListView
{
    Q_OBJECT
public:
    explicit PopoverFileListView(PopoverFileListModel *model, QWidget *parent = nullptr);

    PopoverFileListModel *rows() const { return m_model; }
    int selectedRow() const { return m_selected; }
    // -1 clears the selection; others are kept within the list and scrolled to.
    void selectRow(int row);
    int hoveredRow() const { return m_hovered; }
    // Where a row's name is drawn and the name as drawn there, as the row
    // looks now (narrower while its buttons show).
    QRect titleRect(int row) const;
    QString shownTitle(int row) const;
    // The copy-link button shown on `row`, or null.
    QToolButton *copyButton(int row) const;

Q_SIGNALS:
    void openRequested(const QUrl &link);
    void copyRequested(const QUrl &link);
    void qrCodeRequested(const QUrl &link, QWidget *anchor);

protected:
    bool viewportEvent(QEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    void rowsChanged();

private:
    struct Buttons
    {
        QToolButton *copy = nullptr;
        QToolButton *qr = nullptr;
        int row = -1;
    };
    Buttons makeButtons();
    void setHoveredRow(int row);
    void hoverAtCursor();
    void placeButtons();
    void placeButtons(Buttons &buttons, int row);
    bool rowIsActive(int row) const;
    void updateIcons();

    PopoverFileListModel *m_model;
    PopoverFileRowView *m_delegate;
    Buttons m_hoverButtons;
    Buttons m_selectionButtons;
    int m_hovered = -1;
    int m_selected = -1;
};
