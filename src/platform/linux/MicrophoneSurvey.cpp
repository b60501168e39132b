#include "platform/linux/MicrophoneSurvey.h"

#include "platform/linux/AacFile.h"
#include "platform/linux/MicrophoneLookup.h"
#include "platform/linux/PulseConnection.h"
#include "platform/linux/PulseLoop.h"

#include <future>
#include <memory>
#include <utility>

namespace velmo {
namespace {

using Outcome = Result<QString, PlatformError>;

/// Asks once. On the loop's thread, save for its construction.
class Question final : public PulseConnection::User {
public:
    explicit Question(PulseLoop& loop)
        : connection_(loop)
    {}
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;
    ~Question() override
    {
        lookup_.reset();
        connection_.remove(*this);
    }

    void ask() { connection_.add(*this); }
    [[nodiscard]] std::future<Outcome> outcome() { return outcome_.get_future(); }

private:
    void onConnected(pa_context& context) override
    {
        lookup_ =
            std::make_unique<MicrophoneLookup>(context, [this](std::optional<std::string> name, int error) {
                if (name)
                    tell(QString::fromStdString(*name));
                else if (error != 0)
                    tell(Failure{PlatformError{PlatformError::Kind::Failed,
                                               QStringLiteral("The sound server refuses to say.")}});
                else
                    tell(Failure{PlatformError{PlatformError::Kind::Unsupported,
                                               QStringLiteral("There is no microphone.")}});
            });
    }
    void onDisconnected(const PlatformError& reason) override { tell(Failure{reason}); }

    void tell(Outcome outcome)
    {
        if (!std::exchange(isTold_, true))
            outcome_.set_value(std::move(outcome));
    }

    std::promise<Outcome> outcome_;
    bool isTold_ = false;
    PulseConnection connection_;
    std::unique_ptr<MicrophoneLookup> lookup_;
};

} // namespace

Result<QString, PlatformError> surveyMicrophone(std::chrono::milliseconds limit)
{
    if (const auto obstacle = AacFile::obstacle())
        return Failure{*obstacle};
    PulseLoop loop;
    auto question = std::make_unique<Question>(loop);
    auto outcome = question->outcome();
    loop.post([&question] { question->ask(); });
    const bool isAnswered = outcome.wait_for(limit) == std::future_status::ready;
    loop.stop([&question] { question.reset(); });
    if (!isAnswered)
        return Failure{
            PlatformError{PlatformError::Kind::Failed, QStringLiteral("The sound server does not answer.")}};
    return outcome.get();
}

} // namespace velmo
