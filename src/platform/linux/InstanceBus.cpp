#include "platform/linux/InstanceBus.h"

#include "core/Identity.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <utility>

namespace velmo {
namespace {

const std::string kName = kApplicationIdentifier;
const std::string kControl = kName + ".Control";
const std::string kApplication = "org.freedesktop.Application";

/// Answers to RequestName.
constexpr uint32_t kDoNotQueue = 4;
constexpr uint32_t kIsOwner = 1;
constexpr uint32_t kIsOwnerAlready = 4;

/// Timeouts of the library's own come after ours.
constexpr std::chrono::seconds kBeyondOurLimit{5};

/// The object's path is the name with slashes.
std::string objectPath()
{
    std::string path = '/' + kName;
    std::ranges::replace(path, '.', '/');
    return path;
}

std::chrono::microseconds limitUntil(Clock::TimePoint end)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(
        std::max(end - Clock::now(), Clock::TimePoint::duration::zero()) + kBeyondOurLimit);
}

std::optional<RemoteVerb> actionNamed(const std::string& name)
{
    if (name == "annotate")
        return RemoteVerb::Annotate;
    if (name == "settings")
        return RemoteVerb::Settings;
    if (name == "cancel")
        return RemoteVerb::Cancel;
    if (name == "quit")
        return RemoteVerb::Quit;
    return std::nullopt;
}

} // namespace

InstanceBus::InstanceBus(const std::string& address)
    : bus_(BusConnection::open(address))
{}

InstanceBus::~InstanceBus() = default;

InstanceBus::Standing InstanceBus::request(Handlers handlers, Clock::TimePoint end)
{
    if (!bus_)
        return Standing::Unknown;
    handlers_ = std::move(handlers);
    offerObject();
    std::optional<Standing> standing;
    ownerChanges_ = bus_->listen(ownerRule(kName), [this](BusMessage& message) {
        // Nobody can take it from its owner, who has to give it up.
        if (const auto change = message.readOwnerChange(); change && change->owner.empty())
            askForName([](Standing) {});
    });
    askForName([&standing](Standing answer) { standing = answer; });
    switch (bus_->runUntil([&] { return standing.has_value(); }, end)) {
    case BusConnection::RunEnd::Done:
        return *standing;
    case BusConnection::RunEnd::Late:
        // A bus that only begins to answer later is heard by then.
        askForName([](Standing) {});
        break;
    default:
        forgetBus();
        break;
    }
    return Standing::Unknown;
}

void InstanceBus::forgetBus()
{
    notifier_.reset();
    early_.clear();
    ownerChanges_ = {};
    nameCall_ = {};
    control_ = {};
    application_ = {};
    bus_.reset();
}

void InstanceBus::askForName(const std::function<void(Standing)>& onAnswer)
{
    BusRequest request = requestToBus("RequestName");
    request.writeArguments = [](sd_bus_message* message) {
        return sd_bus_message_append(message, "su", kName.c_str(), kDoNotQueue);
    };
    nameCall_ = bus_->call(request, std::chrono::hours(24), [onAnswer](BusMessage& answer) {
        const auto number = answer.readNumber();
        const bool isOwner = number == kIsOwner || number == kIsOwnerAlready;
        onAnswer(isOwner ? Standing::Owner : number ? Standing::Taken : Standing::Unknown);
    });
}

void InstanceBus::offerObject()
{
    application_ =
        bus_->serve(objectPath(), kApplication,
                    {{"Activate", "a{sv}", ""}, {"Open", "asa{sv}", ""}, {"ActivateAction", "sava{sv}", ""}},
                    [this](BusMessage& call) {
                        whenServing(call, [this](BusMessage& message) { onDesktopCall(message); });
                    });
    control_ = bus_->serve(objectPath(), kControl, {{"Perform", "s", "s"}}, [this](BusMessage& call) {
        whenServing(call, [this](BusMessage& message) {
            const auto text = message.readText().value_or(std::string());
            message.answer(handlers_.onMessage(QByteArray::fromStdString(text)).toStdString());
        });
    });
}

