#pragma once

#include "core/Clock.h"
#include "platform/linux/BusNotifier.h"
#include "platform/linux/InstanceMessages.h"

#include <QByteArray>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace velmo {

/// The program's name on the session bus, and the object behind it: org.freedesktop.Application, by which
/// desktops start and use a program, and an interface for other starts of this one. Main thread.
class InstanceBus {
public:
    struct Handlers {
        ApplicationInstance::Handler onVerb;                    ///< From the desktop.
        std::function<QByteArray(const QByteArray&)> onMessage; ///< From another start, see InstanceMessages.
        std::function<void(const QString& sentence)> onProblem{}; ///< While it serves.
    };

    enum class Standing {
        Owner,   ///< The name is ours, and who calls us from now on waits for an answer.
        Taken,   ///< Somebody else has it.
        Unknown, ///< The bus is not there, or did not answer in time.
    };

    explicit InstanceBus(const std::string& address);
    InstanceBus(const InstanceBus&) = delete;
    InstanceBus& operator=(const InstanceBus&) = delete;
    ~InstanceBus();

    /// Asks for the name, and waits for the answer. The object is there before the name is.
    [[nodiscard]] Standing request(Handlers handlers, Clock::TimePoint end);

    /// Answers from now on, and takes the name when it is given up. Needs the application object.
    void serve();

    /// Asks the owner of the name, and waits. Nobody is started for it.
    [[nodiscard]] InstanceExchange ask(const QByteArray& message, Clock::TimePoint end);

private:
    void offerObject();
    void whenServing(BusMessage& call, std::function<void(BusMessage&)> answer);
    void forgetBus();
    void onDesktopCall(BusMessage& call);
    void answerDesktop(BusMessage& call, RemoteVerb verb);
    void askForName(const std::function<void(Standing)>& onAnswer);
    void report(const QString& sentence);

    std::unique_ptr<BusConnection> bus_;
    Handlers handlers_;
    BusListener application_;
    BusListener control_;
    BusListener nameCall_;
    BusListener ownerChanges_;
    std::vector<std::function<void()>> early_; ///< Calls that wait until we serve.
    std::unique_ptr<BusNotifier> notifier_;
};

} // namespace velmo
