#include "support/accessibility/BusAccess.h"

#include "support/x11/Await.h"

namespace velmo::test {

bool askBus(const std::string& address, const BusRequest& request,
            const std::function<void(BusMessage&)>& handler)
{
    const auto bus = BusConnection::open(address);
    if (!bus)
        return false;
    bool isAnswered = false;
    bool isGood = false;
    const auto call = bus->call(request, kPatience, [&](BusMessage& message) {
        isAnswered = true;
        isGood = !message.isError();
        if (isGood)
            handler(message);
    });
    bool isLost = false;
    static_cast<void>(awaitCondition([&] {
        isLost = !bus->process();
        return isAnswered || isLost;
    }));
    return isGood;
}

} // namespace velmo::test
