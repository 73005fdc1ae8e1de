#pragma once

#include <QList>
#include <QToolButton>
#include <QWidget>

class PopoverWindowController;

// The dashboard's row of action tiles: "Region", "Markup", "Record" (a red
// "Stop" while recording), "Clipboard" (enabled while the clipboard holds a
// file or a picture) and "More", whose menu creates documents and links on
// the web and uploads a chosen file or folder. The state lives in the
// controller; the grid shows it and hands clicks back.
class PopoverActionGridView : public QWidget
{
    Q_OBJECT
public:
    explicit PopoverActionGridView(PopoverWindowController *controller, QWidget *parent = nullptr);

    QList<QToolButton *> tiles() const { return m_tiles; }
    QToolButton *recordTile() const { return m_recordTile; }
    QToolButton *clipboardTile() const { return m_clipboardTile; }

    void setRecording(bool recording);
    void showMoreMenu(QToolButton *sender);

protected:
    void changeEvent(QEvent *event) override;

private:
    void updateIcons();

    PopoverWindowController *m_controller;
    QList<QToolButton *> m_tiles;
    QToolButton *m_recordTile = nullptr;
    QToolButton *m_clipboardTile = nullptr;
    bool m_recording = false;
};
