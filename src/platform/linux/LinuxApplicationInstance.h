#pragma once

#include "platform/ApplicationInstance.h"
#include "platform/linux/InstanceBus.h"
#include "platform/linux/InstanceSocket.h"

#include <QByteArray>
#include <QStringList>
#include <memory>
#include <string>

namespace velmo {

/// One program on a display: a display has one keyboard and one pointer, so two programs on it would only
/// take the gestures from each other, whatever bus each of them is on; and what runs on another display is of
/// no use on this one.
///
/// So the place is a lock that carries the display's name, in a folder of the user's, with a socket beside
/// it. The name on the session bus, which desktops know the program by, goes to the first of a bus; where
/// there is no such folder, it is the place.
class LinuxApplicationInstance final : public ApplicationInstance {
public:
    /// What it finds around it.
    struct Surroundings {
        std::string busAddress;   ///< Empty for no session bus.
        QString display;          ///< As the environment names it; empty for none.
        QByteArray runtimeFolder; ///< The session's, for sockets; empty for none.
        QByteArray temporaryFolder = "/tmp";

        [[nodiscard]] static Surroundings fromEnvironment();
    };
    /// For an answer of the one that runs, and for the bus.
    static constexpr std::chrono::milliseconds kPatience{3000};
    static constexpr std::chrono::milliseconds kBusPatience{500};

    explicit LinuxApplicationInstance(Surroundings surroundings = Surroundings::fromEnvironment());
    LinuxApplicationInstance(const LinuxApplicationInstance&) = delete;
    LinuxApplicationInstance& operator=(const LinuxApplicationInstance&) = delete;

    [[nodiscard]] RemoteOutcome claim(std::optional<RemoteVerb> verb) override;
    [[nodiscard]] RemoteOutcome deliver(RemoteVerb verb) override;
    void serve(Handler handler) override;
    [[nodiscard]] bool awaitEnd(qint32 processID, std::chrono::milliseconds limit) override;
    void setProblemHandler(std::function<void(const QString&)> handler) override;

private:
    [[nodiscard]] const PrivateFolder* folder();
    [[nodiscard]] std::string placeName() const;
    [[nodiscard]] QByteArray message(RemoteVerb verb) const;
    [[nodiscard]] std::optional<RemoteOutcome> claimSocket(std::optional<RemoteVerb> verb);
    [[nodiscard]] std::optional<RemoteOutcome> claimBusName(std::optional<RemoteVerb> verb);
    [[nodiscard]] std::optional<RemoteOutcome> deliverToBus(RemoteVerb verb);
    [[nodiscard]] std::optional<RemoteOutcome> deliverToSocket(const std::string& name, RemoteVerb verb);
    [[nodiscard]] RemoteReply answer(RemoteVerb verb);
    void report(const QString& sentence);

    const Surroundings surroundings_;
    const QString display_;
    Handler handler_;
    QStringList problems_;
    std::function<void(const QString&)> onProblem_;
    std::optional<Result<PrivateFolder, QString>> folder_; ///< Once it was looked for.
    std::unique_ptr<InstanceSocket> socket_;
    std::unique_ptr<InstanceBus> bus_;
};

} // namespace velmo
