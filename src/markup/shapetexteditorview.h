#pragma once

#include <QPlainTextEdit>

// The in-place editor of a text annotation. It shows only its caret: the
// glyphs the user sees are the TextLayer's rendering beneath it. Return
// inserts a line; Ctrl+Return posts "ShapeTextEditorViewRequestsCommit".
class ShapeTextEditorView : public QPlainTextEdit
{
    Q_OBJECT
public:
    explicit ShapeTextEditorView(QWidget *parent = nullptr);

    // Replaces the text, keeping it invisible, without announcing a change.
    void setEditorText(const QString &text);
    void setFontSize(int size);
    void startEditing();
    void endEditing();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

Q_SIGNALS:
    void editingEnded();

private:
    void hideGlyphs();
};
