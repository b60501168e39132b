#pragma once

#include "support/practice/Scenario.h"
#include "support/providers/Vendor.h"

#include <QStringList>

namespace velmo {

/// What one way of answering must lead to.
struct Expectation {
    practice::Scenario scenario;
    QStringList pieces;
    /// Empty: the answer ends well. Otherwise a description or its beginning.
    QString failure;
    /// The failure comes before the head, and a second try is made.
    bool retried = false;
    bool beforeHead = false;
    int status = 200;
};

/// What the server's ways of answering must lead to, whoever asks.
[[nodiscard]] Expectation expectationOf(practice::ScenarioKind kind, Vendor vendor);

} // namespace velmo
