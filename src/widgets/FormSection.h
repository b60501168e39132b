#pragma once

#include "widgets/WindowAccessible.h"

#include <QList>
#include <QWidget>

class QVBoxLayout;

namespace velmo {

/// Rows on a card, parted by lines, below a title. Hidden rows take no room. Main thread.
class FormSection : public QWidget, public DescribedWidget {
public:
    static constexpr int kRowHeight = 44;
    static constexpr int kRowInset = 14; ///< Between the card's sides and the contents of a row.

    explicit FormSection(const QString& title, QWidget* parent = nullptr);

    /// Takes the row over. Its height includes the line above it.
    void addRow(QWidget* row);

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    QVBoxLayout* layout_;
    QList<QWidget*> rows_;
};

} // namespace velmo
