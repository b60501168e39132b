#pragma once

#include "widgets/FloatingWindow.h"

#include <QTimer>

namespace velmo {

/// A short help text beside the pointer, in the panel's look. Main thread.
class PanelToolTip final : public FloatingWindow {
public:
    /// Without a compositor there is no shadow.
    explicit PanelToolTip(bool isComposited);

    /// At a place in the toolkit's global coordinates, for a few seconds or until the next event of the user.
    void showText(QPoint at, const QString& text);
    [[nodiscard]] const QString& text() const { return text_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    int shadowMargin_;
    QString text_;
    QTimer life_;
};

} // namespace velmo
