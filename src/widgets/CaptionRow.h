#pragma once

#include <QWidget>

namespace velmo {

class TextLabel;

/// A row of a form that explains those above it. Main thread.
class CaptionRow final : public QWidget {
public:
    explicit CaptionRow(const QString& text, QWidget* parent = nullptr);

    void setText(const QString& text);

private:
    TextLabel* label_;
};

} // namespace velmo
