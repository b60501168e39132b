#include "panel/QueryTextView.h"

#include "panel/PanelMenu.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QInputMethod>
#include <QKeyEvent>
#include <QMimeData>
#include <QTextBlock>
#include <QTextLayout>
#include <algorithm>
#include <utility>

namespace velmo {

namespace {

bool isReturnKey(const QKeyEvent& event)
{
    return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

} // namespace

QueryTextView::QueryTextView(QWidget* parent)
    : QTextEdit(parent)
{
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    // Everything else in the panel is reached by it.
    setTabChangesFocus(true);
    setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    document()->setDocumentMargin(0);
    setAccessibleName(QStringLiteral("Question"));
}

bool QueryTextView::hasContent() const
{
    for (QTextBlock block = document()->begin(); block.isValid(); block = block.next()) {
        const QString text = block.text();
        if (std::ranges::any_of(text, [](QChar unit) { return !unit.isSpace(); }))
            return true;
    }
    return false;
}

QString QueryTextView::trimmedText() const
{
    // toPlainText() makes spaces of those that do not break.
    QString text = document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n').replace(QChar::LineSeparator, u'\n');
    return text.trimmed();
}

bool QueryTextView::isComposing() const
{
    const QTextLayout* layout = textCursor().block().layout();
    return layout != nullptr && !layout->preeditAreaText().isEmpty();
}

void QueryTextView::keyPressEvent(QKeyEvent* event)
{
    if (isReturnKey(*event)) {
        pressReturn(*event);
        return;
    }
    if (event->key() == Qt::Key_Escape) {
        pressEscape(*event);
        return;
    }
    QTextEdit::keyPressEvent(event);
}

void QueryTextView::pressEscape(const QKeyEvent& event)
{
    if (isComposing())
        QGuiApplication::inputMethod()->reset();
    // Held from an earlier moment it repeats; only a press of its own is meant for the panel.
    else if (onCancel && !event.isAutoRepeat())
        onCancel();
}

void QueryTextView::pressReturn(const QKeyEvent& event)
{
    if (isComposing()) {
        // It only says that the composition is right.
        QGuiApplication::inputMethod()->commit();
        return;
    }
    if ((event.modifiers() & (Qt::ShiftModifier | Qt::AltModifier)) != 0) {
        if (!isReadOnly()) {
            textCursor().insertText(QStringLiteral("\n"));
            ensureCursorVisible();
        }
        return;
    }
    if (hasContent()) {
        hasSubmittedByPress_ = true;
        if (onSubmit)
            onSubmit();
    } else if (!event.isAutoRepeat()) {
        hasSubmittedByPress_ = false;
        // The other one of the two is of no interest meanwhile.
        if (std::exchange(heldEmptyEnter_, heldEmptyEnter_.value_or(event.key())))
            return;
        if (onEmptyEnterPressBegan)
            onEmptyEnterPressBegan();
    }
}

void QueryTextView::keyReleaseEvent(QKeyEvent* event)
{
    if (!isReturnKey(*event)) {
        QTextEdit::keyReleaseEvent(event);
        return;
    }
    if (event->isAutoRepeat())
        return;
    if (heldEmptyEnter_ && *heldEmptyEnter_ != event->key())
        return;
    heldEmptyEnter_.reset();
    if (std::exchange(hasSubmittedByPress_, false))
        return;
    if (!hasContent() && onEmptyEnterPressEnded)
        onEmptyEnterPressEnded();
    else
        QTextEdit::keyReleaseEvent(event);
}

void QueryTextView::focusOutEvent(QFocusEvent* event)
{
    QTextEdit::focusOutEvent(event);
    if (std::exchange(heldEmptyEnter_, std::nullopt) && onEmptyEnterPressEnded)
        onEmptyEnterPressEnded();
}

void QueryTextView::inputMethodEvent(QInputMethodEvent* event)
{
    QTextEdit::inputMethodEvent(event);
    // The latest filter comes first, before that of an overlay, which takes every Escape.
    qApp->removeEventFilter(this);
    if (isComposing())
        qApp->installEventFilter(this);
    if (onCompositionChange)
        onCompositionChange();
}

bool QueryTextView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != this || event->type() != QEvent::KeyPress || !isComposing())
        return QTextEdit::eventFilter(watched, event);
    const auto& key = static_cast<const QKeyEvent&>(*event);
    if (key.key() != Qt::Key_Escape)
        return false;
    pressEscape(key);
    return true;
}

bool QueryTextView::canInsertFromMimeData(const QMimeData* source) const
{
    return source->hasText();
}

void QueryTextView::insertFromMimeData(const QMimeData* source)
{
    if (isReadOnly())
        return;
    textCursor().insertText(source->text());
    ensureCursorVisible();
}

void QueryTextView::wheelEvent(QWheelEvent* event)
{
    // With Control a text that cannot be edited would change its size.
    if (!event->modifiers().testFlag(Qt::ControlModifier))
        QTextEdit::wheelEvent(event);
}

void QueryTextView::contextMenuEvent(QContextMenuEvent* event)
{
    PanelMenu* menu = makeMenu ? makeMenu(this) : nullptr;
    if (menu == nullptr)
        return;
    const bool hasSelection = textCursor().hasSelection();
    const bool canEdit = !isReadOnly();
    const auto add = [&](const QString& title, void (QTextEdit::*act)(), bool isEnabled) {
        menu->addAction(title, this, [this, act] { (this->*act)(); })->setEnabled(isEnabled);
    };
    add(QStringLiteral("Undo"), &QTextEdit::undo, canEdit && document()->isUndoAvailable());
    add(QStringLiteral("Redo"), &QTextEdit::redo, canEdit && document()->isRedoAvailable());
    menu->addSeparator();
    add(QStringLiteral("Cut"), &QTextEdit::cut, canEdit && hasSelection);
    add(QStringLiteral("Copy"), &QTextEdit::copy, hasSelection);
    add(QStringLiteral("Paste"), &QTextEdit::paste, canEdit && canPaste());
    menu->addSeparator();
    add(QStringLiteral("Select All"), &QTextEdit::selectAll, !document()->isEmpty());
    menu->popupAt(QRect(event->globalPos(), QSize()), 0);
}

} // namespace velmo
