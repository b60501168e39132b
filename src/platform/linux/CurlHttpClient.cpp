#include "platform/linux/CurlHttpClient.h"

#include "core/Loopback.h"
#include "platform/linux/CurlErrors.h"
#include "platform/linux/CurlLibrary.h"
#include "platform/linux/CurlTransfer.h"
#include "platform/linux/NetworkChanges.h"
#include "platform/linux/SystemProxies.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <pthread.h>
#include <thread>

namespace velmo {

namespace {

using TransferPtr = std::shared_ptr<CurlTransfer>;

/// False where the library is missing.
bool loadCurl()
{
    if (!curlLibrary.load())
        return false;
    static const CURLcode once = curl_global_init(CURL_GLOBAL_DEFAULT);
    return once == CURLE_OK;
}

} // namespace

/// The network thread and what it works on. Bodies and exchanges hold it too, so that they can be destroyed
/// at any time; all but post() happens on the thread.
class CurlHttpClient::Core : public std::enable_shared_from_this<Core> {
public:
    Core() = default;
    Core(const Core&) = delete;
    Core& operator=(const Core&) = delete;
    ~Core()
    {
        if (multi_ != nullptr)
            curl_multi_cleanup(multi_);
    }

    void start()
    {
        thread_ = std::thread([this] { run(); });
    }

    void stop()
    {
        post([this] { stopping_ = true; });
        if (thread_.joinable())
            thread_.join();
    }

    /// Any thread; dropped once the thread has stopped.
    void post(std::function<void()> command)
    {
        const std::scoped_lock lock(mutex_);
        if (closed_)
            return;
        commands_.push_back(std::move(command));
        // Until then the thread has no transfer that it could wait for.
        if (multi_ != nullptr)
            curl_multi_wakeup(multi_);
        else
            commandCame_.notify_one();
    }

    void begin(const TransferPtr& transfer)
    {
        if (transfer->isCancelled())
            return;
        auto refused = transfer->refusal();
        if (!refused && !openMulti())
            refused = HttpError{HttpErrorKind::Unsupported, curlLibrary.absence()};
        if (refused) {
            transfer->finish(std::move(refused));
            return;
        }
        transfer->prepare(proxies_);
        curl_multi_add_handle(multi_, transfer->handle());
        active_.push_back(transfer);
    }

    void cancel(const TransferPtr& transfer)
    {
        remove(transfer);
        std::erase(waitingForNetwork_, transfer);
        std::erase(waitingForReason_, transfer);
        transfer->finish(HttpError{HttpErrorKind::Cancelled, QStringLiteral("The request was cancelled.")});
    }

private:
    void run();
    [[nodiscard]] bool openMulti();
    void perform();
    void runCommands();
    void collectFinished();
    void complete(const TransferPtr& transfer, CURLcode code);
    [[nodiscard]] bool mustWaitForNetwork(const CurlTransfer& transfer, HttpErrorKind failure) const;
    void resolveFailure(const TransferPtr& transfer);
    void enforceLimits();
    [[nodiscard]] int pollTimeout() const;
    void awaitCommand();
    void wait();
    void remove(const TransferPtr& transfer);
    void close();

    CURLM* multi_ = nullptr; ///< From the first transfer on. The thread makes it; others look under the lock.
    SystemProxies proxies_;
    std::thread thread_;
    NetworkChanges networkChanges_;
    bool stopping_ = false;
    std::vector<TransferPtr> active_;
    std::vector<TransferPtr> waitingForNetwork_;
    std::vector<TransferPtr> waitingForReason_; ///< Failed; the resolver is asked why.

