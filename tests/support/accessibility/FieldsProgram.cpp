#include "support/accessibility/FieldsProgram.h"

#include <array>
#include <sys/socket.h>
#include <unistd.h>

namespace velmo::test {

FieldsProgram::FieldsProgram(Toolkit toolkit, const QByteArray& sessionAddress)
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return;
    channel_ = ends[0];
    QList<QByteArray> command{"env", "DBUS_SESSION_BUS_ADDRESS=" + sessionAddress};
    if (toolkit == Toolkit::Gtk) {
        // Debian's modules belong to Debian's interpreter.
        command += {"/usr/bin/python3", VELMO_FIELDS_SCRIPT};
    } else {
        // Else it would wait to be told that assistive technologies are switched on, and nothing here does
        // that.
        command += {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1", VELMO_FIELDS_EXECUTABLE};
    }
    process_ = ChildProcess(command + QList<QByteArray>{QByteArray::number(ends[1])}, ends[1]);
    close(ends[1]);
    static_cast<void>(awaitCondition([this] { return isShown(); }));
}

FieldsProgram::~FieldsProgram()
{
    close(channel_);
    process_.stop();
}

bool FieldsProgram::isShown()
{
    readReports();
    return shown_ > 0;
}

bool FieldsProgram::order(const QByteArray& words, std::chrono::milliseconds limit)
{
    const QByteArray line = words + '\n';
    if (send(channel_, line.constData(), static_cast<size_t>(line.size()), MSG_NOSIGNAL) != line.size())
        return false;
    ++ordered_;
    const auto isDone = [this] {
        readReports();
        return done_ == ordered_;
    };
    return awaitCondition(isDone, limit);
}

QByteArray FieldsProgram::focused()
{
    readReports();
    return focused_;
}

QByteArray FieldsProgram::text(const QByteArray& field)
{
    readReports();
    return texts_[field];
}

void FieldsProgram::readReports()
{
    std::array<char, 4096> buffer{};
    for (;;) {
        const auto length = recv(channel_, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (length <= 0)
            break;
        unread_.append(buffer.data(), length);
    }
    for (auto end = unread_.indexOf('\n'); end >= 0; end = unread_.indexOf('\n')) {
        const auto words = unread_.left(end).split(' ');
        unread_.remove(0, end + 1);
        if (words[0] == "done")
            ++done_;
        else if (words[0] == "shown")
            ++shown_;
        else if (words[0] == "focus")
            focused_ = words[1];
        else if (words[0] == "text")
            texts_[words[1]] = words.value(2);
    }
}

} // namespace velmo::test
