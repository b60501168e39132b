#include "panel/AutoSizingTextView.h"

#include "panel/PanelMenu.h"
#include "panel/QueryPanelTheme.h"
#include "panel/TextViewAccessible.h"

#include <QAccessible>
#include <QClipboard>
#include <QDeadlineTimer>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleHints>
#include <cmath>

namespace velmo {

namespace {

/// Half a frame: the rest of a very long text comes in the frames after this one.
constexpr std::chrono::milliseconds kLayoutBudget{6};
constexpr std::chrono::milliseconds kSelectionScroll{50};

} // namespace

AutoSizingTextView::AutoSizingTextView(int verticalInset, QWidget* parent)
    : QWidget(parent)
    , verticalInset_(verticalInset)
    , textColor_(QueryPanelTheme::text())
{
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setCursor(Qt::IBeamCursor);
    selectionScroll_.setInterval(kSelectionScroll);
    selectionScroll_.callOnTimeout([this] { extendSelectionTo(mapFromGlobal(QPointF(QCursor::pos()))); });
}

void AutoSizingTextView::replaceFrom(qsizetype position, const markdown::StyledText& whole)
{
    const QString removed = QAccessible::isActive() ? layout_.textView().mid(position).toString() : QString();
    const double unchanged = layout_.replaceFrom(position, whole);
    selection_.trimTo(position);
    findLinks(position);
    layOutSome();
    announceTextChange(*this, position, removed, layout_.textView().mid(position));
    update(QRectF(0, verticalInset_ + std::floor(unchanged), width(), height() + layout_.height())
               .toAlignedRect());
}

void AutoSizingTextView::setText(const markdown::StyledText& whole)
{
    const markdown::StyledText& shown = layout_.text();
    const std::size_t common = std::min(shown.text.size(), whole.text.size());
    const auto text = std::mismatch(
        shown.text.begin(), shown.text.begin() + static_cast<std::ptrdiff_t>(common), whole.text.begin());
    const auto styles =
        std::mismatch(shown.styles.begin(), shown.styles.begin() + static_cast<std::ptrdiff_t>(common),
                      whole.styles.begin());
    auto same = std::min(text.first - shown.text.begin(), styles.first - shown.styles.begin());
    if (same == static_cast<qsizetype>(shown.text.size()) && shown.text.size() == whole.text.size())
        return;
    // A character outside the basic plane stays in one piece.
    if (same > 0 && QChar(shown.text[static_cast<std::size_t>(same) - 1]).isHighSurrogate())
        --same;
    replaceFrom(same, whole);
}

void AutoSizingTextView::layOutSome()
{
    const bool isComplete = layout_.layOut(QDeadlineTimer(kLayoutBudget));
    if (isComplete || std::exchange(continuesLater_, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            continuesLater_ = false;
            const double before = layout_.height();
            layOutSome();
            if (layout_.height() != before && onHeightChange)
                onHeightChange();
            update();
        },
        Qt::QueuedConnection);
}

void AutoSizingTextView::findLinks(qsizetype changedFrom)
{
    // An address that ended before may go on now, and a change may make one of what stood before it.
    const QStringView text = layout_.textView();
    qsizetype from = std::min(changedFrom, text.size());
    while (from > 0 && !text.at(from - 1).isSpace() && changedFrom - from < kLongestWebLink)
        --from;
    std::erase_if(links_, [from](const WebLink& link) { return link.end > from; });
    const auto found = findWebLinks(text, from);
    links_.insert(links_.end(), found.begin(), found.end());
}

bool AutoSizingTextView::isOpen(const WebLink& link) const
{
    constexpr qsizetype kPunctuation = 8;
    const QStringView rest = layout_.textView().mid(link.end);
    return isGrowing_ && rest.size() < kPunctuation &&
           std::ranges::none_of(rest, [](QChar unit) { return unit.isSpace(); });
}

void AutoSizingTextView::setTextColor(const QColor& color)
{
    if (textColor_ == color)
        return;
    textColor_ = color;
    update();
}

void AutoSizingTextView::setGrowing(bool growing)
{
    if (std::exchange(isGrowing_, growing) == growing)
        return;
    announceBusy(*this);
    update();
}

void AutoSizingTextView::setContainerWidth(int width)
{
    if (layout_.width() == width)
        return;
    layout_.setWidth(width);
    layOutSome();
    update();
}

int AutoSizingTextView::usedWidth() const
{
    return static_cast<int>(std::ceil(layout_.usedWidth()));
}

int AutoSizingTextView::intrinsicHeight() const
{
    return static_cast<int>(std::ceil(layout_.height() + 2.0 * verticalInset_));
}

QSize AutoSizingTextView::sizeHint() const
{
    return {usedWidth(), intrinsicHeight()};
}

QString AutoSizingTextView::selectedText() const
{
    return layout_.textView().mid(selection_.begin(), selection_.end() - selection_.begin()).toString();
}

void AutoSizingTextView::select(qsizetype anchor, qsizetype cursor)
{
    const qsizetype size = layout_.size();
    selection_.set(std::clamp<qsizetype>(anchor, 0, size), std::clamp<qsizetype>(cursor, 0, size));
    update();
    announceTextSelection(*this);
}

void AutoSizingTextView::selectAll()
{
    beginSelecting();
    select(0, layout_.size());
    offerSelection();
}

void AutoSizingTextView::beginSelecting() const
{
    if (onSelect)
        onSelect();
}

void AutoSizingTextView::copy() const
{
    if (!selection_.isEmpty())
        QGuiApplication::clipboard()->setText(selectedText());
}

/// For a paste with the middle button.
void AutoSizingTextView::offerSelection() const
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (clipboard->supportsSelection() && !selection_.isEmpty())
        clipboard->setText(selectedText(), QClipboard::Selection);
}

