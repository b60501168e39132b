#pragma once

#include "platform/ApplicationInstance.h"

#include <functional>
#include <memory>

namespace velmo {

/// What others may have the running program do.
struct RemoteActions {
    std::function<void()> annotate;
    std::function<void()> openSettings;
    std::function<void()> cancel;
    std::function<void()> quit;
    /// From then on nothing else is accepted; empty: never.
    std::function<bool()> isEnding{};
    std::function<QString()> status; ///< As JSON; must not wait.
};

/// Has the running program do what other starts of it and the desktop ask for. Each action runs on a later
/// turn: who asked is answered first. Main thread.
class RemoteControl {
public:
    /// The instance outlives it.
    RemoteControl(ApplicationInstance& instance, RemoteActions actions);
    RemoteControl(const RemoteControl&) = delete;
    RemoteControl& operator=(const RemoteControl&) = delete;
    /// What was not done yet is dropped.
    ~RemoteControl();

    /// As if another start had asked for it.
    void perform(RemoteVerb verb) { perform(actions_, verb); }

private:
    static void perform(const std::shared_ptr<const RemoteActions>& actions, RemoteVerb verb);

    ApplicationInstance& instance_;
    std::shared_ptr<const RemoteActions> actions_;
};

} // namespace velmo
