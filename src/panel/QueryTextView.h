#pragma once

#include <QTextEdit>
#include <functional>
#include <optional>

namespace velmo {

class PanelMenu;

/// The editable text inside the question field: plain text, with the keys of a question. Main thread.
class QueryTextView final : public QTextEdit {
public:
    explicit QueryTextView(QWidget* parent = nullptr);

    std::function<void()> onSubmit;
    std::function<void()> onCancel;
    /// Return is pressed, and comes up again, while there is nothing to send. Repeats of a held key count for
    /// neither, nor does the release of the press that has sent a question. A key that is held when the
    /// keyboard goes elsewhere has come up with that, since the rest will not be told here.
    std::function<void()> onEmptyEnterPressBegan;
    std::function<void()> onEmptyEnterPressEnded;
    std::function<void()> onCompositionChange;    ///< An input method has changed what it composes.
    std::function<PanelMenu*(QWidget*)> makeMenu; ///< A menu that deletes itself when it closes.

    /// Without white space and line breaks at its ends; otherwise as it was typed.
    [[nodiscard]] QString trimmedText() const;
    /// Whether there is anything but white space.
    [[nodiscard]] bool hasContent() const;
    /// An input method is composing text that is not in the document yet.
    [[nodiscard]] bool isComposing() const;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void inputMethodEvent(QInputMethodEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;
    void wheelEvent(QWheelEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void pressReturn(const QKeyEvent& event);
    void pressEscape(const QKeyEvent& event);

    bool hasSubmittedByPress_ = false;  ///< The key that is down now has sent a question.
    std::optional<int> heldEmptyEnter_; ///< Which of the two keys is held in an empty field.
};

} // namespace velmo
