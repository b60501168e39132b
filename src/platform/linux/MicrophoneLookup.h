#pragma once

#include "platform/linux/PulsePointers.h"

#include <functional>
#include <optional>
#include <string>

struct pa_server_info;
struct pa_source_info;

namespace velmo {

/// Asks the sound server for the microphone: the default source, or the best other one where that is none.
/// What the speakers play is a source, too, and even the default one on a computer without a microphone; it
/// is never the answer. On the loop's thread; destroying it ends the question.
class MicrophoneLookup {
public:
    /// Nothing when there is no microphone, or when the server refuses to say; then with its error, else 0.
    /// May destroy the lookup.
    using Handler = std::function<void(std::optional<std::string> name, int error)>;

    MicrophoneLookup(pa_context& context, Handler onFound);
    MicrophoneLookup(const MicrophoneLookup&) = delete;
    MicrophoneLookup& operator=(const MicrophoneLookup&) = delete;
    ~MicrophoneLookup();

private:
    struct Source {
        std::string name;
        int rank = 0;
    };

    void onServer(const pa_server_info& server);
    void onSource(const pa_source_info& source);
    void finish(int error);

    Handler onFound_;
    std::string default_;
    std::optional<Source> best_;
    PulseOperationPtr askServer_;
    PulseOperationPtr askSources_;
};

} // namespace velmo
