#include "platform/linux/AtSpiFocus.h"

#include "platform/linux/AtSpiWorker.h"

#include <QCoreApplication>
#include <algorithm>
#include <csignal>
#include <functional>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace velmo {
namespace {

/// Longer than this nobody would notice a field coming back, and the panel is open or closed meanwhile.
constexpr std::chrono::milliseconds kLimit{150};

/// Until the earliest of these moments, rounded up so that it has come then; -1 for ever.
int pollTimeout(const std::vector<BusConnection::Wait>& waits)
{
    std::optional<Clock::TimePoint> until;
    for (const auto& wait : waits) {
        if (wait.until && (!until || *wait.until < *until))
            until = wait.until;
    }
    if (!until)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*until - Clock::now());
    constexpr int64_t kLongest = 3'600'000;
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, kLongest));
}

void becomeBusThread()
{
    pthread_setname_np(pthread_self(), "velmo.a11y");
    // Signals are the main thread's business.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

} // namespace

/// What the main thread wants done. Elements hold it too, since they may be dropped after the thread has
/// ended.
class AtSpiFocus::Mailbox {
public:
    using Job = std::function<void(AtSpiWorker&)>;

    Mailbox()
        : wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {}
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;
    ~Mailbox() { close(wakeUp_); }

    /// Main thread. Dropped after end().
    void post(Job job)
    {
        {
            const std::scoped_lock lock(mutex_);
            if (isEnding_)
                return;
            jobs_.push_back(std::move(job));
        }
        wake();
    }

    void end()
    {
        {
            const std::scoped_lock lock(mutex_);
            isEnding_ = true;
        }
        wake();
    }

    /// The thread's loop, until end().
    void serve(AtSpiWorker& worker)
    {
        while (carryOut(worker)) {
            worker.process();
            const auto waits = worker.nextWaits();
            std::vector<pollfd> descriptors{{wakeUp_, POLLIN, 0}};
            for (const auto& wait : waits) {
                if (wait.descriptor >= 0)
                    descriptors.push_back({wait.descriptor, wait.events, 0});
            }
            poll(descriptors.data(), descriptors.size(), pollTimeout(waits));
        }
    }

private:
    /// False when the end has come.
    bool carryOut(AtSpiWorker& worker)
    {
        uint64_t count = 0;
        static_cast<void>(read(wakeUp_, &count, sizeof count));
        std::vector<Job> jobs;
        {
            const std::scoped_lock lock(mutex_);
            if (isEnding_)
                return false;
            jobs.swap(jobs_);
        }
        for (const auto& job : jobs)
            job(worker);
        return true;
    }

    void wake() const
    {
        const uint64_t one = 1;
        static_cast<void>(write(wakeUp_, &one, sizeof one));
    }

    const int wakeUp_;
    std::mutex mutex_;
    std::vector<Job> jobs_;
    bool isEnding_ = false;
};

/// Only the number of a lookup: names and paths stay on the bus thread.
class AtSpiFocus::Element final : public FocusedElement {
public:
    Element(std::shared_ptr<Mailbox> mailbox, quint64 number)
        : mailbox_(std::move(mailbox))
        , number_(number)
    {}
    ~Element() override
    {
        mailbox_->post([number = number_](AtSpiWorker& worker) { worker.forget(number); });
    }

    [[nodiscard]] quint64 number() const { return number_; }
    [[nodiscard]] const std::shared_ptr<std::atomic<FocusFinding>>& finding() const { return finding_; }

private:
    const std::shared_ptr<Mailbox> mailbox_;
    const quint64 number_;
    const std::shared_ptr<std::atomic<FocusFinding>> finding_ =
        std::make_shared<std::atomic<FocusFinding>>(FocusFinding::Pending);
};

AtSpiFocus::AtSpiFocus(std::string address)
    : mailbox_(std::make_shared<Mailbox>())
    , thread_([mailbox = mailbox_, address = std::move(address)] {
        becomeBusThread();
        AtSpiWorker worker(address);
        mailbox->serve(worker);
    })
{}

AtSpiFocus::~AtSpiFocus()
{
    mailbox_->end();
    // The thread never waits for anything but its next job, so this takes no longer than what it is doing
    // now.
    thread_.join();
}

std::shared_ptr<FocusedElement> AtSpiFocus::focusedElement(qint32 processID)
{
    if (processID <= 0 || processID == QCoreApplication::applicationPid())
        return nullptr;
    auto element = std::make_shared<Element>(mailbox_, ++lastNumber_);
    mailbox_->post([number = element->number(), finding = element->finding(), processID,
                    deadline = Clock::now() + kLimit](AtSpiWorker& worker) {
        worker.lookUp(number, std::make_unique<FocusLookup>(processID, deadline, finding));
    });
    return element;
}

void AtSpiFocus::focus(const std::shared_ptr<FocusedElement>& element)
{
    const auto* own = dynamic_cast<const Element*>(element.get());
    if (own == nullptr)
        return;
    mailbox_->post([number = own->number(), deadline = Clock::now() + kLimit](AtSpiWorker& worker) {
        worker.grab(number, deadline);
    });
}

FocusFinding AtSpiFocus::finding(const FocusedElement& element)
{
    const auto* own = dynamic_cast<const Element*>(&element);
    return own == nullptr ? FocusFinding::Nothing : own->finding()->load();
}

} // namespace velmo
