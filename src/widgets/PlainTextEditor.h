#pragma once

#include <QTextEdit>
#include <functional>

namespace velmo {

/// Several lines of plain text, without a box of their own. They scroll by themselves; a turn of the wheel
/// that they have no use for goes on to what is around. Main thread.
class PlainTextEditor final : public QTextEdit {
public:
    explicit PlainTextEditor(const QString& accessibleName, QWidget* parent = nullptr);

    /// Told the whole text after each change by the user, as typed.
    std::function<void(const QString& text)> onEdit;

    /// Shows that text in place of what is there, which cannot be undone. Nobody is told.
    void showText(const QString& text);
    /// As it was typed: spaces stay what they are, and lines end with a line feed.
    [[nodiscard]] QString text() const;

private:
    QString known_; ///< What the text was when it was last shown or told.
};

} // namespace velmo
