#pragma once

#include <QWidget>
#include <memory>
#include <vector>

namespace velmo {

class QueryChatMessageView;

/// Rows one below the other, of which each has its own height. They live in pages of a few, since the toolkit
/// looks at every sibling of a widget that changes. A change costs the rows of its page and the pages below.
/// Main thread.
class TranscriptStack final : public QWidget {
public:
    static constexpr int kSpacing = 12;

    using QWidget::QWidget;
    void append(QueryChatMessageView& row);
    /// Takes the row out; its owner deletes it.
    void remove(QueryChatMessageView& row);
    /// The row's height may have changed.
    void layOutFrom(const QueryChatMessageView& row);
    [[nodiscard]] int fittingHeight() const;
    [[nodiscard]] std::vector<QueryChatMessageView*> rows() const;

private:
    struct Page {
        std::unique_ptr<QWidget> widget;
        std::vector<QueryChatMessageView*> rows;
    };

    [[nodiscard]] std::size_t pageOf(const QueryChatMessageView& row) const;
    void layOutPage(Page& page) const;
    void placePagesFrom(std::size_t index);

    std::vector<Page> pages_;
};

} // namespace velmo
