#include "platform/linux/MicrophoneLookup.h"

#include "platform/linux/PulseLibrary.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace velmo {

namespace {

bool isMonitor(const pa_source_info& source)
{
    if (source.monitor_of_sink != PA_INVALID_INDEX)
        return true;
    const char* kind = pa_proplist_gets(source.proplist, PA_PROP_DEVICE_CLASS);
    return kind != nullptr && std::string_view(kind) == "monitor";
}

/// A socket without a plug.
bool isUnplugged(const pa_source_info& source)
{
    const std::span ports(source.ports, source.n_ports);
    return !ports.empty() && std::all_of(ports.begin(), ports.end(), [](const pa_source_port_info* port) {
        return port->available == PA_PORT_AVAILABLE_NO;
    });
}

} // namespace

MicrophoneLookup::MicrophoneLookup(pa_context& context, Handler onFound)
    : onFound_(std::move(onFound))
    , askServer_(pa_context_get_server_info(
          &context,
          [](pa_context*, const pa_server_info* server, void* self) {
              if (server != nullptr)
                  static_cast<MicrophoneLookup*>(self)->onServer(*server);
          },
          this))
    // The answers come in the order of the questions, so both can be asked at once.
    , askSources_(pa_context_get_source_info_list(
          &context,
          [](pa_context* asked, const pa_source_info* source, int end, void* self) {
              if (end == 0)
                  static_cast<MicrophoneLookup*>(self)->onSource(*source);
              else
                  static_cast<MicrophoneLookup*>(self)->finish(end < 0 ? pa_context_errno(asked) : 0);
          },
          this))
{}

MicrophoneLookup::~MicrophoneLookup() = default;

void MicrophoneLookup::onServer(const pa_server_info& server)
{
    if (server.default_source_name != nullptr)
        default_ = server.default_source_name;
}

void MicrophoneLookup::onSource(const pa_source_info& source)
{
    if (isMonitor(source))
        return;
    constexpr int kDefault = 4;
    constexpr int kPlugged = 2;
    constexpr int kHardware = 1;
    const int rank = (source.name == default_ ? kDefault : 0) + (isUnplugged(source) ? 0 : kPlugged) +
                     ((source.flags & PA_SOURCE_HARDWARE) != 0 ? kHardware : 0);
    if (!best_ || rank > best_->rank)
        best_ = Source{source.name, rank};
}

void MicrophoneLookup::finish(int error)
{
    const Handler onFound = std::move(onFound_);
    onFound(best_ ? std::optional(best_->name) : std::nullopt, error);
}

} // namespace velmo
