#include "panel/TranscriptStack.h"

#include "panel/PanelPart.h"
#include "panel/QueryChatMessageView.h"

#include <algorithm>

namespace velmo {

namespace {

constexpr std::size_t kRowsOfPage = 16;

/// Below everything so far.
int nextTop(int bottom, bool isFirst)
{
    return isFirst ? 0 : bottom + TranscriptStack::kSpacing;
}

} // namespace

void TranscriptStack::append(QueryChatMessageView& row)
{
    if (pages_.empty() || pages_.back().rows.size() >= kRowsOfPage) {
        pages_.push_back({std::make_unique<QWidget>(this), {}});
        pages_.back().widget->show();
    }
    Page& page = pages_.back();
    page.rows.push_back(&row);
    row.setParent(page.widget.get());
    row.show();
    layOutFrom(row);
    announcePart(row, QAccessible::ObjectCreated);
}

void TranscriptStack::remove(QueryChatMessageView& row)
{
    announcePart(row, QAccessible::ObjectDestroyed);
    const std::size_t index = pageOf(row);
    Page& page = pages_.at(index);
    std::erase(page.rows, &row);
    row.hide();
    row.setParent(this);
    if (page.rows.empty())
        pages_.erase(pages_.begin() + static_cast<std::ptrdiff_t>(index));
    else
        layOutPage(page);
    placePagesFrom(index);
}

void TranscriptStack::layOutFrom(const QueryChatMessageView& row)
{
    const std::size_t index = pageOf(row);
    layOutPage(pages_.at(index));
    placePagesFrom(index);
}

std::size_t TranscriptStack::pageOf(const QueryChatMessageView& row) const
{
    // Nearly always the last one.
    const auto found = std::find_if(pages_.rbegin(), pages_.rend(), [&row](const Page& page) {
        return page.widget.get() == row.parentWidget();
    });
    return static_cast<std::size_t>(pages_.rend() - found) - 1;
}

void TranscriptStack::layOutPage(Page& page) const
{
    int bottom = 0;
    for (QueryChatMessageView* row : page.rows) {
        const int top = nextTop(bottom, row == page.rows.front());
        row->setGeometry(0, top, width(), row->fittingHeight());
        bottom = top + row->fittingHeight();
    }
    page.widget->resize(width(), bottom);
}

void TranscriptStack::placePagesFrom(std::size_t index)
{
    for (; index < pages_.size(); ++index) {
        const QWidget* above = index > 0 ? pages_[index - 1].widget.get() : nullptr;
        const int bottom = above != nullptr ? above->y() + above->height() : 0;
        pages_[index].widget->move(0, nextTop(bottom, above == nullptr));
    }
}

int TranscriptStack::fittingHeight() const
{
    return pages_.empty() ? 0 : pages_.back().widget->y() + pages_.back().widget->height();
}

std::vector<QueryChatMessageView*> TranscriptStack::rows() const
{
    std::vector<QueryChatMessageView*> all;
    for (const Page& page : pages_)
        all.insert(all.end(), page.rows.begin(), page.rows.end());
    return all;
}

} // namespace velmo
