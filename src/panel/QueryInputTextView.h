#pragma once

#include "panel/QueryTextView.h"

#include <QColor>
#include <QLabel>
#include <QTimer>
#include <chrono>
#include <functional>
#include <optional>

namespace velmo {

/// The question field: text that grows with its content up to a limit and then scrolls, and a word about what
/// to write while there is none. Main thread.
class QueryInputTextView final : public QWidget {
public:
    static constexpr int kMinimumHeight = 28;
    static constexpr int kMaximumHeight = 92;

    explicit QueryInputTextView(QWidget* parent = nullptr);

    std::function<void()> onChange;
    std::function<void()> onSubmit;
    std::function<void()> onCancel;
    std::function<void()> onEmptyEnterPressBegan;
    std::function<void()> onEmptyEnterPressEnded;
    std::function<void()> onHeightChange;

    void configure(const QString& placeholder, const QColor& textColor, const QColor& placeholderColor);
    /// Shows another placeholder for so long. The last call counts.
    void showTemporaryPlaceholder(const QString& text, std::chrono::milliseconds duration);
    void updatePlaceholder();
    void recalculateHeight();

    /// The height that it wants, in points.
    [[nodiscard]] int currentIntrinsicHeight() const { return currentIntrinsicHeight_; }
    [[nodiscard]] QString trimmedText() const { return textView_->trimmedText(); }
    [[nodiscard]] bool hasContent() const { return textView_->hasContent(); }
    void clear() { textView_->clear(); }
    /// A field that cannot be edited is paler; it still takes keys.
    void setEditable(bool editable);

    [[nodiscard]] QueryTextView& textView() const { return *textView_; }
    [[nodiscard]] const QLabel& placeholderField() const { return *placeholderField_; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void applyColors();

    QueryTextView* textView_;
    QLabel* placeholderField_;
    QString defaultPlaceholder_;
    std::optional<QString> temporaryPlaceholderText_;
    QTimer temporaryPlaceholder_;
    QColor textColor_;
    QColor placeholderColor_;
    bool isEditable_ = true;
    int currentIntrinsicHeight_ = kMinimumHeight;
};

} // namespace velmo
