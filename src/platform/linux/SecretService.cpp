#include "platform/linux/SecretService.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <utility>

namespace velmo {
namespace {

const std::string kRoot = "/org/freedesktop/secrets";
const std::string kService = "org.freedesktop.Secret.Service";
const std::string kCollection = "org.freedesktop.Secret.Collection";
const std::string kItem = "org.freedesktop.Secret.Item";
const std::string kPrompt = "org.freedesktop.Secret.Prompt";

/// Timeouts of the library's own come after ours, so that an answer of this name is the bus's: whoever was
/// asked is gone.
constexpr std::chrono::seconds kBeyondOurLimit{5};

/// What a fault means once a secret was sent: it may have arrived all the same.
SecretFault afterSending(SecretFault fault)
{
    const bool isUnknown = fault == SecretFault::Timeout || fault == SecretFault::NoBus ||
                           fault == SecretFault::NoService || fault == SecretFault::NotUnderstood;
    return isUnknown ? SecretFault::Unconfirmed : fault;
}

} // namespace

SecretService::SecretService(const std::string& busAddress, SecretPatience patience,
                             const Interrupt* interrupt)
    : patience_(patience)
    , end_(patience.conversation ? Clock::now() + *patience.conversation : Clock::TimePoint::max())
    , interrupt_(interrupt)
    , bus_(BusConnection::open(busAddress))
{}

SecretService::Answer<SecretService::Done> SecretService::runUntil(const std::function<bool()>& isDone,
                                                                   Clock::TimePoint end)
{
    if (!bus_)
        return Failure{SecretFault::NoBus};
    switch (bus_->runUntil(isDone, end, interrupt_ != nullptr ? interrupt_->descriptor() : -1)) {
    case BusConnection::RunEnd::Done:
        break;
    case BusConnection::RunEnd::Late:
        return Failure{SecretFault::Timeout};
    case BusConnection::RunEnd::Lost:
        bus_.reset();
        return Failure{SecretFault::NoBus};
    case BusConnection::RunEnd::Interrupted:
        return Failure{SecretFault::Interrupted};
    }
    return Done{};
}

SecretService::Answer<SecretService::Done> SecretService::call(BusRequest request, const Reader& read)
{
    if (!bus_)
        return Failure{SecretFault::NoBus};
    std::optional<SecretFault> fault;
    bool isAnswered = false;
    // The conversation's own end alone may have passed: nothing more is asked then, least of all sent.
    if (Clock::now() >= end_)
        return Failure{SecretFault::Timeout};
    const auto waiting = bus_->call(request, patience_.call + kBeyondOurLimit, [&](BusMessage& message) {
        isAnswered = true;
        if (request.isSensitive)
            message.eraseWhenFreed();
        if (message.isError())
            fault = faultOf(message);
        else if (!read(message))
            fault = SecretFault::NotUnderstood;
    });
    if (auto answer = runUntil([&] { return isAnswered; }, std::min(Clock::now() + patience_.call, end_));
        !answer)
        return answer;
    if (fault)
        return Failure{*fault};
    return Done{};
}

SecretService::Answer<std::string> SecretService::callForPath(BusRequest request, const char* skipped)
{
    std::string path;
    const auto answer = call(std::move(request), [&](BusMessage& message) {
        if (skipped != nullptr)
            message.skip(skipped);
        path = message.readPath().value_or(std::string());
        return !path.empty();
    });
    if (!answer)
        return Failure{answer.error()};
    return path;
}

SecretService::Answer<std::string> SecretService::session()
{
    if (session_.empty()) {
        // Not encrypted: whoever can listen on the user's own bus can ask for the secret as well.
        auto path = callForPath(newRequest(kRoot, kService, "OpenSession",
                                           [](sd_bus_message* message) {
                                               return sd_bus_message_append(message, "sv", "plain", "s", "");
                                           }),
                                "v");
        if (!path)
            return path;
        session_ = std::move(path.value());
    }
    return session_;
}

SecretService::Answer<SecretItems> SecretService::search(const SecretName& name)
{
    SecretItems items;
    const auto answer =
        call(newRequest(kRoot, kService, "SearchItems",
                        [name](sd_bus_message* message) {
                            return sd_bus_message_append(message, "a{ss}", 2, "service", name.service.c_str(),
                                                         "account", name.account.c_str());
                        }),
             [&](BusMessage& message) {
                 auto unlocked = message.readPaths();
                 auto locked = message.readPaths();
                 if (!unlocked || !locked)
                     return false;
                 items.unlocked = std::move(*unlocked);
                 items.locked = std::move(*locked);
                 return true;
             });
    if (!answer)
        return Failure{answer.error()};
    std::string collection = kNone;
    if (items.size() > 1) {
        const auto path = defaultPath();
        if (!path)
            return Failure{path.error()};
        collection = path.value();
    }
    items.sort(collection);
    return items;
}

SecretService::Answer<std::string> SecretService::secretOf(const std::string& item)
{
    const auto sessionPath = session();
    if (!sessionPath)
        return sessionPath;
    BusRequest request = newRequest(item, kItem, "GetSecret", [&](sd_bus_message* message) {
        return sd_bus_message_append(message, "o", sessionPath.value().c_str());
    });
    request.isSensitive = true;
    std::optional<std::string> secret;
    const auto answer = call(std::move(request), [&](BusMessage& message) {
        if (!message.enter(SD_BUS_TYPE_STRUCT, "oayays"))
            return false;
        message.skip("oay");
        secret = message.readBytes();
        return secret.has_value();
    });
    if (!answer)
        return Failure{answer.error()};
    return std::move(*secret);
}

SecretService::Answer<SecretService::Done> SecretService::setSecret(const std::vector<std::string>& items,
                                                                    const std::string& secret)
{
    const auto sessionPath = session();
    if (!sessionPath)
        return Failure{sessionPath.error()};
    bool isWritten = false;
    for (const std::string& item : items) {
        BusRequest request = newRequest(item, kItem, "SetSecret", [&](sd_bus_message* message) {
            return writeSecret(message, sessionPath.value(), secret);
        });
        request.isSensitive = true;
        const auto answer = call(std::move(request), [](BusMessage&) { return true; });
        if (answer)
            isWritten = true;
        else if (answer.error() != SecretFault::NoObject)
            return Failure{afterSending(answer.error())};
    }
    if (!isWritten)
        return Failure{SecretFault::NoObject};
    return Done{};
}

SecretService::Answer<std::string> SecretService::defaultPath()
{
    BusRequest request = newRequest(kRoot, kService, "ReadAlias");
    request.argument = "default";
    return callForPath(std::move(request), nullptr);
}

SecretService::Answer<SecretService::Collection> SecretService::defaultCollection()
{
    auto path = defaultPath();
    if (!path)
        return Failure{path.error()};
    if (path.value() == kNone)
        return Collection{};
    const auto locked = isLocked(path.value());
    // An alias may outlive its collection.
    if (!locked && locked.error() == SecretFault::NoObject)
        return Collection{};
    if (!locked)
        return Failure{locked.error()};
    return Collection{std::move(path.value()), locked.value()};
}

SecretService::Answer<bool> SecretService::isLocked(const std::string& collection)
{
    BusRequest request = requestForProperty(kSecrets, collection, kCollection, "Locked");
    request.activation = BusActivation::IfNeeded;
    std::optional<bool> isLocked;
    const auto answer = call(std::move(request), [&](BusMessage& message) {
        isLocked = message.readFlagProperty();
        return isLocked.has_value();
    });
    if (!answer)
        return Failure{answer.error()};
    return *isLocked;
}

SecretService::Answer<std::string>
SecretService::createItem(const std::string& collection, const SecretName& name, const std::string& secret)
{
    const auto sessionPath = session();
    if (!sessionPath)
        return sessionPath;
    BusRequest request = newRequest(collection, kCollection, "CreateItem", [&](sd_bus_message* message) {
        return writeItem(message, sessionPath.value(), name, secret);
    });
    request.isSensitive = true;
    auto prompt = callForPath(std::move(request), "o");
    if (!prompt)
        return Failure{afterSending(prompt.error())};
    return prompt;
}

SecretService::Answer<std::string> SecretService::createDefaultCollection()
{
    return callForPath(newRequest(kRoot, kService, "CreateCollection",
                                  [](sd_bus_message* message) {
                                      return sd_bus_message_append(message, "a{sv}s", 1,
                                                                   "org.freedesktop.Secret.Collection.Label",
                                                                   "s", "Default keyring", "default");
                                  }),
                       "o");
}

SecretService::Answer<std::string> SecretService::unlock(const std::vector<std::string>& objects)
{
    return callForPath(newRequest(kRoot, kService, "Unlock",
                                  [&](sd_bus_message* message) { return writePaths(message, objects); }),
                       "ao");
}

SecretService::Answer<SecretService::Done> SecretService::awaitPrompt(const std::string& prompt)
{
    if (!bus_)
        return Failure{SecretFault::NoBus};
    std::optional<SecretFault> fault;
    bool isAnswered = false;
    const auto completion =
        bus_->listen("type='signal',interface='" + kPrompt + "',member='Completed',path='" + prompt + "'",
                     [&](BusMessage& message) {
                         isAnswered = true;
                         const auto isDismissed = message.readFlag();
                         if (!isDismissed)
                             fault = SecretFault::NotUnderstood;
                         else if (*isDismissed)
                             fault = SecretFault::Dismissed;
                     });
    const auto departure = bus_->listen(ownerRule(kSecrets), [&](BusMessage&) {
        isAnswered = true;
        fault = SecretFault::NoService;
    });
    BusRequest request = newRequest(prompt, kPrompt, "Prompt");
    request.argument = ""; // There is no window that it belongs to.
    if (auto answer = call(std::move(request), [](BusMessage&) { return true; }); !answer)
        return answer;
    if (auto answer = runUntil([&] { return isAnswered; }, Clock::TimePoint::max()); !answer)
        return answer;
    if (fault)
        return Failure{*fault};
    return Done{};
}

} // namespace velmo
