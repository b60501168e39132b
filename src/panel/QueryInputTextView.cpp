#include "panel/QueryInputTextView.h"

#include "panel/QueryPanelTheme.h"
#include "widgets/SystemFont.h"

#include <QKeyEvent>
#include <QMimeData>
#include <algorithm>
#include <cmath>

namespace velmo {

namespace {

constexpr int kVerticalInset = 3;
constexpr int kMinimumHeight = 28;
constexpr int kMaximumHeight = 92;
constexpr int kFontSize = 13;

} // namespace

QueryInputTextView::QueryInputTextView(QWidget* parent)
    : QTextEdit(parent)
{
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTabChangesFocus(true);
    setFont(systemFont(kFontSize));
    setPalette(QueryPanelTheme::palette(QueryPanelTheme::text()));
    document()->setDocumentMargin(0);
    setViewportMargins(0, kVerticalInset, 0, kVerticalInset);
    setPlaceholderText(QStringLiteral("Ask anything about the annotated area…"));
    setAccessibleName(QStringLiteral("Question"));
    setFixedHeight(kMinimumHeight);
    connect(this, &QTextEdit::textChanged, this, [this] {
        recalculateHeight();
        if (onChange)
            onChange();
    });
}

void QueryInputTextView::keyPressEvent(QKeyEvent* event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && (event->modifiers() & (Qt::ShiftModifier | Qt::AltModifier)) != 0) {
        textCursor().insertText(QStringLiteral("\n"));
        ensureCursorVisible();
        return;
    }
    if (isReturn) {
        if (!trimmedText().isEmpty() && onSubmit)
            onSubmit();
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        // Held from an earlier moment it repeats; only a press of its own is meant for the panel.
        if (onCancel && !event->isAutoRepeat())
            onCancel();
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void QueryInputTextView::insertFromMimeData(const QMimeData* source)
{
    textCursor().insertText(source->text());
    ensureCursorVisible();
}

void QueryInputTextView::resizeEvent(QResizeEvent* event)
{
    QTextEdit::resizeEvent(event);
    recalculateHeight();
}

void QueryInputTextView::recalculateHeight()
{
    const int content = static_cast<int>(std::ceil(document()->size().height())) + 2 * kVerticalInset;
    const int height = std::clamp(content, kMinimumHeight, kMaximumHeight);
    if (height == desiredHeight_)
        return;
    desiredHeight_ = height;
    setFixedHeight(height);
    if (onHeightChange)
        onHeightChange();
}

} // namespace velmo
