#include "support/keyring/ScriptedKeyring.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <poll.h>

namespace velmo::test {
namespace {

const std::string kPromptPath = KeyringScript::kRoot + "/prompt/1";
const char* const kSession = "/org/freedesktop/secrets/session/1";
const char* const kLocked = "org.freedesktop.Secret.Error.IsLocked";
const char* const kNoObject = "org.freedesktop.DBus.Error.UnknownObject";

/// How soon what a test changed from outside is seen at the latest.
constexpr int kTurnMilliseconds = 5;

int appendPaths(sd_bus_message* reply, const std::vector<std::string>& paths)
{
    sd_bus_message_open_container(reply, 'a', "o");
    for (const std::string& path : paths)
        sd_bus_message_append(reply, "o", path.c_str());
    return sd_bus_message_close_container(reply);
}

std::string readSecret(sd_bus_message* call)
{
    const void* bytes = nullptr;
    size_t count = 0;
    sd_bus_message_enter_container(call, 'r', "oayays");
    sd_bus_message_skip(call, "oay");
    sd_bus_message_read_array(call, 'y', &bytes, &count);
    sd_bus_message_skip(call, "s");
    sd_bus_message_exit_container(call);
    return {static_cast<const char*>(bytes), count};
}

/// The account in a list of attributes.
std::string readAccount(sd_bus_message* call)
{
    std::string account;
    const char* name = nullptr;
    const char* value = nullptr;
    sd_bus_message_enter_container(call, 'a', "{ss}");
    while (sd_bus_message_read(call, "{ss}", &name, &value) > 0) {
        if (std::string(name) == "account")
            account = value;
    }
    sd_bus_message_exit_container(call);
    return account;
}

} // namespace

ScriptedKeyring::ScriptedKeyring(const std::string& busAddress)
{
    sd_bus_new(&bus_);
    sd_bus_set_address(bus_, busAddress.c_str());
    sd_bus_set_bus_client(bus_, 1);
    sd_bus_start(bus_);
    sd_bus_add_filter(
        bus_, nullptr,
        [](sd_bus_message* message, void* keyring, sd_bus_error*) {
            return static_cast<ScriptedKeyring*>(keyring)->answer(message);
        },
        this);
    sd_bus_request_name(bus_, "org.freedesktop.secrets", 0);
    thread_ = std::thread([this] { run(); });
}

ScriptedKeyring::~ScriptedKeyring()
{
    {
        const std::scoped_lock lock(mutex_);
        isClosing_ = true;
    }
    changes_.notify_all();
    closing_.request();
    thread_.join();
    sd_bus_flush_close_unref(bus_);
}

void ScriptedKeyring::setManner(const std::string& method, const KeyringScript::Manner& manner)
{
    with([&](KeyringScript& script) { script.manners[method] = manner; });
}

void ScriptedKeyring::addItem(const std::string& path, const std::string& account, const std::string& secret)
{
    with([&](KeyringScript& script) { script.items.push_back({path, account, secret}); });
}

std::optional<std::string> ScriptedKeyring::secretOf(const std::string& path)
{
    const std::scoped_lock lock(mutex_);
    const auto* item = itemAt(path);
    return item == nullptr ? std::nullopt : std::optional(item->secret);
}

size_t ScriptedKeyring::itemCount()
{
    return with([](KeyringScript& script) { return script.items.size(); });
}

long ScriptedKeyring::countOf(const std::string& method)
{
    return with(
        [&](KeyringScript& script) { return std::count(script.calls.begin(), script.calls.end(), method); });
}

void ScriptedKeyring::stopDelaying()
{
    {
        const std::scoped_lock lock(mutex_);
        isDelaying_ = false;
    }
    changes_.notify_all();
}

void ScriptedKeyring::answerPrompt(bool isDismissed)
{
    const std::scoped_lock lock(mutex_);
    promptAnswer_ = isDismissed;
}

void ScriptedKeyring::run()
{
    std::unique_lock lock(mutex_);
    while (!isClosing_) {
        while (sd_bus_process(bus_, nullptr) > 0 && !isClosing_) {
        }
        if (promptAnswer_)
            completePrompt(*promptAnswer_);
        sd_bus_flush(bus_);
        std::array descriptors{pollfd{sd_bus_get_fd(bus_), POLLIN, 0},
                               pollfd{closing_.descriptor(), POLLIN, 0}};
        lock.unlock();
        poll(descriptors.data(), descriptors.size(), kTurnMilliseconds);
        lock.lock();
    }
}

int ScriptedKeyring::answer(sd_bus_message* call)
{
    if (sd_bus_message_is_method_call(call, nullptr, nullptr) <= 0)
        return 0;
    const std::string method = sd_bus_message_get_member(call);
    script_.calls.push_back(method);
    KeyringScript::Manner manner;
    if (const auto found = script_.manners.find(method);
        found != script_.manners.end() && found->second.calls != 0) {
        manner = found->second;
        --found->second.calls;
    }
    if (!manner.error.empty())
        return sd_bus_reply_method_errorf(call, manner.error.c_str(), "as scripted");
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    const int outcome = perform(call, reply, method);
    std::unique_lock lock(mutex_, std::adopt_lock);
    changes_.wait_for(lock, manner.delay, [this] { return isClosing_ || !isDelaying_; });
    lock.release();
    if (outcome >= 0 && !manner.isGarbage)
        sd_bus_send(bus_, reply, nullptr);
    sd_bus_message_unref(reply);
    if (manner.isGarbage)
        return sd_bus_reply_method_return(call, "s", "garbage");
    // Its prompt completes after the answer to the call that showed it.
    return method == "Prompt" ? showPrompt() : 1;
}

int ScriptedKeyring::perform(sd_bus_message* call, sd_bus_message* reply, const std::string& method)
{
    const std::string path = sd_bus_message_get_path(call);
    const auto refuse = [call](const char* error) {
        sd_bus_reply_method_errorf(call, error, "as scripted");
        return -1;
    };
    if (method == "OpenSession")
        return sd_bus_message_append(reply, "vo", "s", "", kSession);
    if (method == "SearchItems")
        return findItems(call, reply);
    if (method == "ReadAlias")
        return sd_bus_message_append(reply, "o", script_.defaultCollection.c_str());
    if (method == "Unlock")
        return unlock(call, reply);
    if (method == "Prompt")
        return 0;
    const auto* collection = collectionOf(path);
    if (collection == nullptr)
        return refuse(kNoObject);
    if (method == "Get")
        return sd_bus_message_append(reply, "v", "b", static_cast<int>(collection->isLocked));
    if (collection->isLocked)
        return refuse(kLocked);
    if (method == "CreateItem")
        return create(call, reply);
    auto* item = itemAt(path);
    if (item == nullptr)
        return refuse(kNoObject);
    if (method == "SetSecret") {
        item->secret = readSecret(call);
        return 0;
    }
    if (method != "GetSecret")
        return refuse("org.freedesktop.DBus.Error.UnknownMethod");
    sd_bus_message_open_container(reply, 'r', "oayays");
    sd_bus_message_append(reply, "oay", kSession, 0);
    sd_bus_message_append_array(reply, 'y', item->secret.data(), item->secret.size());
    sd_bus_message_append(reply, "s", "text/plain");
    return sd_bus_message_close_container(reply);
}

int ScriptedKeyring::findItems(sd_bus_message* call, sd_bus_message* reply)
{
    const std::string account = readAccount(call);
    std::vector<std::string> unlocked;
    std::vector<std::string> locked;
    for (const auto& item : script_.items) {
        const auto* collection = collectionOf(item.path);
        if (item.account != account || (collection->isLocked && collection->hidesItems))
            continue;
        (collection->isLocked ? locked : unlocked).push_back(item.path);
    }
    appendPaths(reply, unlocked);
    return appendPaths(reply, locked);
}

int ScriptedKeyring::unlock(sd_bus_message* call, sd_bus_message* reply)
{
    std::vector<std::string> paths;
    const char* path = nullptr;
    sd_bus_message_enter_container(call, 'a', "o");
    while (sd_bus_message_read(call, "o", &path) > 0)
        paths.emplace_back(path);
    if (script_.prompt != KeyringScript::Prompt::None) {
        asked_ = paths;
        appendPaths(reply, {});
        return sd_bus_message_append(reply, "o", kPromptPath.c_str());
    }
    for (const std::string& one : paths)
        collectionOf(one)->isLocked = !script_.unlocks;
    appendPaths(reply, paths);
    return sd_bus_message_append(reply, "o", "/");
}

int ScriptedKeyring::create(sd_bus_message* call, sd_bus_message* reply)
{
    std::string account;
    sd_bus_message_enter_container(call, 'a', "{sv}");
    while (sd_bus_message_enter_container(call, 'e', "sv") > 0) {
        const char* property = nullptr;
        sd_bus_message_read(call, "s", &property);
        if (std::string(property) == "org.freedesktop.Secret.Item.Attributes") {
            sd_bus_message_enter_container(call, 'v', "a{ss}");
            account = readAccount(call);
            sd_bus_message_exit_container(call);
        } else {
            sd_bus_message_skip(call, "v");
        }
        sd_bus_message_exit_container(call);
    }
    sd_bus_message_exit_container(call);
    const std::string path =
        std::string(sd_bus_message_get_path(call)) + "/new" + std::to_string(script_.items.size());
    script_.items.push_back({path, account, readSecret(call)});
    return sd_bus_message_append(reply, "oo", path.c_str(), "/");
}

int ScriptedKeyring::showPrompt()
{
    if (script_.prompt != KeyringScript::Prompt::Waits)
        completePrompt(script_.prompt == KeyringScript::Prompt::Dismisses);
    return 1;
}

void ScriptedKeyring::completePrompt(bool isDismissed)
{
    promptAnswer_.reset();
    if (!isDismissed) {
        for (const std::string& path : asked_)
            collectionOf(path)->isLocked = false;
    }
    sd_bus_emit_signal(bus_, kPromptPath.c_str(), "org.freedesktop.Secret.Prompt", "Completed", "bv",
                       static_cast<int>(isDismissed), "s", "");
}

KeyringScript::Item* ScriptedKeyring::itemAt(const std::string& path)
{
    const auto found = std::find_if(script_.items.begin(), script_.items.end(),
                                    [&](const auto& item) { return item.path == path; });
    return found == script_.items.end() ? nullptr : &*found;
}

KeyringScript::Collection* ScriptedKeyring::collectionOf(const std::string& path)
{
    for (auto& [collection, state] : script_.collections) {
        if (path == collection || path.starts_with(collection + '/'))
            return &state;
    }
    return nullptr;
}

} // namespace velmo::test
