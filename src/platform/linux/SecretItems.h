#pragma once

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

namespace velmo {

/// Paths of all items that hold one secret. There may be several, of other programs' making or in other
/// collections.
struct SecretItems {
    std::vector<std::string> unlocked;
    std::vector<std::string> locked;

    [[nodiscard]] bool isEmpty() const { return unlocked.empty() && locked.empty(); }
    [[nodiscard]] size_t size() const { return unlocked.size() + locked.size(); }

    /// Those of the collection come first, then it goes by their paths: who reads and who writes agree on
    /// which counts, however the service lists them.
    void sort(const std::string& collection)
    {
        const auto rank = [&](const std::string& path) {
            return std::tuple(!path.starts_with(collection + '/'), path);
        };
        const auto isBefore = [&](const std::string& one, const std::string& other) {
            return rank(one) < rank(other);
        };
        std::sort(unlocked.begin(), unlocked.end(), isBefore);
        std::sort(locked.begin(), locked.end(), isBefore);
        hasLockedFirst_ = !locked.empty() && (unlocked.empty() || isBefore(locked.front(), unlocked.front()));
    }

    /// Whether a locked one would come to light later, in place of what is written to the others. An empty
    /// secret stands for none, and must be in all of them.
    [[nodiscard]] bool mustBeUnlockedFor(const std::string& secret) const
    {
        return secret.empty() ? !locked.empty() : hasLockedFirst_;
    }

private:
    bool hasLockedFirst_ = false;
};

} // namespace velmo
