#pragma once

#include "widgets/FadingButton.h"

namespace velmo {

/// A symbol on a ground that shows whether the tool is selected.
class SymbolButton final : public FadingButton {
public:
    SymbolButton(const QString& symbol, const QString& description, int size, int symbolSize);

    void setSelected(bool selected);
    [[nodiscard]] bool isSelected() const { return isSelected_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString symbol_;
    int symbolSize_;
    bool isSelected_ = false;
};

/// A disc in a stroke colour, ringed when selected.
class ColorSwatchButton final : public FadingButton {
public:
    ColorSwatchButton(const QColor& swatchColor, const QString& description);

    [[nodiscard]] const QColor& swatchColor() const { return swatchColor_; }
    void setSelected(bool selected);
    [[nodiscard]] bool isSelected() const { return isSelected_; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QColor swatchColor_;
    bool isSelected_ = false;
};

/// "Done →".
class DoneButton final : public FadingButton {
public:
    DoneButton();

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velmo
