#pragma once

#include "widgets/FadingButton.h"
#include "widgets/FocusRing.h"

class QShortcut;

namespace velmo {

/// A button of our ordinary windows, in the desktop's scheme as it is at the moment. Its window's FocusRing
/// shows that it has the keyboard. Main thread.
class PushButton final : public FadingButton, public FocusRingTarget {
public:
    enum class Kind {
        Normal,
        Primary,    ///< What the window is for.
        Borderless, ///< A quiet word, underlined under the pointer.
        Link,       ///< The same in the accent colour.
    };

    PushButton(Kind kind, const QString& title, QWidget* parent = nullptr);

    /// Its accessible name is the title.
    void setTitle(const QString& title);

    /// Return and Enter press it wherever the keyboard is in its window, while it is shown and enabled.
    void setDefault(bool isDefault);
    [[nodiscard]] bool isDefault() const { return !returnKeys_.isEmpty(); }

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }
    [[nodiscard]] FocusRingShape focusRingShape() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] bool hasGround() const { return kind_ == Kind::Normal || kind_ == Kind::Primary; }

    const Kind kind_;
    const double textScale_;
    QList<QShortcut*> returnKeys_;
};

} // namespace velmo
