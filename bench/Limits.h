#pragma once

#include <map>
#include <string>

namespace velmo::bench {

/// What was measured, and what it must not exceed. A benchmark that was not run sets no limit.
class Limits {
public:
    static Limits& shared();

    /// Keeps the smallest value: what is above it, the machine did beside.
    void note(const std::string& name, double value);
    [[nodiscard]] double value(const std::string& name) const;

    /// Prints a figure and whether it is within its limit; one that was not measured is passed over.
    void check(const std::string& what, double figure, double limit);
    /// The same for the quotient of two values that were noted.
    void checkRatio(const std::string& what, const std::string& value, const std::string& to, double limit);

    /// Prints a figure that has no limit.
    static void report(const std::string& what, double figure);

    /// A benchmark that was to run could not.
    void fail(const std::string& reason);

    [[nodiscard]] bool allKept() const { return allKept_; }

private:
    std::map<std::string, double> values_;
    bool allKept_ = true;
};

} // namespace velmo::bench
