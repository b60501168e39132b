#include "Limits.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace velmo::bench {

Limits& Limits::shared()
{
    static Limits limits;
    return limits;
}

void Limits::note(const std::string& name, double value)
{
    const auto [entry, isNew] = values_.emplace(name, value);
    if (!isNew)
        entry->second = std::min(entry->second, value);
}

double Limits::value(const std::string& name) const
{
    const auto entry = values_.find(name);
    return entry == values_.end() ? std::numeric_limits<double>::quiet_NaN() : entry->second;
}

void Limits::check(const std::string& what, double figure, double limit)
{
    if (std::isnan(figure))
        return;
    const bool kept = figure <= limit;
    allKept_ = allKept_ && kept;
    std::printf("%-72s %8.2f  limit %5.2f  %s\n", what.c_str(), figure, limit, kept ? "kept" : "EXCEEDED");
}

void Limits::checkRatio(const std::string& what, const std::string& value, const std::string& to,
                        double limit)
{
    check(what, this->value(value) / this->value(to), limit);
}

void Limits::fail(const std::string& reason)
{
    allKept_ = false;
    std::printf("FAILED: %s\n", reason.c_str());
}

void Limits::report(const std::string& what, double figure)
{
    if (!std::isnan(figure))
        std::printf("%-72s %8.2f\n", what.c_str(), figure);
}

} // namespace velmo::bench
