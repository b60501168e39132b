#include "platform/x11/X11Survey.h"

#include "platform/x11/X11Connection.h"
#include "platform/x11/X11DisplayCapture.h"
#include "platform/x11/X11EventTap.h"
#include "platform/x11/X11InputExtensions.h"

#include <future>
#include <memory>

namespace velmo {
namespace {

constexpr std::chrono::seconds kTapPatience{2};

QString nameOf(X11Connection& connection, xcb_window_t window)
{
    for (const char* property : {"_NET_WM_NAME", "WM_NAME"}) {
        const auto name = awaitBytes(connection.get(),
                                     requestProperty(connection.get(), window, connection.atom(property)));
        if (!name.isEmpty())
            return QString::fromUtf8(name);
    }
    // Two words, each with a zero behind it: the instance and the class.
    const auto words =
        awaitBytes(connection.get(), requestProperty(connection.get(), window, connection.atom("WM_CLASS")));
    return QString::fromUtf8(words.split('\0').value(1));
}

QString windowManagerOf(X11Connection& connection)
{
    const xcb_atom_t check = connection.atom("_NET_SUPPORTING_WM_CHECK");
    const xcb_window_t window = readNumber(connection.get(), connection.root(), check);
    if (window == XCB_NONE || readNumber(connection.get(), window, check) != window)
        return {};
    const QString name = nameOf(connection, window);
    return name.isEmpty() ? QStringLiteral("one without a name") : name;
}

} // namespace

X11Survey X11Survey::take()
{
    X11Survey survey;
    const auto connection = X11Connection::open();
    if (!connection)
        return survey;
    survey.isReachable = true;
    survey.windowManager = windowManagerOf(*connection);
    if (const xcb_window_t compositor = connection->compositingManager(); compositor != XCB_NONE) {
        survey.isComposited = true;
        survey.compositor = nameOf(*connection, compositor);
    }
    survey.hasTray = connection->ownerOf(connection->screenSelection("_NET_SYSTEM_TRAY")) != XCB_NONE;
    survey.missingExtension = X11InputExtensions::probe(*connection).missing;
    return survey;
}

X11CaptureSurvey X11CaptureSurvey::take()
{
    X11CaptureSurvey survey;
    X11DisplayCapture capture;
    capture.prepare();
    const auto content = capture.shareableContent();
    if (!content) {
        survey.problems.append(content.error().description);
    } else if (content.value().displays.empty()) {
        survey.problems.append(QStringLiteral("There is no display to read."));
    } else {
        survey.windowCount = content.value().windowCount;
        const quint32 display = content.value().displays.front().id;
        auto picture = capture.captureDisplay(display, CaptureMoment::Now);
        survey.showsWindowsApart = picture.hasValue();
        // That is what a question gets then.
        if (!picture)
            picture = capture.captureDisplay(display, CaptureMoment::Frozen);
        survey.isCaptured = picture.hasValue();
        if (picture)
            survey.size = picture.value().size();
        else
            survey.problems.append(picture.error().description);
    }
    survey.problems += capture.takeDiagnostics();
    capture.release();
    return survey;
}

EventTap::StartReport tryTap(const TapInterest& interest)
{
    // Reports may come again when the keyboard changes; the first is the one.
    auto promise = std::make_shared<std::promise<EventTap::StartReport>>();
    auto isReported = std::make_shared<std::atomic<bool>>(false);
    auto report = promise->get_future();
    X11EventTap tap;
    tap.start(
        interest, [](TapEventType, const TapEvent&) { return TapVerdict::Pass; },
        [promise, isReported](const EventTap::StartReport& told) {
            if (!isReported->exchange(true))
                promise->set_value(told);
        });
    if (report.wait_for(kTapPatience) != std::future_status::ready)
        return {false, {QStringLiteral("The X server does not answer.")}};
    return report.get();
}

} // namespace velmo
