#include "platform/linux/LinuxApplicationInstance.h"

#include "core/Text.h"
#include "platform/linux/InstanceMessages.h"

#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>
#include <thread>

namespace velmo {
namespace {

/// Between two looks at a program that has the place and does not listen: it is starting or ending.
constexpr std::chrono::milliseconds kBetweenLooks{5};

/// Nothing if nobody is there, or the answer came from another display.
std::optional<RemoteOutcome> outcomeOf(const InstanceExchange& exchange)
{
    if (exchange.kind == InstanceExchange::Kind::Nobody)
        return std::nullopt;
    if (exchange.kind == InstanceExchange::Kind::Silent)
        return RemoteOutcome{RemoteOutcome::Kind::Silent, {}, exchange.processID};
    const auto answer = decodedAnswer(exchange.answer);
    if (!answer)
        return RemoteOutcome{
            RemoteOutcome::Kind::Answered,
            {false, QStringLiteral("The Velmo that runs gave an answer that cannot be understood.")},
            exchange.processID};
    if (answer->isOtherDisplay)
        return std::nullopt;
    return RemoteOutcome{RemoteOutcome::Kind::Answered, answer->reply, exchange.processID};
}

} // namespace

LinuxApplicationInstance::Surroundings LinuxApplicationInstance::Surroundings::fromEnvironment()
{
    return {BusConnection::sessionAddress(), qEnvironmentVariable("DISPLAY"), qgetenv("XDG_RUNTIME_DIR")};
}

LinuxApplicationInstance::LinuxApplicationInstance(Surroundings surroundings)
    : surroundings_(std::move(surroundings))
    , display_(displayIdentity(surroundings_.display))
{}

const PrivateFolder* LinuxApplicationInstance::folder()
{
    if (!folder_) {
        folder_ = PrivateFolder::open(surroundings_.runtimeFolder, surroundings_.temporaryFolder);
        if (!*folder_)
            report(folder_->error());
    }
    return *folder_ ? &folder_->value() : nullptr;
}

std::string LinuxApplicationInstance::placeName() const
{
    QString name = display_;
    // Some displays are named by the path of a socket.
    name.replace(u'/', u'_');
    return "display" + name.toStdString();
}

QByteArray LinuxApplicationInstance::message(RemoteVerb verb) const
{
    return encoded(InstanceMessage{verb, display_});
}

void LinuxApplicationInstance::setProblemHandler(std::function<void(const QString&)> handler)
{
    onProblem_ = std::move(handler);
    for (const QString& sentence : std::exchange(problems_, {}))
        report(sentence);
}

void LinuxApplicationInstance::report(const QString& sentence)
{
    if (onProblem_)
        onProblem_(sentence);
    else
        problems_.append(sentence);
}

RemoteOutcome LinuxApplicationInstance::claim(std::optional<RemoteVerb> verb)
{
    if (auto outcome = claimSocket(verb))
        return *outcome;
    if (auto outcome = claimBusName(verb)) {
        // With a place of one's own on this display, one that hangs on another is of no concern.
        if (outcome->kind == RemoteOutcome::Kind::Silent && socket_)
            return {RemoteOutcome::Kind::First};
        socket_.reset();
        bus_.reset();
        return *outcome;
    }
    return {RemoteOutcome::Kind::First};
}

/// Nothing when the place is ours, or cannot be had by anybody.
std::optional<RemoteOutcome> LinuxApplicationInstance::claimSocket(std::optional<RemoteVerb> verb)
{
    if (folder() == nullptr)
        return std::nullopt;
    const auto end = Clock::now() + kPatience;
    while (true) {
        auto place = InstanceSocket::take(*folder(), placeName());
        if (place) {
            socket_ = std::move(place.value());
            return std::nullopt;
        }
        if (!place.error().isTaken) {
            report(QStringLiteral("A second start cannot be told from the first: ") +
                   systemErrorText(place.error().error));
            return std::nullopt;
        }
        // Whoever is ending does nothing any more, and will soon be out of the way.
        auto outcome = deliverToSocket(placeName(), verb.value_or(RemoteVerb::Ping));
        const bool isLate = Clock::now() >= end;
        if (outcome && outcome->reply.isEnding && !isLate)
            outcome.reset();
        const bool isOver = outcome || isLate;
        if (isOver && !verb)
            return RemoteOutcome{RemoteOutcome::Kind::Answered};
        if (outcome)
            return outcome;
        if (isOver)
            return RemoteOutcome{RemoteOutcome::Kind::Silent};
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

/// Nothing when nobody with the name is on this display.
std::optional<RemoteOutcome> LinuxApplicationInstance::claimBusName(std::optional<RemoteVerb> verb)
{
    bus_ = std::make_unique<InstanceBus>(surroundings_.busAddress);
    InstanceBus::Handlers handlers{
        .onVerb = [this](RemoteVerb asked) { return answer(asked); },
        .onMessage =
            [this](const QByteArray& bytes) {
                return answerTo(bytes, display_, [this](RemoteVerb asked) { return answer(asked); });
            },
        .onProblem = [this](const QString& sentence) { report(sentence); },
    };
    if (bus_->request(std::move(handlers), Clock::now() + kBusPatience) != InstanceBus::Standing::Taken)
        return std::nullopt;
    return deliverToBus(verb.value_or(RemoteVerb::Ping));
}

std::optional<RemoteOutcome> LinuxApplicationInstance::deliverToBus(RemoteVerb verb)
{
    InstanceBus bus(surroundings_.busAddress);
    return outcomeOf(bus.ask(message(verb), Clock::now() + kPatience));
}

std::optional<RemoteOutcome> LinuxApplicationInstance::deliverToSocket(const std::string& name,
                                                                       RemoteVerb verb)
{
    return outcomeOf(InstanceSocket::ask(*folder(), name, message(verb), Clock::now() + kPatience));
}

RemoteOutcome LinuxApplicationInstance::deliver(RemoteVerb verb)
{
    if (!display_.isEmpty() && folder() != nullptr) {
        if (auto outcome = deliverToSocket(placeName(), verb))
            return *outcome;
    }
    if (auto outcome = deliverToBus(verb))
        return *outcome;
    if (display_.isEmpty() && folder() != nullptr) {
        for (const std::string& name : InstanceSocket::names(*folder())) {
            if (auto outcome = deliverToSocket(name, verb))
                return *outcome;
        }
    }
    return {RemoteOutcome::Kind::NobodyRuns};
}

RemoteReply LinuxApplicationInstance::answer(RemoteVerb verb)
{
    if (!handler_)
        return {false, QStringLiteral("Velmo is still starting.")};
    return handler_(verb);
}

void LinuxApplicationInstance::serve(Handler handler)
{
    handler_ = std::move(handler);
    if (socket_) {
        socket_->serve([this](const QByteArray& bytes) {
            return answerTo(bytes, display_, [this](RemoteVerb asked) { return answer(asked); });
        });
    }
    if (bus_)
        bus_->serve();
}

bool LinuxApplicationInstance::awaitEnd(qint32 processID, std::chrono::milliseconds limit)
{
    // The C library's own function cannot be called from C++ in some of its versions.
    const FileDescriptor process(static_cast<int>(syscall(SYS_pidfd_open, processID, 0)));
    if (!process.isValid())
        return errno == ESRCH;
    pollfd wait{process.get(), POLLIN, 0};
    return poll(&wait, 1, static_cast<int>(limit.count())) > 0;
}

} // namespace velmo
