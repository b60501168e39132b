#include "panel/QueryPanelController.h"

#include "core/DebugLog.h"
#include "panel/CardMetrics.h"
#include "panel/QueryInputPanel.h"
#include "panel/QueryPanelContentView.h"
#include "widgets/ToolkitSpace.h"

#include <QRegion>
#include <algorithm>

namespace velmo {

namespace {

constexpr double kDockClearance = 16;

void log(const QString& message)
{
    DebugLog::log(QStringLiteral("QueryPanel"), message);
}

QString whole(double value)
{
    return QString::number(wholeNumber(value));
}

std::optional<Screen> chooseScreen(const std::optional<Screen>& given, const Screens& screens)
{
    if (given)
        return given;
    if (auto main = screens.main())
        return main;
    const auto all = screens.all();
    return all.empty() ? std::nullopt : std::optional(all.front());
}

bool isCovered(const QRect& area, const std::vector<Screen>& screens)
{
    QRegion outside(area);
    for (const Screen& screen : screens)
        outside -= toolkitSpace().toQt(screen.frame).toRect();
    return outside.isEmpty();
}

/// Nothing for users without a key for it.
std::shared_ptr<ReplicateWhisperService> makeTranscriptionService(const AnnotationSession& session,
                                                                  const PanelDesktop& desktop)
{
    const auto settings = session.settings();
    if (!settings || !desktop.makeTranscriptionService)
        return nullptr;
    const QString key = settings->effectiveKey(KeychainAccount::Replicate).value_or(QString());
    return key.isEmpty() ? nullptr
                         : desktop.makeTranscriptionService(key, settings->replicateModelVersion.value());
}

} // namespace

QueryPanelController::QueryPanelController(AnnotationSession& session, const std::optional<Screen>& screen,
                                           const PanelDesktop& desktop)
    : desktop_(desktop)
{
    auto* panel =
        new QueryInputPanel(place(chooseScreen(screen, desktop.screens).value_or(Screen{})), desktop.windows);
    panel->onScreensChanged = [this] { followScreens(); };
    panel->onEscape = [&session] { session.cancel(); };
    transcriptionService_ = makeTranscriptionService(session, desktop);
    // The content lives inside the panel, so it never calls one that is gone.
    auto* content = new QueryPanelContentView(session, desktop, transcriptionService_,
                                              [panel](int height) { panel->animateHeight(height); });
    panel->setCard(content);
    panel_ = panel;
    contentViewBridge_ = content;
}

QueryPanelController::~QueryPanelController()
{
    close();
}

QPoint QueryPanelController::place(const Screen& screen)
{
    screen_ = screen;
    const ScreenRect visible = screen.visibleFrame;
    log(QStringLiteral("screen=") + describe(screen.frame) + QStringLiteral(" visibleFrame=") +
        describe(visible));
    const ScreenPoint origin{visible.midX() - CardMetrics::kWidth / 2.0, visible.minY() + kDockClearance};
    log(QStringLiteral("panel origin=(") + whole(origin.x) + QStringLiteral(", ") + whole(origin.y) +
        QStringLiteral(") size=") + QString::number(CardMetrics::kWidth) + u'x' +
        QString::number(CardMetrics::kMinimumHeight));
    log(QStringLiteral("dock clearance: panelBottom=") + whole(origin.y) + QStringLiteral(" dockTop=") +
        whole(visible.minY()) + QStringLiteral(" gap=") + whole(origin.y - visible.minY()) +
        QStringLiteral("pt"));
    placed_ = toolkitSpace().toQt(origin).toPoint();
    return placed_;
}

/// A screen that is unplugged, or becomes smaller, must not take the panel with it. Where the user has
/// dragged it to, it stays as long as it can be seen there and its screen is the same.
void QueryPanelController::followScreens()
{
    QueryInputPanel* panel = panel_.data();
    const auto all = desktop_.screens.all();
    if (!panel || all.empty())
        return;
    const auto same = std::ranges::find(all, screen_.name, &Screen::name);
    const bool isSame = same != all.end() && same->frame == screen_.frame;
    const bool wasDragged = panel->cardBottomLeft() != placed_;
    // Where it rests: while it comes in, it is lower.
    const QSize size = panel->cardFrame().size();
    const QRect card(panel->cardBottomLeft() - QPoint(0, size.height()), size);
    if (isSame && (wasDragged || same->visibleFrame == screen_.visibleFrame) && isCovered(card, all))
        return;
    const auto next = same != all.end() ? std::optional(*same) : chooseScreen({}, desktop_.screens);
    panel->moveCard(place(next.value_or(screen_)));
}

void QueryPanelController::showWindow()
{
    QueryInputPanel* panel = panel_.data();
    if (!panel)
        return;
    // The content is the panel's, so it is there whenever the panel has come in.
    panel->enter([panel, view = contentViewBridge_.data()] {
        panel->takeKeyboard();
        view->focusField();
    });
    desktop_.windows.keepManagedOnTop();
    // At once and not after the entrance: what is typed meanwhile belongs to the question. The field comes
    // first, so that it has the very first key.
    focusInput();
    panel->takeKeyboard();
}

void QueryPanelController::close()
{
    if (QueryPanelContentView* view = contentViewBridge_.data())
        view->detach();
    if (QueryInputPanel* panel = panel_.data()) {
        panel->onScreensChanged = {};
        panel->leaveAndDelete();
    }
    panel_ = nullptr;
}

void QueryPanelController::focusInput()
{
    QueryPanelContentView* view = contentViewBridge_.data();
    if (view && panel_)
        view->focusField();
}

void QueryPanelController::hideWindow()
{
    if (QueryInputPanel* panel = panel_.data())
        panel->stepAside();
}

void QueryPanelController::bringToFront()
{
    QueryInputPanel* panel = panel_.data();
    if (!panel)
        return;
    panel->comeBack();
    desktop_.windows.keepManagedOnTop();
    focusInput();
    panel->takeKeyboard();
}

bool QueryPanelController::isWindowVisible() const
{
    const QueryInputPanel* panel = panel_.data();
    return panel && panel->isVisible();
}

} // namespace velmo
