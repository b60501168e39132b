#include "core/FocusRestorationTarget.h"

#include <QCoreApplication>

namespace velmo {

std::optional<FocusRestorationTarget> FocusRestorationTarget::capture(const RunningApplication& application,
                                                                      const WindowFocus& focus)
{
    if (application.processID == QCoreApplication::applicationPid())
        return std::nullopt;
    return FocusRestorationTarget{application.processID, focus.focusedWindow(application),
                                  focus.focusedElement(application)};
}

void FocusRestorationTarget::restore(WindowFocus& focus) const
{
    if (!focus.isRunning(appPID))
        return;
    const bool trusted = focus.isTrusted();
    focus.activate(appPID, trusted ? window : std::nullopt);
    if (trusted && focusedElement)
        focus.focusElement(*focusedElement);
}

} // namespace velmo
