#pragma once

#include <QString>
#include <QWidget>

namespace velmo {

/// The name of a key, in a small frame. Main thread.
class KeyBadgeView final : public QWidget {
public:
    explicit KeyBadgeView(const QString& label, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString label_;
};

} // namespace velmo