qsizetype AutoSizingTextView::positionAt(QPointF point) const
{
    return layout_.positionAt(textPoint(point));
}

QRectF AutoSizingTextView::cursorRectangle(qsizetype position) const
{
    return layout_.cursorRectangle(position).translated(0, verticalInset_);
}

std::vector<QRectF> AutoSizingTextView::rectanglesOf(qsizetype begin, qsizetype end) const
{
    auto rectangles = layout_.rectanglesOf(begin, end);
    for (QRectF& rectangle : rectangles)
        rectangle.translate(0, verticalInset_);
    return rectangles;
}

QUrl AutoSizingTextView::linkAt(QPointF point) const
{
    // The position is that of the nearest gap, which may be the one behind the link.
    const qsizetype position = positionAt(point);
    const auto link = std::ranges::lower_bound(links_, position, {}, &WebLink::end);
    if (link == links_.end() || link->begin > position || isOpen(*link))
        return {};
    const auto rectangles = rectanglesOf(link->begin, link->end);
    const bool isHit =
        std::ranges::any_of(rectangles, [point](const QRectF& line) { return line.contains(point); });
    return isHit ? webAddress(layout_.textView().mid(link->begin, link->end - link->begin)) : QUrl();
}

void AutoSizingTextView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const QRectF clip = QRectF(event->rect()).translated(0, -verticalInset_);
    painter.translate(0, verticalInset_);
    const auto [firstShown, lastShown] = layout_.rangeBetween(clip.top(), clip.bottom());
    for (const QRectF& line : layout_.rectanglesOf(std::max(selection_.begin(), firstShown),
                                                   std::min(selection_.end(), lastShown)))
        painter.fillRect(line, QueryPanelTheme::selection());
    painter.setPen(textColor_);
    layout_.draw(painter, clip);
    painter.setRenderHint(QPainter::Antialiasing, false);
    for (const WebLink& link : links_) {
        if (link.end <= firstShown || link.begin > lastShown || isOpen(link))
            continue;
        for (const QRectF& line : layout_.rectanglesOf(link.begin, link.end)) {
            constexpr double kBelowMiddle = 7;
            painter.fillRect(
                QRectF(line.left(), std::round(line.center().y() + kBelowMiddle), line.width(), 1),
                QueryPanelTheme::linkUnderline());
        }
    }
}

bool AutoSizingTextView::event(QEvent* event)
{
    // Keys that are shortcuts elsewhere are meant for the text while it has the focus.
    if (event->type() == QEvent::ShortcutOverride) {
        const auto& key = static_cast<const QKeyEvent&>(*event);
        if (key.matches(QKeySequence::Copy) || key.matches(QKeySequence::SelectAll))
            event->accept();
    }
    // The panel shows them in its own look.
    if (event->type() == QEvent::ToolTip)
        return false;
    return QWidget::event(event);
}

void AutoSizingTextView::updatePointer(QPointF point)
{
    const QUrl link = linkAt(point);
    if (std::exchange(hoveredLink_, link) == link)
        return;
    setCursor(link.isValid() ? Qt::PointingHandCursor : Qt::IBeamCursor);
    setToolTip(link.isValid() ? link.toDisplayString() : QString());
}

