#pragma once

#include "platform/HttpClient.h"

#include <QHash>
#include <QStringList>
#include <chrono>
#include <deque>
#include <vector>

namespace velmo {

/// What a ScriptedHttpClient is to answer, host by host, and what it was asked. It outlives the client.
struct HttpScript {
    /// The failure, or nothing for a head with status 200 and no body.
    using Answer = std::optional<HttpError>;

    /// In order; a host without any more is never answered.
    QHash<QString, std::deque<Answer>> answers;
    int status = 200;

    std::vector<HttpRequest> requests;
    std::vector<std::chrono::steady_clock::time_point> times;
    int openExchanges = 0;

    [[nodiscard]] int requestsTo(const QString& host) const
    {
        return static_cast<int>(
            std::count_if(requests.begin(), requests.end(),
                          [&host](const HttpRequest& request) { return request.url.host() == host; }));
    }
};

/// Answers at once, from the thread that asks.
class ScriptedHttpClient final : public HttpClient {
    struct Exchange final : HttpExchange {
        explicit Exchange(HttpScript& ownScript)
            : script(ownScript)
        {
            ++script.openExchanges;
        }
        Exchange(const Exchange&) = delete;
        Exchange& operator=(const Exchange&) = delete;
        ~Exchange() override { --script.openExchanges; }
        HttpScript& script;
    };
    struct Body final : HttpBody {
        void read(Consumer, EndHandler onEnd) override { onEnd(std::nullopt); }
    };

public:
    explicit ScriptedHttpClient(HttpScript& script)
        : script_(script)
    {}

    std::unique_ptr<HttpExchange> send(HttpRequest request, HeadHandler onHead) override
    {
        std::deque<HttpScript::Answer>& answers = script_.answers[request.url.host()];
        script_.requests.push_back(std::move(request));
        script_.times.push_back(std::chrono::steady_clock::now());
        auto exchange = std::make_unique<Exchange>(script_);
        if (answers.empty())
            return exchange;
        const HttpScript::Answer answer = answers.front();
        answers.pop_front();
        if (answer)
            onHead(Failure{*answer});
        else
            onHead(HttpResponse{{script_.status, {}}, std::make_unique<Body>()});
        return exchange;
    }

private:
    HttpScript& script_;
};

} // namespace velmo
