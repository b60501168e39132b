#include "panel/TranscriptScrollView.h"

#include "panel/AutoSizingTextView.h"
#include "panel/CardMetrics.h"
#include "panel/GradientFadeView.h"
#include "panel/OverlayScroller.h"
#include "panel/QueryChatMessageView.h"
#include "panel/QueryPanelTheme.h"
#include "panel/TranscriptStack.h"

#include <QApplication>
#include <QScopedValueRollback>
#include <QWheelEvent>
#include <algorithm>

namespace velmo {

namespace {

constexpr int kInsetX = 24;
constexpr int kInsetY = 14;
constexpr int kFadeHeight = 20;
constexpr int kDividerHeight = 1;
constexpr int kAlmostAtEnd = 4;

/// Draws a line of one colour over the card's ground.
void fill(QWidget& line, const QColor& color)
{
    const QColor ground = QueryPanelTheme::background();
    QColor opaque = color;
    opaque.setAlphaF(1);
    QPalette palette;
    palette.setColor(QPalette::Window, blended(ground, opaque, color.alphaF()));
    line.setPalette(palette);
    line.setAutoFillBackground(true);
}

} // namespace

TranscriptScrollView::TranscriptScrollView(int width, Actions actions, QWidget* parent)
    : QScrollArea(parent)
    , actions_(std::move(actions))
    , documentView_(new QWidget)
    , stack_(new TranscriptStack(documentView_))
    , bottomFade_(new GradientFadeView(this))
    , divider_(new QWidget(this))
    , topEdge_(new QWidget(this))
    , scroller_(new OverlayScroller(*verticalScrollBar(), *this))
{
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName(QStringLiteral("Conversation"));
    divider_->setObjectName(QStringLiteral("divider"));
    QPalette clear;
    clear.setColor(QPalette::Window, Qt::transparent);
    setPalette(clear);
    stack_->setGeometry(kInsetX, kInsetY, width - 2 * kInsetX, 0);
    setWidget(documentView_);
    documentView_->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
    fill(*divider_, QueryPanelTheme::faintBorder());
    fill(*topEdge_, QueryPanelTheme::border());
    // Texts say themselves which part of them is to be seen. A window that is active again gives the keyboard
    // to who had it, and its reader stays where they are.
    connect(qApp, &QApplication::focusChanged, this, [this](const QWidget* before, QWidget* now) {
        if (before != nullptr && now != nullptr && documentView_->isAncestorOf(now) &&
            dynamic_cast<AutoSizingTextView*>(now) == nullptr)
            reveal(*now, now->rect());
    });
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] {
        if (!isAdjusting_)
            followsEnd_ = isAtEnd();
    });
}

bool TranscriptScrollView::isAtEnd() const
{
    return verticalScrollBar()->value() >= verticalScrollBar()->maximum() - kAlmostAtEnd;
}

void TranscriptScrollView::note(const TranscriptChange& change)
{
    switch (change.kind) {
    case TranscriptChange::Kind::Appended:
        // What the user asks is to be seen; so is what a capture of theirs became.
        if (change.message->role == ChatMessageRole::User)
            followsEnd_ = true;
        break;
    case TranscriptChange::Kind::Extended:
        if (!changes_.contains(change.id))
            changes_.insert(change.id, RowChange::Extended);
        break;
    case TranscriptChange::Kind::Replaced:
        changes_.insert(change.id, RowChange::Replaced);
        break;
    case TranscriptChange::Kind::Removed:
    case TranscriptChange::Kind::Cleared:
        hasRemovals_ = true;
        break;
    }
}

void TranscriptScrollView::refresh(const Transcript& transcript)
{
    followsEnd_ = followsEnd_ || isAtEnd();
    const QScopedValueRollback adjusting(isAdjusting_, true);
    if (std::exchange(hasRemovals_, false)) {
        for (auto entry = rows_.begin(); entry != rows_.end();) {
            if (transcript.find(entry.key())) {
                ++entry;
                continue;
            }
            QueryChatMessageView& row = *entry.value();
            entry = rows_.erase(entry);
            row.onHeightChange = {};
            stack_->remove(row);
            // Its own button may have asked for this.
            row.deleteLater();
        }
    }
    for (auto change = changes_.cbegin(); change != changes_.cend(); ++change) {
        QueryChatMessageView* row = rows_.value(change.key());
        const ChatMessage* message = transcript.find(change.key());
        if (row == nullptr || message == nullptr)
            continue;
        row->refresh(*message, change.value() == RowChange::Extended);
        stack_->layOutFrom(*row);
    }
    changes_.clear();
    // New messages come at the end.
    const auto& messages = transcript.messages();
    auto firstNew = messages.size();
    while (firstNew > 0 && !rows_.contains(messages.at(firstNew - 1).id))
        --firstNew;
    for (; firstNew < messages.size(); ++firstNew)
        stack_->append(*addRow(messages.at(firstNew)));
    sizeDocument();
}