void AutoSizingTextView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    pressedLink_ = linkAt(event->position());
    isSelecting_ = true;
    beginSelecting();
    const QStringView text = layout_.textView();
    const auto doubleClick = std::exchange(doubleClickedAt_, std::nullopt);
    const auto interval = static_cast<quint64>(QGuiApplication::styleHints()->mouseDoubleClickInterval());
    const bool isThird = doubleClick && event->timestamp() - *doubleClick < interval;
    if (event->modifiers().testFlag(Qt::ShiftModifier))
        selection_.extendTo(text, positionAt(event->position()));
    else
        selection_.beginWith(text, positionAt(event->position()),
                             isThird ? TextSelection::Unit::Paragraph : TextSelection::Unit::Character);
    update();
}

void AutoSizingTextView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    doubleClickedAt_ = event->timestamp();
    pressedLink_.clear();
    isSelecting_ = true;
    const qsizetype character =
        layout_.positionAt(textPoint(event->position()), QTextLine::CursorOnCharacter);
    selection_.beginWith(layout_.textView(), character, TextSelection::Unit::Word);
    update();
}

void AutoSizingTextView::mouseMoveEvent(QMouseEvent* event)
{
    if (isSelecting_)
        extendSelectionTo(event->position());
    else
        updatePointer(event->position());
}

void AutoSizingTextView::extendSelectionTo(QPointF point)
{
    selection_.extendTo(layout_.textView(), positionAt(point));
    // A pointer that rests beyond what is shown goes on selecting.
    if (!visibleRegion().boundingRect().contains(point.toPoint()))
        selectionScroll_.start();
    else
        selectionScroll_.stop();
    update();
    if (onReveal)
        onReveal(QRectF(0, point.y(), 1, 1).toAlignedRect());
}

void AutoSizingTextView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !std::exchange(isSelecting_, false))
        return;
    selectionScroll_.stop();
    select(selection_.anchor(), selection_.cursor());
    offerSelection();
    announceTextSelection(*this);
    const QUrl link = std::exchange(pressedLink_, QUrl());
    if (link.isValid() && selection_.isEmpty() && linkAt(event->position()) == link && onOpenLink)
        onOpenLink(link);
}

void AutoSizingTextView::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Copy))
        copy();
    else if (event->matches(QKeySequence::SelectAll))
        selectAll();
    else if (!selectByKey(*event))
        event->ignore();
}

bool AutoSizingTextView::selectByKey(const QKeyEvent& event)
{
    using Unit = TextSelection::Unit;
    const QStringView text = layout_.textView();
    const qsizetype from = selection_.cursor();
    const QRectF line = cursorRectangle(from);
    qsizetype to = 0;
    if (event.matches(QKeySequence::SelectNextChar))
        to = TextSelection::stepFrom(text, from, 1, Unit::Character);
    else if (event.matches(QKeySequence::SelectPreviousChar))
        to = TextSelection::stepFrom(text, from, -1, Unit::Character);
    else if (event.matches(QKeySequence::SelectNextWord))
        to = TextSelection::stepFrom(text, from, 1, Unit::Word);
    else if (event.matches(QKeySequence::SelectPreviousWord))
        to = TextSelection::stepFrom(text, from, -1, Unit::Word);
    else if (event.matches(QKeySequence::SelectNextLine))
        to = positionAt({line.left(), line.bottom() + line.height() / 2});
    else if (event.matches(QKeySequence::SelectPreviousLine))
        to = positionAt({line.left(), line.top() - line.height() / 2});
    else if (event.matches(QKeySequence::SelectStartOfLine))
        to = positionAt({-1, line.center().y()});
    else if (event.matches(QKeySequence::SelectEndOfLine))
        to = positionAt({layout_.width() + 1, line.center().y()});
    else if (event.matches(QKeySequence::SelectEndOfDocument))
        to = text.size();
    else if (!event.matches(QKeySequence::SelectStartOfDocument))
        return false;
    beginSelecting();
    select(selection_.anchor(), to);
    offerSelection();
    if (onReveal)
        onReveal(cursorRectangle(to).toAlignedRect().adjusted(0, 0, 1, 0));
    return true;
}

void AutoSizingTextView::focusInEvent(QFocusEvent* event)
{
    // Whoever comes back from a menu or another window finds the text where it was.
    const bool isToBeSeen = event->reason() == Qt::TabFocusReason ||
                            event->reason() == Qt::BacktabFocusReason ||
                            event->reason() == Qt::ShortcutFocusReason ||
                            event->reason() == Qt::OtherFocusReason; // By assistive technology.
    if (isToBeSeen && onReveal)
        onReveal(rect());
}

} // namespace velmo
