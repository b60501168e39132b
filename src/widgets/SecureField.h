#pragma once

#include <QLineEdit>
#include <functional>

namespace velmo {

/// A line for a secret: shown as dots, and given away neither by copying or dragging, nor to assistive
/// technology, nor by undoing what emptied it. It has no box of its own. Main thread.
class SecureField final : public QLineEdit {
public:
    explicit SecureField(const QString& accessibleName, QWidget* parent = nullptr);

    /// Return or Enter.
    std::function<void()> onReturn;

    /// Forgets what was typed, beyond undoing.
    void forget();
};

} // namespace velmo