QueryChatMessageView* TranscriptScrollView::addRow(const ChatMessage& message)
{
    std::function<void()> open;
    std::function<void()> remove;
    if (message.attachment)
        open = [this, attachment = *message.attachment] { actions_.openAttachment(attachment); };
    if (QueryChatMessageView::isRemovable(message))
        remove = [this, id = message.id] { actions_.removeAttachment(id); };
    auto* row =
        new QueryChatMessageView(message, stack_->width(), std::move(open), std::move(remove), stack_);
    rows_.insert(message.id, row);
    followRow(*row);
    return row;
}

void TranscriptScrollView::followRow(QueryChatMessageView& row)
{
    row.onHeightChange = [this, &row] {
        const QScopedValueRollback adjusting(isAdjusting_, true);
        stack_->layOutFrom(row);
        sizeDocument();
        actions_.heightChanged();
    };
    AutoSizingTextView& text = row.textView();
    text.onOpenLink = actions_.openLink;
    text.makeMenu = actions_.makeMenu;
    text.onReveal = [this, &text](const QRect& part) { reveal(text, part); };
    // One selection at a time, as in one text.
    text.onSelect = [this, &text] {
        for (const QueryChatMessageView* other : stack_->rows()) {
            if (&other->textView() != &text && !other->textView().selection().isEmpty())
                other->textView().clearSelection();
        }
    };
}

void TranscriptScrollView::reveal(const QWidget& view, const QRect& part)
{
    QScrollBar* bar = verticalScrollBar();
    const int top = view.mapTo(documentView_, part.topLeft()).y();
    const int bottom = top + part.height();
    const int shown = viewport()->height() - kFadeHeight;
    if (bottom > bar->value() + shown)
        bar->setValue(std::min(bottom - shown, std::max(top, 0)));
    if (top < bar->value())
        bar->setValue(top);
    scroller_->flash();
}

int TranscriptScrollView::fittingHeight() const
{
    return stack_->fittingHeight() + 2 * kInsetY;
}

void TranscriptScrollView::sizeDocument()
{
    const QScopedValueRollback adjusting(isAdjusting_, true);
    stack_->resize(stack_->width(), stack_->fittingHeight());
    documentView_->resize(std::max(viewport()->width(), 1), fittingHeight());
    if (followsEnd_)
        scrollToBottom();
}

void TranscriptScrollView::scrollToBottom()
{
    const QScopedValueRollback adjusting(isAdjusting_, true);
    followsEnd_ = true;
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void TranscriptScrollView::resizeEvent(QResizeEvent* event)
{
    const QScopedValueRollback adjusting(isAdjusting_, true);
    QScrollArea::resizeEvent(event);
    const int inner = width() - 2 * CardMetrics::kBorder;
    bottomFade_->setGeometry(CardMetrics::kBorder, height() - kFadeHeight, inner, kFadeHeight);
    topEdge_->setGeometry(CardMetrics::kCornerRadius, 0, width() - 2 * CardMetrics::kCornerRadius,
                          CardMetrics::kBorder);
    divider_->setGeometry(CardMetrics::kBorder, height() - kDividerHeight, inner, kDividerHeight);
    scroller_->setGeometry(width() - CardMetrics::kBorder - OverlayScroller::kWidth,
                           CardMetrics::kCornerRadius, OverlayScroller::kWidth,
                           std::max(height() - CardMetrics::kCornerRadius - kFadeHeight, 0));
    for (QWidget* above :
         {static_cast<QWidget*>(bottomFade_), divider_, topEdge_, static_cast<QWidget*>(scroller_)})
        above->raise();
    if (!isEmpty())
        sizeDocument();
}

void TranscriptScrollView::wheelEvent(QWheelEvent* event)
{
    QScrollArea::wheelEvent(event);
    scroller_->flash();
}

} // namespace velmo
