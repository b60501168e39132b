#pragma once

#include "platform/AccessibleFocus.h"
#include "platform/linux/BusConnection.h"
#include "platform/linux/FocusFinding.h"

#include <memory>
#include <string>
#include <thread>

namespace velmo {

/// Focused elements of applications that describe themselves on the accessibility bus, AT-SPI. A thread of
/// its own speaks to the bus, from construction on, so that events tell early who has the focus. It uses the
/// bus if there is one, at whatever time, and never starts it nor switches accessibility on: that would be a
/// permanent choice of the user. Main thread; neither calls nor the destructor depend on how a bus or an
/// application does.
class AtSpiFocus final : public AccessibleFocus {
public:
    explicit AtSpiFocus(std::string address = BusConnection::sessionAddress());
    ~AtSpiFocus() override;

    /// Found within 150 ms, or not at all.
    [[nodiscard]] std::shared_ptr<FocusedElement> focusedElement(qint32 processID) override;
    /// Tried for 150 ms.
    void focus(const std::shared_ptr<FocusedElement>& element) override;

    /// How far the lookup of an element of focusedElement() has come.
    [[nodiscard]] static FocusFinding finding(const FocusedElement& element);

private:
    class Element;
    class Mailbox;

    const std::shared_ptr<Mailbox> mailbox_;
    quint64 lastNumber_ = 0;
    std::thread thread_;
};

} // namespace velmo
