#include "app/AppDelegate.h"

#include "core/Clock.h"
#include "core/DebugLog.h"
#include "core/async/WorkerPool.h"

#include <QCoreApplication>
#include <QWidget>
#include <utility>

namespace velmo {

namespace {

constexpr std::chrono::milliseconds kPermissionInterval{1000};
/// The panel's is 0.15 s.
constexpr std::chrono::milliseconds kLongestFade{200};
/// The session's way back to the user's window takes 0.2 s.
constexpr std::chrono::milliseconds kFarewell{300};
constexpr qint64 kPermissionsTab = 1;

void logPlatform(const QString& message)
{
    DebugLog::log(QStringLiteral("Platform"), message);
}

/// The log says who has the combination, the settings that the user cannot have it.
QString inWords(const QStringList& problems)
{
    return problems.join(u'\n').replace(kHeldByAnother, QStringLiteral(" is taken by another program."));
}

} // namespace

AppDelegate::AppDelegate(std::shared_ptr<SettingsManager> settings, DesktopServices& desktop,
                         std::function<HttpClient&()> http)
    : settings_(std::move(settings))
    , desktop_(desktop)
    , http_(std::move(http))
    , capture_(*desktop.displayCapture)
    , session_(collaborators())
    , updateController_(UpdateSource::builtIn(), QVersionNumber::fromString(QStringLiteral(VELMO_VERSION)),
                        updateCollaborators())
{
    stateSubscription_ = session_.state().subscribe([this](SessionState next) { followSessionState(next); });
    captureSubscription_ = session_.isPreparingCapture().subscribe([this](bool) { logDesktopDiagnostics(); });
}

AppDelegate::~AppDelegate()
{
    QObject::disconnect(aboutToQuit_);
    desktop_.screens->setChangeHandler({});
    menuBarController_.reset();
    stopHotkeyMonitor();
    session_.end();
    // Nobody reads the screen any more when the desktop goes.
    async::finishWorkers();
    desktop_.displayCapture->release();
}

void AppDelegate::applicationDidFinishLaunching(JsonFileDefaults& defaults, const LaunchOptions& options)
{
    options_ = options;
    DebugLog::reset();
    DebugLog::log(QStringLiteral("App"), QStringLiteral("Application did finish launching"));
    for (const QString& problem : defaults.takeProblems())
        logPlatform(problem);
    logDesktopDiagnostics();
    defaults.setProblemHandler(logPlatform);
    session_.setSettings(settings_);
    menuBarController_ = std::make_unique<MenuBarController>(
        session_, settings_,
        MenuBarController::Desktop{*desktop_.windowSurfaces, *desktop_.keyReader, desktop_.trays},
        menuBarCallbacks());
    desktop_.screens->setChangeHandler([this] { followScreens(); });
    followScreens();
    // However the program ends: by its menu, by a signal, or with the desktop's session.
    aboutToQuit_ =
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, qApp, [this] { applicationWillTerminate(); });
    captureRelease_.setSingleShot(true);
    captureRelease_.callOnTimeout([this] {
        if (session_.state().value() == SessionState::Idle)
            desktop_.displayCapture->release();
    });
    onboardingReveal_.setSingleShot(true);
    onboardingReveal_.callOnTimeout([this] { revealOnboarding(); });
    microphoneSubscription_ = desktop_.permissions->observeMicrophone([this] {
        if (onboardingReveal_.isActive())
            revealOnboarding();
    });
    permissionMonitor_.setTimerType(Qt::PreciseTimer);
    permissionMonitor_.callOnTimeout([this] { handlePermissionState(false); });
    permissionMonitor_.start(kPermissionInterval);
    // A first start has its welcome, also where nothing is missing.
    if (handlePermissionState(true) && !settings_->hasCompletedOnboarding.value())
        presentOnboarding({}, true);
}

bool AppDelegate::applicationShouldHandleReopen()
{
    if (!isTerminating_)
        menuBarController_->openSettingsWindow();
    return false;
}

void AppDelegate::applicationWillTerminate()
{
    permissionMonitor_.stop();
    onboardingReveal_.stop();
    stopHotkeyMonitor();
}

