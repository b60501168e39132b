#pragma once

#include <QTextEdit>
#include <functional>

namespace velmo {

/// The question field: plain text that grows with its content, up to a limit. Main thread.
class QueryInputTextView final : public QTextEdit {
public:
    explicit QueryInputTextView(QWidget* parent = nullptr);

    /// Without white space and line breaks at its ends.
    [[nodiscard]] QString trimmedText() const { return toPlainText().trimmed(); }

    std::function<void()> onChange;
    std::function<void()> onSubmit;
    std::function<void()> onCancel;
    std::function<void()> onHeightChange;

    [[nodiscard]] int desiredHeight() const { return desiredHeight_; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void insertFromMimeData(const QMimeData* source) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void recalculateHeight();
    int desiredHeight_ = 28;
};

} // namespace velmo
