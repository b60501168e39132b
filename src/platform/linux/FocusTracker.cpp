#include "platform/linux/FocusTracker.h"

#include "platform/linux/AtSpiNames.h"

#include <utility>

namespace velmo {
namespace {

/// More than any desktop has, and little enough for whoever opens connections without end.
constexpr size_t kMostClients = 4096;
/// Answers that nobody waits for may take their time.
constexpr std::chrono::seconds kAnswerLimit{30};

/// The bus itself leaves out all other changes of state.
const std::string kFocusRule =
    "type='signal',interface='org.a11y.atspi.Event.Object',member='StateChanged',arg0='focused'";
const std::string kFocusEvent = "object:state-changed:focused";

BusRequest registryRequest(const char* member)
{
    return {atspi::kRegistry, atspi::kRegistryPath, atspi::kRegistry, member, kFocusEvent};
}

} // namespace

FocusTracker::FocusTracker(BusConnection& bus, FocusHandler onFocus)
    : bus_(bus)
    , onFocus_(std::move(onFocus))
{
    ownerChanges_ = bus_.listen(ownerRule(), [this](BusMessage& message) { onOwnerChanged(message); });
    stateChanges_ = bus_.listen(kFocusRule, [this](BusMessage& message) { onStateChanged(message); });
    namesCall_ = bus_.call(requestToBus("ListNames"), kAnswerLimit, [this](BusMessage& message) {
        for (const auto& name : message.readTexts())
            addClient(name);
    });
    registerForEvents();
}

FocusTracker::~FocusTracker()
{
    bus_.tell(registryRequest("DeregisterEvent"));
}

/// Applications speak of their focus only while somebody is registered for it.
void FocusTracker::registerForEvents()
{
    registration_ = bus_.call(registryRequest("RegisterEvent"), kAnswerLimit, [](BusMessage&) {});
}

void FocusTracker::announceAgain()
{
    // The registry would count the same listener twice.
    bus_.tell(registryRequest("DeregisterEvent"));
    registerForEvents();
}

void FocusTracker::onOwnerChanged(BusMessage& message)
{
    const auto change = message.readOwnerChange();
    if (!change)
        return;
    if (change->owner.empty())
        clients_.erase(change->name);
    else if (change->name == atspi::kRegistry)
        registerForEvents();
    else
        addClient(change->name);
}

FocusTracker::Client* FocusTracker::addClient(const std::string& name)
{
    // Other names are names of those that have one of these already.
    if (!name.starts_with(':'))
        return nullptr;
    if (const auto known = clients_.find(name); known != clients_.end())
        return &known->second;
    if (clients_.size() >= kMostClients)
        return nullptr;
    Client& client = clients_[name];
    client.processCall = bus_.call(
        requestToBus("GetConnectionUnixProcessID", name), kAnswerLimit, [this, name](BusMessage& message) {
            const auto found = clients_.find(name);
            const auto processID = message.readNumber();
            if (found == clients_.end() || !processID)
                return;
            found->second.processID = static_cast<qint32>(*processID);
            if (!found->second.focusedPath.empty())
                onFocus_(*found->second.processID, {name, found->second.focusedPath});
        });
    return &client;
}

void FocusTracker::onStateChanged(BusMessage& message)
{
    const auto state = message.readText();
    const auto isOn = message.readSigned();
    const BusObject element = message.origin();
    if (state != "focused" || isOn != 1 || element.path.empty())
        return;
    Client* client = addClient(element.name);
    if (client == nullptr)
        return;
    client->focusedPath = element.path;
    client->focusedAt = ++events_;
    if (client->processID)
        onFocus_(*client->processID, element);
}

std::optional<BusObject> FocusTracker::lastFocused(qint32 processID) const
{
    std::optional<BusObject> last;
    quint64 lastAt = 0;
    for (const auto& [name, client] : clients_) {
        if (client.processID != processID || client.focusedAt <= lastAt)
            continue;
        last = BusObject{name, client.focusedPath};
        lastAt = client.focusedAt;
    }
    return last;
}

std::vector<BusObject> FocusTracker::roots(qint32 processID) const
{
    std::vector<BusObject> found;
    for (const auto& [name, client] : clients_) {
        if (client.processID == processID)
            found.push_back({name, atspi::kRootPath});
    }
    return found;
}

} // namespace velmo
