#pragma once

#include "widgets/FadingButton.h"
#include "widgets/FocusRing.h"

namespace velmo {

/// A control of the panel. A click leaves the keyboard with the question; Tab brings it here. Main thread.
class PanelButton : public FadingButton, public FocusRingTarget {
public:
    [[nodiscard]] FocusRingShape focusRingShape() const override { return ring_; }

protected:
    PanelButton(const FocusRingShape& ring, QWidget* parent);

    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    FocusRingShape ring_;
};

/// A symbol in one colour.
class SymbolPanelButton : public PanelButton {
public:
    SymbolPanelButton(const QString& symbol, const QString& description, int size, QWidget* parent = nullptr);

    [[nodiscard]] const QColor& tint() const { return tint_; }
    void setTint(const QColor& rest, const QColor& hovered, const QColor& pressed);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString symbol_;
    QColor tint_;
    QColor hoveredTint_;
    QColor pressedTint_;
};

/// Sends the question.
class SendButton final : public SymbolPanelButton {
public:
    explicit SendButton(QWidget* parent = nullptr);
    /// With the colours that belong to it.
    void setCanSend(bool canSend);
};

/// A word to click on.
class TextButton final : public PanelButton {
public:
    explicit TextButton(const QString& title, QWidget* parent = nullptr);
    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A disc with a symbol in it.
class RoundIconButton final : public PanelButton {
public:
    RoundIconButton(const QString& symbol, const QString& description, int diameter,
                    QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    /// Acts on the press already.
    void mousePressEvent(QMouseEvent* event) override;

private:
    QString symbol_;
};

} // namespace velmo
