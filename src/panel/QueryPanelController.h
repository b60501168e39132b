#pragma once

#include "core/AnnotationSession.h"
#include "panel/PanelDesktop.h"

#include <QPointer>

namespace velmo {

class QueryInputPanel;
class QueryPanelContentView;

/// Runs the window of question and answer: places it, anew when the screens change, shows it, and gives it
/// the keyboard. The window lives on for the moment in which it fades away. Main thread.
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

    /// Turns speech into text for the panel's content. Null for users who have no key for it.
    [[nodiscard]] const std::shared_ptr<ReplicateWhisperService>& transcriptionService() const
    {
        return transcriptionService_;
    }

private:
    [[nodiscard]] QPoint place(const Screen& screen);
    void followScreens();

    PanelDesktop desktop_;
    Screen screen_; ///< That the panel was placed on, as it was then.
    QPoint placed_; ///< The lower left corner of the card there, in the toolkit's coordinates.
    std::shared_ptr<ReplicateWhisperService> transcriptionService_;
    QPointer<QueryInputPanel> panel_;
    QPointer<QueryPanelContentView> contentViewBridge_;
};

} // namespace velmo