void AppDelegate::terminate()
{
    // Until the keyboard is back, nothing is to begin anew: a hotkey that was just recorded, a menu. Nor does
    // an impatient user get there sooner.
    if (std::exchange(isTerminating_, true))
        return;
    menuBarController_->discardHotkeySheet();
    applicationWillTerminate();
    const bool hadSession = session_.state().value() != SessionState::Idle ||
                            Clock::now() - sessionEnd_.value_or(Clock::TimePoint()) < kFarewell;
    session_.end();
    // The panel gives the keyboard back when it has faded, and a moment later the session makes sure of it.
    if (hadSession)
        QTimer::singleShot(kFarewell, qApp, &QCoreApplication::quit);
    else
        QCoreApplication::quit();
}

void AppDelegate::requestAnnotation()
{
    hideHint();
    if (!handlePermissionState(true))
        return;
    switch (session_.state().value()) {
    case SessionState::Idle:
        session_.begin(true);
        break;
    case SessionState::Querying:
        session_.beginAdditionalCapture(true);
        break;
    case SessionState::Drawing:
    case SessionState::Streaming:
        break;
    }
}

void AppDelegate::requestAnnotationWithDraw(ScreenPoint point)
{
    hideHint();
    if (!handlePermissionState(true))
        return;
    switch (session_.state().value()) {
    case SessionState::Idle:
        session_.beginWithDraw(point);
        break;
    case SessionState::Querying:
        session_.beginAdditionalCaptureWithDraw(point);
        break;
    case SessionState::Drawing:
    case SessionState::Streaming:
        break;
    }
}

/// While a question is asked, the panel makes room for a stroke as soon as the chord is held.
void AppDelegate::followQuickDrawHint(bool active)
{
    if (!active) {
        hideHint();
        releaseCaptureSoon();
        session_.restoreChatAfterHint();
    } else if (session_.state().value() == SessionState::Idle) {
        // The stroke that may follow is to find the desktop as it was before the hint covered any of it.
        captureRelease_.stop();
        desktop_.displayCapture->prepare();
        hintCapsuleController_->show();
    } else if (session_.state().value() == SessionState::Querying) {
        session_.hideChatForHint();
    }
}

void AppDelegate::hideHint()
{
    if (hintCapsuleController_)
        hintCapsuleController_->hide();
}

/// Not before the last of our windows has faded: a session that begins meanwhile goes on with what was
/// prepared when none of them was there. The same holds for a session that begins under the hint.
void AppDelegate::releaseCaptureSoon()
{
    captureRelease_.start(kLongestFade);
}

void AppDelegate::followScreens()
{
    desktop_.eventTap->setScreens(desktop_.screens->all());
    const auto main = desktop_.screens->main();
    if (hotkeyMonitor_)
        hotkeyMonitor_->setMainScreenTop(main ? main->frame.maxY() : 0);
}

bool AppDelegate::handlePermissionState(bool forcePresentation)
{
    if (isTerminating_)
        return false;
    const QList<MissingPermission> missing = PermissionChecker::checkRequired(*desktop_.permissions);
    logMissing(missing);
    const bool isOnboarding = !settings_->hasCompletedOnboarding.value();
    if (!missing.isEmpty()) {
        stopHotkeyMonitor();
        gestureProblems_.set({});
        session_.cancel();
        if (isOnboarding) {
            presentOnboarding(missing, forcePresentation);
        } else if (forcePresentation) {
            settings_->settingsSelectedTab.set(kPermissionsTab);
            menuBarController_->openSettingsWindow();
        }
        return false;
    }
    // A first start is led to its end, with the gestures working behind it.
    if (onboardingController_ && isOnboarding) {
        presentOnboarding(missing, false);
    } else if (onboardingController_ && !isOnboardingRequested_) {
        onboardingController_->close();
        onboardingController_.reset();
    }
    startHotkeyMonitor();
    return true;
}

void AppDelegate::logMissing(const QList<MissingPermission>& missing)
{
    if (missing == reportedMissing_)
        return;
    reportedMissing_ = missing;
    QStringList names;
    for (const MissingPermission permission : missing)
        names.append(rawValue(permission));
    if (!missing.isEmpty())
        logPlatform(QStringLiteral("This desktop does not allow: ") + names.join(QStringLiteral(", ")));
}

