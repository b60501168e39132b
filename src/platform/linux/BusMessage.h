#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus_message;

namespace velmo {

/// An object on a bus.
struct BusObject {
    std::string name; ///< Of the connection that has it.
    std::string path;
    friend bool operator==(const BusObject&, const BusObject&) = default;
};

/// A name on a bus came to somebody, or was given up.
struct BusOwnerChange {
    std::string name;
    std::string owner; ///< Empty if nobody has it any more.
};

/// A message that arrived. Its parts are read one after the other; what is not of the expected type is
/// nothing. Valid while its handler runs.
class BusMessage {
public:
    explicit BusMessage(sd_bus_message* message)
        : message_(message)
    {}

    [[nodiscard]] bool isError() const;
    /// For errors, by their name on the bus.
    [[nodiscard]] bool isError(const char* name) const;
    /// For errors: the name has no owner.
    [[nodiscard]] bool isFromNobody() const;
    /// The object that a signal comes from.
    [[nodiscard]] BusObject origin() const;

    [[nodiscard]] std::optional<std::string> readText();
    [[nodiscard]] std::optional<int32_t> readSigned();
    [[nodiscard]] std::optional<uint32_t> readNumber();
    /// A property's value that is true or false.
    [[nodiscard]] std::optional<bool> readFlagProperty();
    [[nodiscard]] std::vector<std::string> readTexts();
    [[nodiscard]] std::vector<uint32_t> readNumbers();
    /// A list of (name, path).
    [[nodiscard]] std::vector<BusObject> readObjects();

    [[nodiscard]] std::optional<BusOwnerChange> readOwnerChange();
    [[nodiscard]] std::optional<bool> readFlag();
    [[nodiscard]] std::optional<std::string> readPath();
    /// Nothing as well if there are more than anybody would have.
    [[nodiscard]] std::optional<std::vector<std::string>> readPaths();
    [[nodiscard]] std::optional<std::string> readBytes();

    /// Goes into a container, of the types that the library names; false if it is another.
    [[nodiscard]] bool enter(char type, const char* contents);
    void leave();
    /// It holds a secret: its own memory is erased when it is freed, not that of what was read from it.
    void eraseWhenFreed();
    /// Passes over what is of these types.
    void skip(const char* types);

    /// For calls of an object: which of its methods is meant.
    [[nodiscard]] std::string method() const;
    /// For calls, once: done.
    void answer();
    void answer(const std::string& text);
    /// For calls, once: not done. The name is that of an error on the bus.
    void refuse(const std::string& name, const std::string& text);
    /// For calls that are answered later: the message is valid as long as what this returns. That has to go
    /// before the connection does.
    [[nodiscard]] std::shared_ptr<sd_bus_message> keep() const;

private:
    sd_bus_message* message_;
};

} // namespace velmo
