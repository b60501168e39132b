#pragma once

#include "core/AnnotationSession.h"
#include "panel/PanelDesktop.h"

#include <QPointer>

namespace velmo {

class QueryInputPanel;
class QueryPanelContentView;

/// Owns the window of question and answer: places it, animates it, and gives it the keyboard. Main thread.
class QueryPanelController final : public QuestionPanel {
public:
    /// Without a screen the main one is used, else the first. The session outlives it.
    QueryPanelController(AnnotationSession& session, const std::optional<Screen>& screen,
                         const PanelDesktop& desktop);
    ~QueryPanelController() override;

    void showWindow() override;
    void close() override;
    void focusInput() override;
    void hideWindow() override;
    void bringToFront() override;
    [[nodiscard]] bool isWindowVisible() const override;

private:
    PanelDesktop desktop_;
    QPointer<QueryInputPanel> panel_;
    QPointer<QueryPanelContentView> contentViewBridge_;
};

} // namespace velmo
