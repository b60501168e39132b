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
const std::string kOwnerRule = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                               "member='NameOwnerChanged',arg0='org.freedesktop.secrets'";

/// Timeouts of the library's own come after ours, so that an answer of this name is the bus's: whoever was
/// asked is gone.
constexpr std::chrono::seconds kBeyondOurLimit{5};

} // namespace

SecretService::SecretService(const std::string& busAddress, const Interrupt* interrupt)
    : interrupt_(interrupt)
    , bus_(BusConnection::open(busAddress))
{
    beginLimit();
}

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
    const auto limit = std::max(end_ - Clock::now(), Clock::TimePoint::duration::zero()) + kBeyondOurLimit;
    const auto waiting = bus_->call(request, std::chrono::duration_cast<std::chrono::microseconds>(limit),
                                    [&](BusMessage& message) {
                                        isAnswered = true;
                                        if (request.isSensitive)
                                            message.eraseWhenFreed();
                                        if (message.isError())
                                            fault = faultOf(message);
                                        else if (!read(message))
                                            fault = SecretFault::Refused;
                                    });
    if (auto answer = runUntil([&] { return isAnswered; }, end_); !answer)
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

SecretService::Answer<SecretService::Found> SecretService::search(const SecretName& name)
{
    Found found;
    const auto answer =
        call(newRequest(kRoot, kService, "SearchItems",
                        [name](sd_bus_message* message) {
                            return sd_bus_message_append(message, "a{ss}", 2, "service", name.service.c_str(),
                                                         "account", name.account.c_str());
                        }),
             [&](BusMessage& message) {
                 found.unlocked = message.readPaths();
                 found.locked = message.readPaths();
                 return true;
             });
    if (!answer)
        return Failure{answer.error()};
    return found;
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

SecretService::Answer<SecretService::Done> SecretService::setSecret(const std::string& item,
                                                                    const std::string& secret)
{
    const auto sessionPath = session();
    if (!sessionPath)
        return Failure{sessionPath.error()};
    BusRequest request = newRequest(item, kItem, "SetSecret", [&](sd_bus_message* message) {
        return writeSecret(message, sessionPath.value(), secret);
    });
    request.isSensitive = true;
    return call(std::move(request), [](BusMessage&) { return true; });
}

SecretService::Answer<std::string> SecretService::defaultCollection()
{
    BusRequest request = newRequest(kRoot, kService, "ReadAlias");
    request.argument = "default";
    return callForPath(std::move(request), nullptr);
}

SecretService::Answer<bool> SecretService::isLocked(const std::string& collection)
{
    std::optional<bool> isLocked;
    const auto answer =
        call(newRequest(collection, "org.freedesktop.DBus.Properties", "Get",
                        [](sd_bus_message* message) {
                            return sd_bus_message_append(message, "ss", kCollection.c_str(), "Locked");
                        }),
             [&](BusMessage& message) {
                 if (message.enter(SD_BUS_TYPE_VARIANT, "b"))
                     isLocked = message.readFlag();
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
    return callForPath(std::move(request), "o");
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

SecretService::Answer<std::string> SecretService::unlock(const std::string& object)
{
    return callForPath(newRequest(kRoot, kService, "Unlock",
                                  [&](sd_bus_message* message) {
                                      return sd_bus_message_append(message, "ao", 1, object.c_str());
                                  }),
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
                         if (message.readFlag().value_or(true))
                             fault = SecretFault::Dismissed;
                     });
    const auto departure = bus_->listen(kOwnerRule, [&](BusMessage&) {
        isAnswered = true;
        fault = SecretFault::NoService;
    });
    BusRequest request = newRequest(prompt, kPrompt, "Prompt");
    request.argument = ""; // There is no window that it belongs to.
    beginLimit();
    if (auto answer = call(std::move(request), [](BusMessage&) { return true; }); !answer)
        return answer;
    if (auto answer = runUntil([&] { return isAnswered; }, Clock::TimePoint::max()); !answer)
        return answer;
    if (fault)
        return Failure{*fault};
    return Done{};
}

} // namespace velmo
