#pragma once

#include "platform/linux/BusMessage.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace velmo::test {

/// A signal about an element.
struct AtSpiEvent {
    BusObject source;
    QByteArray member; ///< Such as TextChanged.
    QString kind;      ///< Such as insert.
    int first = 0;
    int second = 0;
    QString text; ///< What it carries, if that is a text.
};

/// Reads other programs' elements on an accessibility bus, as a screen reader does, and hears their events.
/// It waits for answers with the main loop running, so a test may read its own widgets. Main thread.
class AtSpiReader {
public:
    /// Finds the accessibility bus on a session bus, and asks for all events of elements and windows.
    explicit AtSpiReader(const std::string& sessionAddress);
    AtSpiReader(const AtSpiReader&) = delete;
    AtSpiReader& operator=(const AtSpiReader&) = delete;
    ~AtSpiReader();

    [[nodiscard]] bool isConnected() const { return bus_ != nullptr; }

    /// The application's own element, once it is on the bus.
    [[nodiscard]] std::optional<BusObject> application(qint64 processID);
    [[nodiscard]] std::vector<BusObject> children(const BusObject& element);
    [[nodiscard]] QString name(const BusObject& element);
    [[nodiscard]] QString description(const BusObject& element);
    /// A number of the bus's own vocabulary.
    [[nodiscard]] unsigned role(const BusObject& element);
    [[nodiscard]] QString roleName(const BusObject& element);
    [[nodiscard]] bool hasState(const BusObject& element, unsigned bit);
    /// The first element of that name below this one, or this one.
    [[nodiscard]] std::optional<BusObject> find(const BusObject& from, const QString& name);
    [[nodiscard]] bool grabFocus(const BusObject& element);

    [[nodiscard]] QString text(const BusObject& element, int begin = 0, int end = -1);
    [[nodiscard]] int characterCount(const BusObject& element);
    /// The word, line or whatever the boundary is one of around the offset.
    [[nodiscard]] QString textAt(const BusObject& element, int offset, unsigned boundary);
    /// Each as name:value.
    [[nodiscard]] QStringList attributes(const BusObject& element, int offset);

    [[nodiscard]] const std::vector<AtSpiEvent>& events() const { return events_; }
    void forgetEvents() { events_.clear(); }
    /// What has arrived meanwhile.
    void process();

private:
    struct Unref {
        void operator()(sd_bus_message* message) const;
    };
    using Message = std::unique_ptr<sd_bus_message, Unref>;
    using Fill = std::function<int(sd_bus_message*)>;

    Message call(const BusObject& element, const char* interface, const char* member, const Fill& fill = {});
    Message property(const BusObject& element, const char* interface, const char* name);
    QString textProperty(const BusObject& element, const char* name);
    static int note(sd_bus_message* message, void* reader, void* error);

    sd_bus* bus_ = nullptr;
    std::vector<AtSpiEvent> events_;
};

} // namespace velmo::test
