#pragma once

namespace velmo {

/// Tells when this computer's routes or addresses change, so that a request that found no network can try
/// again. One thread.
class NetworkChanges {
public:
    NetworkChanges();
    NetworkChanges(const NetworkChanges&) = delete;
    NetworkChanges& operator=(const NetworkChanges&) = delete;
    ~NetworkChanges();

    /// Readable when something changed; -1 if the kernel does not tell.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    /// Forgets what was told so far.
    void drain() const;

    /// Whether there is a way out of this computer at all. Sends nothing; any thread.
    [[nodiscard]] static bool hasRoute();

private:
    int descriptor_;
};

} // namespace velmo
