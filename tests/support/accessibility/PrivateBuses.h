#pragma once

#include "support/x11/ChildProcess.h"

#include <QByteArray>
#include <QTemporaryDir>
#include <optional>

namespace velmo::test {

/// A session bus of the test's own, on which nothing starts by itself unless the test offers it, and an
/// accessibility bus beside it when the test wants one. All of it, and what was started on it, is gone with
/// this object.
class PrivateBuses {
public:
    PrivateBuses();
    PrivateBuses(const PrivateBuses&) = delete;
    PrivateBuses& operator=(const PrivateBuses&) = delete;

    [[nodiscard]] QByteArray sessionAddress() const { return address_; }
    [[nodiscard]] pid_t sessionProcess() const { return session_.processID(); }

    /// From now on the session bus starts the command for whoever calls the name.
    [[nodiscard]] bool offer(const QByteArray& name, const QByteArray& command);

    /// True when applications can find the accessibility bus.
    [[nodiscard]] bool startAccessibility();
    /// Everything that belongs to it is gone when this returns.
    void stopAccessibility() { launcher_.stop(); }

    /// The daemon of the accessibility bus; nothing without.
    [[nodiscard]] std::optional<pid_t> accessibilityProcess() const;
    /// The registry of applications and listeners there: waits until an application has started it and is
    /// known to it.
    [[nodiscard]] std::optional<pid_t> registryProcess() const;

private:
    [[nodiscard]] std::optional<std::string> accessibilityAddress() const;
    [[nodiscard]] std::optional<pid_t> ownerOf(const std::string& name) const;

    QTemporaryDir folder_;
    QByteArray address_;
    ChildProcess session_;
    ChildProcess launcher_; ///< With someone to look after what it starts.
};

} // namespace velmo::test
