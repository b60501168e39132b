#pragma once

#include "panel/AutoSizingTextView.h"

namespace velmo {

/// The styled text of an answer. Main thread.
class MarkdownMessageView final : public QWidget {
public:
    explicit MarkdownMessageView(const markdown::StyledText& attributedText, QWidget* parent = nullptr);

    [[nodiscard]] AutoSizingTextView& textView() const { return *textView_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    AutoSizingTextView* textView_;
};

} // namespace velmo
