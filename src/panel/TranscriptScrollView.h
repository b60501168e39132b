#pragma once

#include "core/Transcript.h"

#include <QHash>
#include <QScrollArea>
#include <functional>

namespace velmo {

class GradientFadeView;
class OverlayScroller;
class PanelMenu;
class QueryChatMessageView;
class TranscriptStack;

/// The chat, with one row a message. It stays at its end while it grows, unless the user has scrolled up to
/// read. Main thread.
class TranscriptScrollView final : public QScrollArea {
public:
    /// What rows ask for.
    struct Actions {
        std::function<void(const ChatAttachment&)> openAttachment;
        std::function<void(const QUuid&)> removeAttachment;
        std::function<void(const QUrl&)> openLink;
        std::function<PanelMenu*(QWidget*)> makeMenu;
        std::function<void()> heightChanged; ///< More of a long text has been laid out.
    };

    TranscriptScrollView(int width, Actions actions, QWidget* parent = nullptr);

    /// To be told of every change of the transcript, before or after it happens.
    void note(const TranscriptChange& change);
    /// Brings the rows up to date with the transcript.
    void refresh(const Transcript& transcript);

    /// Of all rows and the insets around them.
    [[nodiscard]] int fittingHeight() const;
    [[nodiscard]] bool isEmpty() const { return rows_.isEmpty(); }
    [[nodiscard]] QueryChatMessageView* row(const QUuid& id) const { return rows_.value(id); }
    [[nodiscard]] QWidget& documentView() { return *documentView_; }
    void scrollToBottom();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    enum class RowChange { Extended, Replaced };

    QueryChatMessageView* addRow(const ChatMessage& message);
    [[nodiscard]] bool isAtEnd() const;
    void sizeDocument();
    void followRow(QueryChatMessageView& row);
    void reveal(const QWidget& view, const QRect& part);

    Actions actions_;
    QWidget* documentView_;
    TranscriptStack* stack_;
    GradientFadeView* bottomFade_;
    QWidget* divider_;
    QWidget* topEdge_; ///< The card's border, above what scrolls.
    OverlayScroller* scroller_;
    QHash<QUuid, QueryChatMessageView*> rows_;
    QHash<QUuid, RowChange> changes_;
    bool hasRemovals_ = false;
    bool followsEnd_ = true;
    bool isAdjusting_ = false; ///< The position changes by our own doing.
};

} // namespace velmo
