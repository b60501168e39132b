#pragma once

#include "platform/linux/BusConnection.h"

#include <QtGlobal>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmo {

/// Who is on an accessibility bus, and which element of each had the focus last, by the events that tell of
/// it. Lives no longer than the connection. One thread.
class FocusTracker {
public:
    using FocusHandler = std::function<void(qint32 processID, const BusObject& element)>;

    /// The handler is told of every element that gets the focus.
    FocusTracker(BusConnection& bus, FocusHandler onFocus);
    FocusTracker(const FocusTracker&) = delete;
    FocusTracker& operator=(const FocusTracker&) = delete;
    /// Lets applications stop telling.
    ~FocusTracker();

    [[nodiscard]] BusConnection& bus() const { return bus_; }

    /// The element that got the focus last; nothing as long as no event told of one.
    [[nodiscard]] std::optional<BusObject> lastFocused(qint32 processID) const;
    /// Where the trees of elements of a process begin; empty as long as it is not known to be there.
    [[nodiscard]] std::vector<BusObject> roots(qint32 processID) const;

    /// For applications that never told of anything: they may have asked who listens just before this began
    /// to, and have waited for news only after that.
    void announceAgain();

private:
    struct Client {
        std::optional<qint32> processID; ///< Once the bus has told.
        std::string focusedPath;         ///< Empty if unknown.
        quint64 focusedAt = 0;           ///< Counts events.
        BusListener processCall;
    };

    void registerForEvents();
    void onOwnerChanged(BusMessage& message);
    void onStateChanged(BusMessage& message);
    Client* addClient(const std::string& name);

    BusConnection& bus_;
    const FocusHandler onFocus_;
    std::map<std::string, Client> clients_; ///< By bus name.
    quint64 events_ = 0;
    BusListener ownerChanges_;
    BusListener stateChanges_;
    BusListener namesCall_;
    BusListener registration_;
};

} // namespace velmo
