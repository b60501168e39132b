#pragma once

#include "widgets/WindowAccessible.h"

#include <QWidget>

class QAbstractButton;
class QHBoxLayout;
class QVBoxLayout;

namespace velmo {

class TextLabel;

/// One line of a form: what it is about at the left, and controls at the right. It grows with its notes. Main
/// thread.
class FormRow final : public QWidget, public DescribedWidget {
public:
    explicit FormRow(const QString& title, QWidget* parent = nullptr);

    /// At the right end, that far from the control before it.
    void addControl(QWidget* control, int gap);
    /// At the right end, named by the row's title, which can be clicked in its place.
    void addTitledControl(QAbstractButton* control);
    /// Below the title, in as many lines as it takes.
    void addNote(QWidget* note);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    [[nodiscard]] bool isOnTitle(const QMouseEvent& event) const;

    QHBoxLayout* line_;
    QVBoxLayout* texts_;
    TextLabel* title_;
    QAbstractButton* titled_ = nullptr;
};

} // namespace velmo
