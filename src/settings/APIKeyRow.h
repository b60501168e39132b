#pragma once

#include "widgets/SecureField.h"

#include <QWidget>
#include <functional>

namespace velmo {

class PushButton;
class TextLabel;

/// One key: a field to type it in, or, once it is set, dots in its place. The stored key itself is never
/// shown, nor held here. Main thread.
class APIKeyRow final : public QWidget {
public:
    /// The title stands at the left; the label says the same at length, to assistive technology.
    APIKeyRow(const QString& title, const QString& label, QWidget* parent = nullptr);

    /// Save was pressed, or Return in the field; there is input then.
    std::function<void()> onSave;
    std::function<void()> onClear;

    [[nodiscard]] QString inputText() const { return field_->text(); }
    void forgetInput();

    [[nodiscard]] bool isSet() const { return isSet_; }
    void setIsSet(bool isSet);

    /// A line below, which assistive technology reads out; none if it is empty.
    void setNote(const QString& note);

private:
    [[nodiscard]] QWidget* makeEntry();
    [[nodiscard]] QWidget* makeMask();
    void save();
    void describe();

    const QString label_;
    SecureField* field_;
    PushButton* saveButton_;
    PushButton* clearButton_;
    TextLabel* dots_;
    QWidget* entry_;
    QWidget* mask_;
    TextLabel* note_;
    bool isSet_ = false;
};

} // namespace velmo
