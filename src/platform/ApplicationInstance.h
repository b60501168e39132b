#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <optional>

namespace velmo {

/// What one start of the program may ask of the one that runs already.
enum class RemoteVerb {
    Ping, ///< Nothing but an answer.
    Annotate,
    Settings,
    Cancel,
    Quit,
    Status, ///< How it fares, as JSON in the reply.
};

struct RemoteReply {
    bool isAccepted = true;
    QString text{};        ///< What was asked for, or a sentence that says why it is not done.
    bool isEnding = false; ///< Not done because whoever was asked is going; the place will soon be free.
};

/// What became of a request.
struct RemoteOutcome {
    enum class Kind {
        First,      ///< Nothing ran; this process is the one that runs now.
        Answered,   ///< By the one that runs; see the reply.
        NobodyRuns, ///< So nobody was asked.
        Silent,     ///< One runs, and did not answer in time.
    };
    Kind kind = Kind::NobodyRuns;
    RemoteReply reply{};
    qint32 processID = 0; ///< Of the one that runs; 0 if unknown.
};

/// Sees to it that the program runs once on a display, and carries requests to the one that runs. Main
/// thread. What waits here waits for a few seconds at most, and needs no application object.
class ApplicationInstance {
public:
    /// Must not wait for anything, least of all for the user: whoever asks waits for the reply.
    using Handler = std::function<RemoteReply(RemoteVerb)>;

    /// Gives up being the one that runs.
    virtual ~ApplicationInstance() = default;

    /// Makes this process the one that runs on its display; if there is one, that is asked.
    /// Without a verb nobody is asked anything, and Answered then means that one runs.
    [[nodiscard]] virtual RemoteOutcome claim(std::optional<RemoteVerb> verb) = 0;

    /// Asks the one that runs, if there is one: on this process's display, or, where it has
    /// none, on any.
    [[nodiscard]] virtual RemoteOutcome deliver(RemoteVerb verb) = 0;

    /// After a claim that made this process the first. What was asked meanwhile has waited. Needs the
    /// application object.
    virtual void serve(Handler handler) = 0;

    /// Waits until the process of an outcome is gone. False if it takes longer.
    [[nodiscard]] virtual bool awaitEnd(qint32 processID, std::chrono::milliseconds limit) = 0;

    /// Told in sentences what could not be done as it should, until now and later.
    virtual void setProblemHandler(std::function<void(const QString&)> handler) = 0;
};

} // namespace velmo
