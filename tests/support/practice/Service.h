#pragma once

#include "support/practice/Dialect.h"
#include "support/practice/ImageMeasure.h"
#include "support/practice/Reply.h"
#include "support/practice/ResponsePlan.h"
#include "support/practice/ServerState.h"
#include "support/practice/Speech.h"

#include <chrono>
#include <memory>

namespace velmo::practice {

/// Decides what a request is answered. Used by the thread of the server only.
class Service {
public:
    struct Settings {
        QByteArray scheme = "http";
        std::chrono::milliseconds pieceDelay{0};
        RedRule redRule{};
    };

    explicit Service(Settings settings);

    [[nodiscard]] Reply replyTo(const RecordedRequest& request, Instructions instructions);

private:
    [[nodiscard]] const Dialect* dialectOf(const QByteArray& plainPath) const;
    [[nodiscard]] ResponsePlan planSpeech(const RecordedRequest& request, const Instructions& instructions);
    [[nodiscard]] ResponsePlan planModel(const RecordedRequest& request,
                                         const Instructions& instructions) const;

    Settings settings_;
    std::unique_ptr<Dialect> messages_ = makeMessagesDialect();
    std::unique_ptr<Dialect> chat_ = makeChatDialect();
    SpeechDesk speechDesk_;
};

} // namespace velmo::practice
