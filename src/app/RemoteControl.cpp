#include "app/RemoteControl.h"

#include "core/DebugLog.h"
#include "core/async/MainLoop.h"

#include <utility>

namespace velmo {

namespace {

using Action = std::function<void()> RemoteActions::*;

/// The action, and its name in the log; null for what is only answered.
std::pair<Action, QString> actionOf(RemoteVerb verb)
{
    switch (verb) {
    case RemoteVerb::Annotate:
        return {&RemoteActions::annotate, QStringLiteral("annotate")};
    case RemoteVerb::Settings:
        return {&RemoteActions::openSettings, QStringLiteral("settings")};
    case RemoteVerb::Cancel:
        return {&RemoteActions::cancel, QStringLiteral("cancel")};
    case RemoteVerb::Quit:
        return {&RemoteActions::quit, QStringLiteral("quit")};
    case RemoteVerb::Ping:
    case RemoteVerb::Status:
        break;
    }
    return {nullptr, {}};
}

} // namespace

RemoteControl::RemoteControl(ApplicationInstance& instance, RemoteActions actions)
    : instance_(instance)
    , actions_(std::make_shared<const RemoteActions>(std::move(actions)))
{
    instance_.setProblemHandler(
        [](const QString& sentence) { DebugLog::log(QStringLiteral("Remote"), sentence); });
    instance_.serve([weak = std::weak_ptr(actions_)](RemoteVerb verb) -> RemoteReply {
        const auto present = weak.lock();
        if (!present || (present->isEnding && present->isEnding()))
            return {false, QStringLiteral("Velmo is ending."), true};
        if (verb == RemoteVerb::Status)
            return {true, present->status()};
        perform(present, verb);
        return {};
    });
}

void RemoteControl::perform(const std::shared_ptr<const RemoteActions>& actions, RemoteVerb verb)
{
    const auto [action, name] = actionOf(verb);
    if (action == nullptr)
        return;
    DebugLog::log(QStringLiteral("Remote"), name);
    async::postToMainLoop([weak = std::weak_ptr(actions), action = action] {
        if (const auto present = weak.lock())
            ((*present).*action)();
    });
}

RemoteControl::~RemoteControl()
{
    instance_.setProblemHandler({});
}

} // namespace velmo
