#pragma once

#include "core/AnnotationSession.h"
#include "overlay/DrawingState.h"
#include "overlay/ToolbarButtons.h"

#include <QWidget>
#include <map>
#include <vector>

namespace velmo {

/// The row of tools, colours and buttons: it selects for the canvas, confirms the drawing and cancels.
/// Whether it has "Done →" is decided when it is made. Main thread.
class DrawingToolbarContentView final : public QWidget {
public:
    static constexpr QSize kSize{420, 56};
    static constexpr double kCornerRadius = 12;

    /// The session outlives it.
    DrawingToolbarContentView(std::shared_ptr<DrawingState> drawingState, AnnotationSession& session);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void setupLayout();
    void setupToolStack();
    void setupColorStack();
    void bindState();
    void refreshSelectionState();

    void toolPressed(const SymbolButton& sender);
    void colorPressed(const ColorSwatchButton& sender);
    void donePressed();
    void cancelPressed();

    std::shared_ptr<DrawingState> drawingState_;
    AnnotationSession& session_;
    QWidget* toolStack_ = nullptr;
    QWidget* colorStack_ = nullptr;
    std::map<DrawingTool, SymbolButton*> toolButtons_;
    std::vector<ColorSwatchButton*> colorButtons_; ///< In the order of the colour options.
    std::vector<Subscription> cancellables_;
};

} // namespace velmo
