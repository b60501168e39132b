#include "widgets/PlainTextEditor.h"

#include "widgets/SystemFont.h"
#include "widgets/ThinScrollBar.h"

#include <QSignalBlocker>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>

namespace velmo {

namespace {

constexpr int kTextSize = 13;
constexpr int kLineHeight = 18;

} // namespace

PlainTextEditor::PlainTextEditor(const QString& accessibleName, QWidget* parent)
    : QTextEdit(parent)
{
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBar(new ThinScrollBar(0));
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    // The controls around are reached by it.
    setTabChangesFocus(true);
    setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    document()->setDocumentMargin(0);
    setFont(systemFont(kTextSize));
    setAccessibleName(accessibleName);
    showText({});
    connect(this, &QTextEdit::textChanged, this, [this] {
        // What an input method composes is no text yet, and looks are none at all.
        const QString now = text();
        if (now == known_)
            return;
        known_ = now;
        if (onEdit)
            onEdit(now);
    });
}

void PlainTextEditor::showText(const QString& text)
{
    const QSignalBlocker silence(this);
    document()->setUndoRedoEnabled(false);
    setPlainText(text);
    QTextBlockFormat lines;
    lines.setLineHeight(kLineHeight, QTextBlockFormat::FixedHeight);
    QTextCursor everything(document());
    everything.select(QTextCursor::Document);
    everything.mergeBlockFormat(lines);
    document()->setUndoRedoEnabled(true);
    known_ = this->text();
}

QString PlainTextEditor::text() const
{
    // toPlainText() makes spaces of those that do not break.
    QString text = document()->toRawText();
    return text.replace(QChar::ParagraphSeparator, u'\n').replace(QChar::LineSeparator, u'\n');
}

} // namespace velmo