/// A bus that has started us for a call delivers it before it says that the name is ours.
void InstanceBus::whenServing(BusMessage& call, std::function<void(BusMessage&)> answer)
{
    if (notifier_) {
        answer(call);
        return;
    }
    early_.emplace_back([kept = call.keep(), answer = std::move(answer)] {
        BusMessage message(kept.get());
        answer(message);
    });
}

void InstanceBus::onDesktopCall(BusMessage& call)
{
    if (call.method() == "Open") {
        call.refuse(SD_BUS_ERROR_NOT_SUPPORTED, "Velmo opens no files.");
        return;
    }
    if (call.method() == "Activate") {
        answerDesktop(call, RemoteVerb::Settings);
        return;
    }
    const auto name = call.readText().value_or(std::string());
    if (const auto verb = actionNamed(name))
        answerDesktop(call, *verb);
    else
        call.refuse(SD_BUS_ERROR_INVALID_ARGS, "Velmo has no action \"" + name + "\".");
}

void InstanceBus::answerDesktop(BusMessage& call, RemoteVerb verb)
{
    const RemoteReply reply = handlers_.onVerb(verb);
    if (reply.isAccepted)
        call.answer();
    else
        call.refuse(SD_BUS_ERROR_FAILED, reply.text.toStdString());
}

void InstanceBus::report(const QString& sentence)
{
    if (handlers_.onProblem)
        handlers_.onProblem(sentence);
}

void InstanceBus::serve()
{
    if (!bus_ || notifier_)
        return;
    notifier_ = std::make_unique<BusNotifier>(*bus_, [this] {
        forgetBus();
        report(QStringLiteral("The session bus is gone; Velmo can still be reached by its commands."));
    });
    for (const auto& answerCall : std::exchange(early_, {}))
        answerCall();
}

InstanceExchange InstanceBus::ask(const QByteArray& message, Clock::TimePoint end)
{
    if (!bus_)
        return {};
    // Whether anybody is there is for the bus to say, so that a bus that hangs is not taken for a program
    // that does.
    InstanceExchange exchange;
    std::string owner;
    bool isAnswered = false;
    const BusRequest findOwner = requestToBus("GetNameOwner", kName);
    auto waiting = bus_->call(findOwner, limitUntil(end), [&](BusMessage& answer) {
        isAnswered = true;
        if (!answer.isError())
            owner = answer.readText().value_or(std::string());
    });
    if (bus_->runUntil([&] { return isAnswered; }, end) != BusConnection::RunEnd::Done || owner.empty())
        return exchange;

    const BusRequest findProcess = requestToBus("GetConnectionUnixProcessID", owner);
    const auto process = bus_->call(findProcess, limitUntil(end), [&](BusMessage& answer) {
        exchange.processID = static_cast<qint32>(answer.readNumber().value_or(0));
    });
    isAnswered = false;
    exchange.kind = InstanceExchange::Kind::Silent;
    const BusRequest perform{owner, objectPath(), kControl, "Perform", message.toStdString()};
    waiting = bus_->call(perform, limitUntil(end), [&](BusMessage& answer) {
        isAnswered = true;
        if (answer.isError()) {
            exchange.kind = answer.isFromNobody() || answer.isError(SD_BUS_ERROR_NO_REPLY)
                                ? InstanceExchange::Kind::Nobody
                                : InstanceExchange::Kind::Answered;
        } else {
            exchange.kind = InstanceExchange::Kind::Answered;
            exchange.answer = QByteArray::fromStdString(answer.readText().value_or(std::string()));
        }
    });
    // Without the bus it does not answer either.
    static_cast<void>(bus_->runUntil([&] { return isAnswered; }, end));
    return exchange;
}

} // namespace velmo
