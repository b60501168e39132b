#pragma once

#include <QAbstractButton>
#include <QVariantAnimation>

namespace velmo {

/// A control of the toolbar: it never takes the keyboard, and its ground changes softly under the pointer and
/// under a press. Main thread.
class ToolbarButton : public QAbstractButton {
protected:
    explicit ToolbarButton(QSize size);

    /// From 0, away from the pointer, to 1.
    [[nodiscard]] double hover() const { return hover_.currentValue().toDouble(); }
    /// From 0, let go, to 1.
    [[nodiscard]] double press() const { return press_.currentValue().toDouble(); }

    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    void fadeTo(QVariantAnimation& progress, double end);

    QVariantAnimation hover_;
    QVariantAnimation press_;
};

/// A symbol on a ground that shows whether the tool is selected.
class SymbolButton final : public ToolbarButton {
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
class ColorSwatchButton final : public ToolbarButton {
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
class DoneButton final : public ToolbarButton {
public:
    DoneButton();

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velmo