    std::mutex mutex_;
    std::condition_variable commandCame_; ///< For a thread that has no transfers to wait for instead.
    std::vector<std::function<void()>> commands_;
    bool closed_ = false;
};

void CurlHttpClient::Core::run()
{
    pthread_setname_np(pthread_self(), "velmo.network");
    while (true) {
        runCommands();
        if (stopping_)
            break;
        if (multi_ != nullptr)
            perform();
        wait();
    }
    close();
}

/// The first transfer brings the library with it.
bool CurlHttpClient::Core::openMulti()
{
    if (multi_ != nullptr)
        return true;
    if (!loadCurl())
        return false;
    CURLM* const multi = curl_multi_init();
    const std::scoped_lock lock(mutex_);
    multi_ = multi;
    return multi_ != nullptr;
}

void CurlHttpClient::Core::perform()
{
    int running = 0;
    curl_multi_perform(multi_, &running);
    collectFinished();
    enforceLimits();
}

void CurlHttpClient::Core::runCommands()
{
    std::vector<std::function<void()>> commands;
    {
        const std::scoped_lock lock(mutex_);
        commands.swap(commands_);
    }
    for (const auto& command : commands)
        command();
}

void CurlHttpClient::Core::collectFinished()
{
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        const CURLcode code = message->data.result;
        const auto found =
            std::find_if(active_.begin(), active_.end(), [message](const TransferPtr& transfer) {
                return transfer->handle() == message->easy_handle;
            });
        if (found != active_.end())
            complete(TransferPtr(*found), code);
    }
}

void CurlHttpClient::Core::complete(const TransferPtr& transfer, CURLcode code)
{
    remove(transfer);
    auto error = transfer->errorFor(code);
    if (error && !transfer->hasHead()) {
        // Nothing was sent, so waiting for a network and starting over is still the same attempt.
        if (mustWaitForNetwork(*transfer, error->kind)) {
            waitingForNetwork_.push_back(transfer);
            return;
        }
        if (error->kind == HttpErrorKind::CannotFindHost) {
            resolveFailure(transfer);
            return;
        }
    }
    transfer->finish(std::move(error));
}

/// Without a network, a name has no address either.
bool CurlHttpClient::Core::mustWaitForNetwork(const CurlTransfer& transfer, HttpErrorKind failure) const
{
    const bool networkIsMissing =
        failure == HttpErrorKind::NotConnectedToInternet || failure == HttpErrorKind::CannotFindHost;
    return networkIsMissing && networkChanges_.descriptor() >= 0 &&
           !isLoopbackHost(transfer.request().url.host()) && !NetworkChanges::hasRoute();
}

/// libcurl does not say why a name has no address, and asking takes as long as the resolver likes: a thread
/// that nobody waits for, also not at exit, holds up nothing else.
void CurlHttpClient::Core::resolveFailure(const TransferPtr& transfer)
{
    waitingForReason_.push_back(transfer);
    std::thread([weakCore = weak_from_this(), weak = std::weak_ptr(transfer),
                 host = transfer->request().url.host()] {
        const HttpError error = nameResolutionError(host);
        const auto core = weakCore.lock();
        if (!core)
            return;
        core->post([core = core.get(), weak, error] {
            const TransferPtr asked = weak.lock();
            if (asked && std::erase(core->waitingForReason_, asked) > 0)
                asked->finish(error);
        });
    }).detach();
}

void CurlHttpClient::Core::enforceLimits()
{
    const auto now = Clock::now();
    const auto end = [&](std::vector<TransferPtr>& transfers, bool waiting, const HttpError& error) {
        const auto copy = transfers;
        for (const TransferPtr& transfer : copy) {
            if (transfer->deadline(waiting) > now)
                continue;
            remove(transfer);
            std::erase(transfers, transfer);
            transfer->finish(error);
        }
    };
    end(active_, false, timeOutError());
    end(waitingForNetwork_, true, noNetworkError());
    end(waitingForReason_, true, timeOutError());
}

