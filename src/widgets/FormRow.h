#pragma once

#include "widgets/WindowAccessible.h"

#include <QWidget>

class QHBoxLayout;
class QVBoxLayout;

namespace velmo {

/// One line of a form: what it is about at the left, and controls at the right. It grows with its notes. Main
/// thread.
class FormRow final : public QWidget, public DescribedWidget {
public:
    explicit FormRow(const QString& title, QWidget* parent = nullptr);

    /// At the right end, that far from the control before it.
    void addControl(QWidget* control, int gap);
    /// Below the title, in as many lines as it takes.
    void addNote(QWidget* note);

private:
    QHBoxLayout* line_;
    QVBoxLayout* texts_;
};

} // namespace velmo
