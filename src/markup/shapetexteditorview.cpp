#include "shapetexteditorview.h"

#include "notificationcenter.h"
#include "notifications.h"
#include "textoutline.h"

#include <QKeyEvent>
#include <QSignalBlocker>
#include <QTextCharFormat>
#include <QTextCursor>

ShapeTextEditorView::ShapeTextEditorView(QWidget *parent)
    : QPlainTextEdit(parent)
{
    setUndoRedoEnabled(false);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Wrapped where the glyphs wrap (the canvas keeps the editor no wider
    // than the layout width) and flush left, right-to-left paragraphs too,
    // so the caret stays on the glyphs the TextLayer draws.
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    QTextOption option = document()->defaultTextOption();
    option.setAlignment(Qt::AlignLeft | Qt::AlignAbsolute);
    document()->setDefaultTextOption(option);
    setAttribute(Qt::WA_TranslucentBackground);
    viewport()->setAutoFillBackground(false);
    setStyleSheet(QStringLiteral("background: transparent;"));
    document()->setDocumentMargin(0);
    setViewportMargins(5, 0, 0, 0);
    setCursorWidth(2);
    setFontSize(30);
    hide();
}

void ShapeTextEditorView::hideGlyphs()
{
    // The caret is drawn in the palette's text colour; only the characters go clear.
    QTextCharFormat format;
    format.setForeground(Qt::transparent);
    QTextCursor all(document());
    all.select(QTextCursor::Document);
    all.mergeCharFormat(format);
    mergeCurrentCharFormat(format);
}

void ShapeTextEditorView::setEditorText(const QString &text)
{
    if (toPlainText() == text)
        return;
    const QSignalBlocker blocker(this);
    setPlainText(text);
    moveCursor(QTextCursor::End);
    hideGlyphs();
}

void ShapeTextEditorView::setFontSize(int size)
{
    const QFont f = TextOutline::font(size);
    if (font() == f)
        return;
    setFont(f);
    hideGlyphs();
}

void ShapeTextEditorView::startEditing()
{
    show();
    setFocus(Qt::OtherFocusReason);
    hideGlyphs();
}

void ShapeTextEditorView::endEditing()
{
    clearFocus();
}

void ShapeTextEditorView::keyPressEvent(QKeyEvent *event)
{
    const bool returnKey = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (returnKey && (event->modifiers() & Qt::ControlModifier)) {
        NotificationCenter::defaultCenter().post(QString::fromLatin1(Notifications::ShapeTextEditorViewRequestsCommit),
            QVariant::fromValue<QObject *>(this));
        event->accept();
        return;
    }
    QPlainTextEdit::keyPressEvent(event);
    hideGlyphs();
}

void ShapeTextEditorView::focusOutEvent(QFocusEvent *event)
{
    QPlainTextEdit::focusOutEvent(event);
    if (event->reason() != Qt::PopupFocusReason && event->reason() != Qt::ActiveWindowFocusReason)
        Q_EMIT editingEnded();
}