void AppDelegate::startHotkeyMonitor()
{
    if (hotkeyMonitor_) {
        // One whose start failed, or that has lost its display, tries again.
        hotkeyMonitor_->start();
        return;
    }
    if (!hintCapsuleController_) {
        hintCapsuleController_ =
            std::make_unique<HintCapsuleController>(*desktop_.screens, *desktop_.windowSurfaces);
    }
    hotkeyMonitor_ = std::make_shared<HotkeyMonitor>(
        *desktop_.eventTap,
        HotkeyMonitor::Callbacks{
            .onActivate = [this] { requestAnnotation(); },
            .onActivateWithDraw = [this](ScreenPoint point) { requestAnnotationWithDraw(point); },
            .onQuickDrawDrag = [this](ScreenPoint point) { session_.continueDraw(point); },
            .onQuickDrawUp = [this] { session_.endMiddleDraw(); },
        });
    hotkeyMonitor_->keyCode = static_cast<quint16>(settings_->hotkeyKeyCode.value());
    hotkeyMonitor_->keyModifiers = static_cast<quint64>(settings_->hotkeyModifiers.value());
    hotkeyMonitor_->quickDrawModifiers = static_cast<quint64>(settings_->quickDrawModifiers.value());
    hotkeyMonitor_->quickDrawMiddleMouseEnabled = settings_->quickDrawMiddleMouseEnabled.value();
    hotkeyMonitor_->printsPassedKeys = options_.printsPassedKeys;
    hotkeyMonitor_->onQuickDrawHint = [this](bool active) { followQuickDrawHint(active); };
    hotkeyMonitor_->onStarted = [this](const EventTap::StartReport& report) { reportMonitorStart(report); };
    followScreens();
    monitorIsReady_ = false;
    hotkeyMonitor_->start();
}

void AppDelegate::restartHotkeyMonitor()
{
    if (isTerminating_)
        return;
    stopHotkeyMonitor();
    session_.restoreChatAfterHint();
    startHotkeyMonitor();
}

void AppDelegate::stopHotkeyMonitor()
{
    // Nobody else would take back a hint that this monitor has shown.
    hideHint();
    releaseCaptureSoon();
    if (const auto monitor = std::exchange(hotkeyMonitor_, nullptr))
        monitor->stop();
}

void AppDelegate::reportMonitorStart(const EventTap::StartReport& report)
{
    if (std::exchange(reportedProblems_, report.problems) != report.problems || report.started) {
        for (const QString& problem : report.problems)
            logPlatform(problem);
    }
    gestureProblems_.set({.hotkey = inWords(report.started ? report.hotkeyProblems : report.problems),
                          .chord = inWords(report.chordProblems),
                          .middleButton = inWords(report.middleButtonProblems)});
    if (onboardingController_)
        onboardingController_->updateHotkey();
    if (!report.started) {
        // It may have been at work until now.
        monitorIsReady_ = false;
        followQuickDrawHint(false);
        return;
    }
    if (!std::exchange(monitorIsReady_, true))
        logPlatform(QStringLiteral("ready"));
    else if (report.problems.isEmpty())
        logPlatform(QStringLiteral("Nothing is held by other programs any more."));
}

/// Told before the state changes, so the desktop is prepared before the first of our windows is there.
void AppDelegate::followSessionState(SessionState next)
{
    const SessionState current = session_.state().value();
    if (current == SessionState::Idle && next == SessionState::Drawing) {
        // Afterwards it would cover the drawing.
        if (onboardingReveal_.isActive())
            revealOnboarding();
        captureRelease_.stop();
        desktop_.displayCapture->prepare();
    } else if (next == SessionState::Idle) {
        if (current != SessionState::Idle)
            sessionEnd_ = Clock::now();
        releaseCaptureSoon();
    }
    logDesktopDiagnostics();
}

void AppDelegate::logDesktopDiagnostics()
{
    for (const QString& diagnostic : desktop_.takeDiagnostics())
        logPlatform(diagnostic);
}

} // namespace velmo