int CurlHttpClient::Core::pollTimeout() const
{
    auto next = Clock::now() + std::chrono::hours(1);
    for (const TransferPtr& transfer : active_)
        next = std::min(next, transfer->deadline(false));
    for (const auto* waiting : {&waitingForNetwork_, &waitingForReason_}) {
        for (const TransferPtr& transfer : *waiting)
            next = std::min(next, transfer->deadline(true));
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<qint64>(left.count(), 0));
}

void CurlHttpClient::Core::awaitCommand()
{
    std::unique_lock lock(mutex_);
    commandCame_.wait(lock, [this] { return !commands_.empty(); });
}

void CurlHttpClient::Core::wait()
{
    if (multi_ == nullptr) {
        awaitCommand();
        return;
    }
    curl_waitfd changes{networkChanges_.descriptor(), CURL_WAIT_POLLIN, 0};
    const bool watchNetwork = !waitingForNetwork_.empty();
    curl_multi_poll(multi_, &changes, watchNetwork ? 1 : 0, pollTimeout(), nullptr);
    if (!watchNetwork || changes.revents == 0)
        return;
    networkChanges_.drain();
    for (const TransferPtr& transfer : std::exchange(waitingForNetwork_, {}))
        begin(transfer);
}

void CurlHttpClient::Core::remove(const TransferPtr& transfer)
{
    if (std::erase(active_, transfer) > 0)
        curl_multi_remove_handle(multi_, transfer->handle());
}

void CurlHttpClient::Core::close()
{
    for (const auto& transfers : {active_, waitingForNetwork_, waitingForReason_}) {
        for (const TransferPtr& transfer : transfers)
            cancel(transfer);
    }
    const std::scoped_lock lock(mutex_);
    closed_ = true;
    commands_.clear();
}

namespace {

/// What the caller holds; it names the transfer, and the thread does the work.
template <typename Core>
class Body final : public HttpBody {
public:
    Body(std::shared_ptr<Core> core, TransferPtr transfer)
        : core_(std::move(core))
        , transfer_(std::move(transfer))
    {}
    ~Body() override
    {
        transfer_->markCancelled();
        core_->post([core = core_.get(), transfer = transfer_] { core->cancel(transfer); });
    }
    void read(Consumer consumer, EndHandler onEnd) override
    {
        core_->post(
            [transfer = transfer_, consumer = std::move(consumer), onEnd = std::move(onEnd)]() mutable {
                transfer->attach(std::move(consumer), std::move(onEnd));
            });
    }

private:
    std::shared_ptr<Core> core_;
    TransferPtr transfer_;
};

template <typename Core>
class Exchange final : public HttpExchange {
public:
    Exchange(std::shared_ptr<Core> core, TransferPtr transfer)
        : core_(std::move(core))
        , transfer_(std::move(transfer))
    {}
    ~Exchange() override
    {
        core_->post([core = core_.get(), transfer = transfer_] {
            if (transfer->hasHead() || transfer->isFinished())
                return;
            transfer->markCancelled();
            core->cancel(transfer);
        });
    }

private:
    std::shared_ptr<Core> core_;
    TransferPtr transfer_;
};

} // namespace

CurlHttpClient::CurlHttpClient()
    : core_(std::make_shared<Core>())
{
    core_->start();
}

CurlHttpClient::~CurlHttpClient()
{
    core_->stop();
}

std::unique_ptr<HttpExchange> CurlHttpClient::send(HttpRequest request, HeadHandler onHead)
{
    // The body must not keep the thread's owner alive in a circle, so the transfer knows it weakly.
    auto makeBody = [weak = std::weak_ptr(core_)](TransferPtr transfer) -> std::unique_ptr<HttpBody> {
        return std::make_unique<Body<Core>>(weak.lock(), std::move(transfer));
    };
    const auto transfer =
        std::make_shared<CurlTransfer>(std::move(request), std::move(onHead), std::move(makeBody));
    core_->post([core = core_.get(), transfer] { core->begin(transfer); });
    return std::make_unique<Exchange<Core>>(core_, transfer);
}

} // namespace velmo
