#pragma once

#include "core/Clock.h"
#include "platform/linux/InstanceMessages.h"
#include "platform/linux/PrivateFolder.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

/// The place of the one program that runs under a name: a lock, which the system gives back however the
/// program ends, and a local socket beside it, where it can be asked. Main thread.
class InstanceSocket {
public:
    /// One message for one.
    using Handler = std::function<QByteArray(const QByteArray&)>;

    struct Trouble {
        bool isTaken = false; ///< Somebody else has the place.
        int error = 0;        ///< Else the system's number for why it cannot be had.
    };
    /// Takes the place. Who asks from now on waits for an answer.
    [[nodiscard]] static Result<std::unique_ptr<InstanceSocket>, Trouble> take(const PrivateFolder& folder,
                                                                               const std::string& name);
    InstanceSocket(const InstanceSocket&) = delete;
    InstanceSocket& operator=(const InstanceSocket&) = delete;
    ~InstanceSocket() = default;

    /// Answers from now on. Needs the application object.
    void serve(Handler handler);

    /// Asks the one that has the place, and waits.
    [[nodiscard]] static InstanceExchange ask(const PrivateFolder& folder, const std::string& name,
                                              const QByteArray& message, Clock::TimePoint end);

    /// The names under which somebody may listen.
    [[nodiscard]] static std::vector<std::string> names(const PrivateFolder& folder);

private:
    InstanceSocket(FileDescriptor lock, FileDescriptor listener);
    void admit();

    FileDescriptor lock_;
    FileDescriptor listener_;
    Handler handler_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace velmo
