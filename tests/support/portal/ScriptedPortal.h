#pragma once

#include <QSocketNotifier>
#include <cstdint>
#include <memory>
#include <string>

struct sd_bus;
struct sd_bus_message;

namespace velmo::test {

/// The settings of a desktop's portal, as far as the colour scheme goes. It answers from the main loop.
class ScriptedPortal {
public:
    enum class Manner {
        Answers,
        IsSilent,
        DoesNotKnow, ///< The setting.
        Babbles,     ///< Its answers are nothing that anybody expects.
    };

    /// On the bus when this returns.
    ScriptedPortal(const std::string& busAddress, uint32_t scheme, Manner manner = Manner::Answers);
    ScriptedPortal(const ScriptedPortal&) = delete;
    ScriptedPortal& operator=(const ScriptedPortal&) = delete;
    ~ScriptedPortal();

    /// Tells everybody.
    void change(uint32_t scheme);
    /// Tells everybody that another setting has changed.
    void changeAnother();
    /// The next questions are answered in this way.
    void setManner(Manner manner) { manner_ = manner; }
    [[nodiscard]] int questions() const { return questions_; }

private:
    int answer(sd_bus_message* call);
    void process();
    void tell(const char* space, const char* key, uint32_t value);

    uint32_t scheme_;
    Manner manner_;
    int questions_ = 0;
    sd_bus* bus_ = nullptr;
    std::unique_ptr<QSocketNotifier> readable_;
};

/// Tells of new colours as Plasma does, over a connection of its own.
void announcePlasmaColors(const std::string& busAddress);

} // namespace velmo::test
