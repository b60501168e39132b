#pragma once

#include <random>
#include <string>
#include <vector>

namespace velmo::test {

/// Alphabets in which nearly every text is full of markers that meet, overlap and miss one another.
[[nodiscard]] const std::vector<std::u16string>& nastyAlphabets();

/// Texts over those alphabets, in lengths that favour the short; the same for the same seed on every machine.
class RandomText {
public:
    explicit RandomText(unsigned seed)
        : generator_(seed)
    {}

    [[nodiscard]] std::u16string next();
    /// From 0 to below the given number.
    [[nodiscard]] std::size_t below(std::size_t count) { return generator_() % count; }

private:
    std::mt19937 generator_;
};

} // namespace velmo::test
