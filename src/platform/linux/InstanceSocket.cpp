#include "platform/linux/InstanceSocket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace velmo {
namespace {

constexpr std::string_view kLockSuffix = ".lock";
constexpr std::string_view kSocketSuffix = ".socket";
/// Far more than any message; a longer one is cut off and then not understood.
constexpr size_t kMostBytes = size_t(64) * 1024;
constexpr int kBacklog = 64;
/// The last bit keeps it from being cleared away as something that nobody has used for long.
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR | S_ISVTX;

/// Whole messages, each for itself.
constexpr int kSocketType = SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK;

sockaddr_un addressOf(const PrivateFolder& folder, const std::string& name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = folder.pathOf(name) + std::string(kSocketSuffix);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

template <typename Function>
int withAddress(Function function, int socket, const sockaddr_un& address)
{
    return function(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

std::optional<ucred> peerOf(int socket)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return std::nullopt;
    return peer;
}

/// False when nothing happens until the end.
bool awaitEvent(int descriptor, short events, Clock::TimePoint end)
{
    using std::chrono::milliseconds;
    while (true) {
        const auto left = std::max(std::chrono::ceil<milliseconds>(end - Clock::now()), milliseconds(0));
        pollfd wait{descriptor, events, 0};
        const int count = poll(&wait, 1, static_cast<int>(left.count()));
        if (count > 0)
            return true;
        if (count == 0 || errno != EINTR)
            return false;
    }
}

/// Nothing when there is none to receive, or no peer any more.
std::optional<QByteArray> receive(int socket)
{
    QByteArray bytes(kMostBytes, Qt::Uninitialized);
    const ssize_t count = recv(socket, bytes.data(), static_cast<size_t>(bytes.size()), MSG_DONTWAIT);
    if (count <= 0)
        return std::nullopt;
    bytes.truncate(count);
    return bytes;
}

} // namespace

Result<std::unique_ptr<InstanceSocket>, InstanceSocket::Trouble>
InstanceSocket::take(const PrivateFolder& folder, const std::string& name)
{
    const std::string lockName = name + std::string(kLockSuffix);
    // It stays where it is for good: whoever removed it could remove that of a program that has just started.
    FileDescriptor lock(openat(folder.descriptor(), lockName.c_str(),
                               O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!lock.isValid() || flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        return Failure{Trouble{lock.isValid() && errno == EWOULDBLOCK, errno}};
    fchmod(lock.get(), kOwnerOnly);

    FileDescriptor listener(socket(AF_UNIX, kSocketType, 0));
    const sockaddr_un address = addressOf(folder, name);
    // One that is there was left by a program that ended without warning.
    unlink(address.sun_path);
    // Who reaches the socket has passed the folder's door, so its own permissions may follow a moment later.
    if (!listener.isValid() || withAddress(bind, listener.get(), address) != 0 ||
        chmod(address.sun_path, kOwnerOnly) != 0 || listen(listener.get(), kBacklog) != 0)
        return Failure{Trouble{false, errno}};
    return std::unique_ptr<InstanceSocket>(new InstanceSocket(std::move(lock), std::move(listener)));
}

InstanceSocket::InstanceSocket(FileDescriptor lock, FileDescriptor listener)
    : lock_(std::move(lock))
    , listener_(std::move(listener))
{}

void InstanceSocket::serve(Handler handler)
{
    handler_ = std::move(handler);
    notifier_ = std::make_unique<QSocketNotifier>(listener_.get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this] { admit(); });
}

void InstanceSocket::admit()
{
    auto visitor = std::make_shared<FileDescriptor>(
        accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!visitor->isValid())
        return;
    const auto peer = peerOf(visitor->get());
    if (!peer || peer->uid != geteuid())
        return;
    auto* notifier = new QSocketNotifier(visitor->get(), QSocketNotifier::Read, notifier_.get());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [this, notifier, visitor] {
        notifier->setEnabled(false);
        notifier->deleteLater();
        if (const auto message = receive(visitor->get())) {
            const QByteArray answer = handler_(*message);
            send(visitor->get(), answer.constData(), static_cast<size_t>(answer.size()), MSG_NOSIGNAL);
        }
    });
}

InstanceExchange InstanceSocket::ask(const PrivateFolder& folder, const std::string& name,
                                     const QByteArray& message, Clock::TimePoint end)
{
    const FileDescriptor socket(::socket(AF_UNIX, kSocketType, 0));
    if (!socket.isValid() || withAddress(connect, socket.get(), addressOf(folder, name)) != 0) {
        // So many wait already that there is no room to wait with them.
        const bool isCrowded = socket.isValid() && errno == EAGAIN;
        return {isCrowded ? InstanceExchange::Kind::Silent : InstanceExchange::Kind::Nobody};
    }
    const auto peer = peerOf(socket.get());
    if (!peer || peer->uid != geteuid())
        return {};
    if (send(socket.get(), message.constData(), static_cast<size_t>(message.size()), MSG_NOSIGNAL) < 0)
        return {};
    if (!awaitEvent(socket.get(), POLLIN, end))
        return {InstanceExchange::Kind::Silent, {}, peer->pid};
    auto answer = receive(socket.get());
    if (!answer)
        return {};
    return {InstanceExchange::Kind::Answered, std::move(*answer), peer->pid};
}

std::vector<std::string> InstanceSocket::names(const PrivateFolder& folder)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir(folder.pathOf("").c_str()), closedir);
    if (!directory)
        return names;
    while (const dirent* entry = readdir(directory.get())) {
        const std::string_view name = entry->d_name;
        if (name.ends_with(kSocketSuffix))
            names.emplace_back(name.substr(0, name.size() - kSocketSuffix.size()));
    }
    std::ranges::sort(names);
    return names;
}

} // namespace velmo
