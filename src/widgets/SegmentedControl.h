#pragma once

#include "widgets/WindowAccessible.h"

#include <QStringList>
#include <QWidget>
#include <functional>

class QAbstractButton;

namespace velmo {

/// A choice among a few pages, side by side. The chosen one is where the Tab key stops; arrow keys choose
/// another. Main thread.
class SegmentedControl final : public QWidget, public DescribedWidget {
public:
    explicit SegmentedControl(const QStringList& titles, QWidget* parent = nullptr);

    /// Told the segment that the user has chosen.
    std::function<void(int index)> onChoose;

    void setCurrentIndex(int index);
    /// −1 if there is none.
    [[nodiscard]] int currentIndex() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QList<QAbstractButton*> segments_;
};

} // namespace velmo
