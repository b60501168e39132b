#pragma once

#include "support/practice/Dialect.h"
#include "support/practice/Reply.h"
#include "support/practice/Scenario.h"

#include <QByteArrayList>
#include <QStringList>

#include <chrono>
#include <functional>

namespace velmo::practice {

/// What is answered, before it is decided how it travels. Plain value.
struct ResponsePlan {
    int status = 200;
    QByteArray contentType = "application/json";
    HeaderList headers{};
    QByteArrayList blocks{}; ///< The body; each block is sent on its own when the body is streamed.
    qsizetype cutBlock = 1;  ///< The number of blocks that precede a fault in the body.
    bool isStream = false;   ///< Chunked, rather than with a Content-Length.
    std::chrono::milliseconds blockDelay{0};
    /// For bodies too large to hold: more blocks, sent after the others, until it returns an empty one.
    std::function<QByteArray()> moreBlocks{};
};

/// A JSON answer in one block.
[[nodiscard]] ResponsePlan planJson(int status, const QByteArray& body);

/// An event stream that says these pieces, changed as the scenario asks.
[[nodiscard]] ResponsePlan planStream(const Dialect& dialect, const Scenario& scenario, const QString& model,
                                      const QStringList& pieces);

/// The answer of the Custom scenario.
[[nodiscard]] ResponsePlan planCustom(const Scenario& scenario);

/// The steps that send a plan, with the faults of the scenario that concern the transport.
[[nodiscard]] Reply makeReply(const Scenario& scenario, const ResponsePlan& plan,
                              const RecordedRequest& request);

} // namespace velmo::practice
