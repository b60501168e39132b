#pragma once

#include "platform/linux/Interrupt.h"

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace velmo::test {

/// What a scripted keyring holds and how it behaves.
struct KeyringScript {
    struct Collection {
        bool isLocked = false;
        bool hidesItems = false; ///< While it is locked, searches do not find what is in it.
    };
    struct Item {
        std::string path; ///< Below that of its collection.
        std::string account;
        std::string secret;
    };
    /// How the calls of a method are answered.
    struct Manner {
        std::chrono::milliseconds delay{0}; ///< From the deed to the answer; others wait as well.
        std::string error{};                ///< In place of the deed, if any.
        bool isGarbage = false;             ///< The answer has nothing that anybody expects.
        int calls = -1;                     ///< How many have their turn; negative for all.
    };
    enum class Prompt {
        None,      ///< Unlocking asks nobody.
        Accepts,   ///< Somebody unlocks as soon as asked.
        Dismisses, ///< Somebody declines as soon as asked.
        Waits,     ///< The test answers, or nobody.
    };

    static inline const std::string kRoot = "/org/freedesktop/secrets";
    static inline const std::string kMain = kRoot + "/collection/main";
    static inline const std::string kOther = kRoot + "/collection/another";

    std::map<std::string, Collection> collections{{kMain, {}}};
    std::string defaultCollection = kMain;
    std::vector<Item> items;               ///< In the order in which they are found.
    std::map<std::string, Manner> manners; ///< By method.
    Prompt prompt = Prompt::None;
    bool unlocks = true;            ///< Or only says so.
    std::vector<std::string> calls; ///< The methods, as they came.
};

/// A keyring that does what real ones do not do on request. It answers on a thread of its own.
class ScriptedKeyring {
public:
    /// On the bus when this returns.
    explicit ScriptedKeyring(const std::string& busAddress);
    ScriptedKeyring(const ScriptedKeyring&) = delete;
    ScriptedKeyring& operator=(const ScriptedKeyring&) = delete;
    ~ScriptedKeyring();

    /// Looks at the script, or changes it, between two calls.
    template <typename Function>
    auto with(Function function)
    {
        const std::scoped_lock lock(mutex_);
        return function(script_);
    }

    void setManner(const std::string& method, const KeyringScript::Manner& manner);
    void addItem(const std::string& path, const std::string& account, const std::string& secret);
    /// The secret of the item with this path; nothing if there is none.
    [[nodiscard]] std::optional<std::string> secretOf(const std::string& path);
    [[nodiscard]] size_t itemCount();
    [[nodiscard]] long countOf(const std::string& method);
    /// Answers that are held back come now, and from now on at once.
    void stopDelaying();
    /// Answers a prompt that waits.
    void answerPrompt(bool isDismissed);

private:
    void run();
    int answer(sd_bus_message* call);
    int perform(sd_bus_message* call, sd_bus_message* reply, const std::string& method);
    int findItems(sd_bus_message* call, sd_bus_message* reply);
    int unlock(sd_bus_message* call, sd_bus_message* reply);
    int create(sd_bus_message* call, sd_bus_message* reply);
    int showPrompt();
    void completePrompt(bool isDismissed);
    [[nodiscard]] KeyringScript::Item* itemAt(const std::string& path);
    [[nodiscard]] KeyringScript::Collection* collectionOf(const std::string& path);

    std::mutex mutex_; ///< Guards all but the thread.
    std::condition_variable changes_;
    bool isClosing_ = false;
    bool isDelaying_ = true;
    KeyringScript script_;
    std::vector<std::string> asked_; ///< What the prompt is about.
    std::optional<bool> promptAnswer_;
    sd_bus* bus_ = nullptr;
    Interrupt closing_;
    std::thread thread_;
};

} // namespace velmo::test
