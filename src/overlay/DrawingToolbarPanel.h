#pragma once

#include "core/AnnotationSession.h"

#include <QWidget>

namespace velmo {

/// The floating row of buttons near the bottom of the main screen: "Done →" where the user confirms the
/// drawing, and cancelling. It never takes the input focus. Main thread.
class DrawingToolbarPanel final : public QWidget {
public:
    /// Screen geometry in the toolkit's global coordinates.
    DrawingToolbarPanel(AnnotationSession& session, const QRect& screenGeometry);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace velmo
