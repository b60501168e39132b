#pragma once

#include "widgets/WindowTheme.h"

#include <QString>
#include <QWidget>

namespace velmo {

/// A symbol in one of the windows' colours. Assistive technology does not read it out: the text beside it
/// says the same. Main thread.
class SymbolView final : public QWidget {
public:
    explicit SymbolView(int size, QWidget* parent = nullptr);

    void setSymbol(const QString& name, QColor WindowTheme::*color);
    [[nodiscard]] const QString& symbol() const { return name_; }
    [[nodiscard]] QColor tint() const { return WindowTheme::current().*color_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString name_;
    QColor WindowTheme::*color_ = &WindowTheme::accent;
};

} // namespace velmo
