#include "platform/linux/PulseMicrophone.h"

#include "core/async/MainLoop.h"
#include "platform/linux/MicrophoneLookup.h"
#include "platform/linux/PulseConnection.h"
#include "platform/linux/PulseLibrary.h"
#include "platform/linux/PulseLoop.h"

#include <utility>

namespace velmo {

namespace {

/// Somebody who shows the status asks every second.
constexpr std::chrono::milliseconds kFreshFor{900};
constexpr std::chrono::milliseconds kLongestAnswer{2000};
/// After the last question, so that those who ask every second do not connect every second.
constexpr std::chrono::milliseconds kLinger{5000};

MicrophoneFinding findingFor(const std::optional<std::string>& name, int error)
{
    if (name)
        return MicrophoneFinding::Found;
    if (error == PA_ERR_ACCESS || error == PA_ERR_AUTHKEY)
        return MicrophoneFinding::Refused;
    return error == 0 ? MicrophoneFinding::NoMicrophone : MicrophoneFinding::NoServer;
}

} // namespace

/// The main thread's part. Answers that come when nobody holds it any more are dropped.
struct PulseMicrophone::Known {
    MicrophoneFinding finding = MicrophoneFinding::Unknown;
    std::vector<Handler> waiting;
    Observers<> observers;

    void answer(MicrophoneFinding heard)
    {
        const MicrophoneStatus status = statusOf(heard);
        const bool isChange = statusOf(std::exchange(finding, heard)) != status;
        for (const Handler& handler : std::exchange(waiting, {}))
            handler(status);
        if (isChange)
            observers.notify();
    }
};

/// The other thread's part.
class PulseMicrophone::Watch final : private PulseConnection::User {
public:
    Watch(PulseLoop& loop, std::weak_ptr<Known> known)
        : known_(std::move(known))
        , connection_(loop)
        , tooLate_(loop,
                   [this] {
                       connection_.giveUp({PlatformError::Kind::Failed, {}});
                   })
        , linger_(loop, [this] { leave(); })
    {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() override { leave(); }

    void ask()
    {
        linger_.start(kLinger);
        if (context_ != nullptr) {
            lookUp();
        } else if (!isUser_) {
            isUser_ = true;
            tooLate_.start(kLongestAnswer);
            connection_.add(*this);
        }
    }

private:
    void onConnected(pa_context& context) override
    {
        context_ = &context;
        pa_context_set_subscribe_callback(
            &context,
            [](pa_context*, pa_subscription_event_type_t, uint32_t, void* self) {
                static_cast<Watch*>(self)->lookUp();
            },
            this);
        subscribe_.reset(pa_context_subscribe(&context, PA_SUBSCRIPTION_MASK_SOURCE, nullptr, nullptr));
        lookUp();
    }

    void onDisconnected(const PlatformError& reason) override
    {
        forget();
        tell(reason.kind == PlatformError::Kind::Denied ? MicrophoneFinding::Refused
                                                        : MicrophoneFinding::NoServer);
    }

    /// What changes while the server is being asked is asked for once more.
    void lookUp()
    {
        isStale_ = lookup_ != nullptr;
        if (isStale_)
            return;
        tooLate_.start(kLongestAnswer);
        lookup_ = std::make_unique<MicrophoneLookup>(
            *context_, [this](const std::optional<std::string>& name, int error) {
                tooLate_.stop();
                lookup_.reset();
                tell(findingFor(name, error));
                if (isStale_)
                    lookUp();
            });
    }

    void tell(MicrophoneFinding finding)
    {
        async::postToMainLoop([weak = known_, finding] {
            if (const auto known = weak.lock())
                known->answer(finding);
        });
    }

    void leave()
    {
        const bool wasUser = isUser_;
        forget();
        if (wasUser)
            connection_.remove(*this);
    }

    void forget()
    {
        tooLate_.stop();
        lookup_.reset();
        subscribe_.reset();
        context_ = nullptr;
        isUser_ = false;
        isStale_ = false;
    }

    const std::weak_ptr<Known> known_;
    PulseConnection connection_;
    const PulseTimer tooLate_;
    const PulseTimer linger_;
    bool isUser_ = false;
    bool isStale_ = false;
    pa_context* context_ = nullptr; ///< The connection's, while it is ready.
    PulseOperationPtr subscribe_;
    std::unique_ptr<MicrophoneLookup> lookup_;
};

struct PulseMicrophone::Threads {
    Threads() = default;
    Threads(const Threads&) = delete;
    Threads& operator=(const Threads&) = delete;
    ~Threads()
    {
        loop.stop([this] { watch.reset(); });
    }

    PulseLoop loop;
    std::unique_ptr<Watch> watch; ///< Made, used and ended on the loop's thread.
};

PulseMicrophone::PulseMicrophone()
    : known_(std::make_shared<Known>())
{}

PulseMicrophone::~PulseMicrophone() = default;

MicrophoneStatus PulseMicrophone::status()
{
    if (!askedAt_ || Clock::now() - *askedAt_ >= kFreshFor)
        askServer();
    return statusOf(known_->finding);
}

MicrophoneFinding PulseMicrophone::finding() const
{
    return known_->finding;
}

void PulseMicrophone::ask(Handler onAnswer)
{
    known_->waiting.push_back(std::move(onAnswer));
    askServer();
}

Subscription PulseMicrophone::observe(std::function<void()> handler)
{
    return known_->observers.add(std::move(handler));
}

void PulseMicrophone::askServer()
{
    askedAt_ = Clock::now();
    if (!threads_)
        threads_ = std::make_unique<Threads>();
    threads_->loop.post([threads = threads_.get(), known = std::weak_ptr(known_)] {
        if (!threads->watch)
            threads->watch = std::make_unique<Watch>(threads->loop, known);
        threads->watch->ask();
    });
}

} // namespace velmo
