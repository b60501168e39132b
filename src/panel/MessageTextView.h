#pragma once

#include "core/SessionTypes.h"
#include "markdown/IncrementalRenderer.h"
#include "panel/AutoSizingTextView.h"

#include <memory>

namespace velmo {

/// The text of one message: answers in their little Markdown, questions as they were typed. It is kept while
/// its message grows. Main thread.
class MessageTextView final : public QWidget {
public:
    static constexpr int kMinimumHeight = 20;

    /// Dimmed for a placeholder.
    MessageTextView(const QString& text, ChatMessageRole role, bool dimmed, QWidget* parent = nullptr);

    /// Shows another text.
    void setText(const QString& text, bool dimmed);
    /// Shows a text that goes on from the one shown.
    void extendTo(const QString& text);
    /// Whether more is to come.
    void setGrowing(bool growing) { textView_->setGrowing(growing); }

    /// Sets the width that lines may have at most; the view itself may be narrower.
    void setContainerWidth(int width) { textView_->setContainerWidth(width); }
    [[nodiscard]] int fittingHeight() const;
    [[nodiscard]] AutoSizingTextView& textView() const { return *textView_; }

    [[nodiscard]] static markdown::StyledText attributedPlainText(QStringView text);
    [[nodiscard]] static markdown::StyledText attributedAssistantText(QStringView text);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    ChatMessageRole role_;
    QWidget* shown_;                                          ///< What fills this view.
    AutoSizingTextView* textView_;                            ///< In it, or the same.
    std::unique_ptr<markdown::IncrementalRenderer> renderer_; ///< While an answer comes in pieces.
    qsizetype renderedLength_ = 0;                            ///< Of what the renderer was given.
};

} // namespace velmo
